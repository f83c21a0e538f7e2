#include "orindb_xml_rowreader.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "orindb_xml_text.h"

namespace {

constexpr const char* OUT_OF_MEMORY = "out of memory error";

struct PendingValue {
    uint32_t nameAt;
    uint32_t nameLength;
    uint32_t bytesAt;
    uint32_t length;
    DbValueType type;
    int64_t integer;
    double real;
};

struct TypeName {
    std::string_view name;
    DbValueType type;
};
constexpr std::array TYPE_NAMES{
    TypeName{"integer", DbValueType::integer}, TypeName{"real", DbValueType::real}, TypeName{"null", DbValueType::null},
    TypeName{"blob", DbValueType::blob},       TypeName{"text", DbValueType::text},
};

template <typename Number, typename... Format>
bool parseWhole(std::string_view text, Number& number, Format... format) {
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number, format...);
    return end.ec == std::errc{} && end.ptr == text.data() + text.size();
}

bool readValue(OrindbXmlRowReader& reader, const OrindbXmlText& text, PendingValue& pending) {
    switch (reader.type) {
        case DbValueType::integer:
            return parseWhole(orindb_xmlRawText(text), pending.integer);
        case DbValueType::real:
            return parseWhole(orindb_xmlRawText(text), pending.real, std::chars_format::hex);
        case DbValueType::text:
        case DbValueType::blob:
            return orindb_xmlAppendText(text, &reader.storage) == 0;
        case DbValueType::null:
            break;
    }
    return true;
}

}  // namespace

void orindb_xmlInitRowReader(OrindbXmlRowReader& reader) {
    reader = {};
    orindb_initArray(&reader.pending, sizeof(PendingValue));
    orindb_initArray(&reader.values, sizeof(OrindbImportValue));
}

void orindb_xmlBeginRow(OrindbXmlRowReader& reader) {
    orin_clearStringBuffer(&reader.storage);
    reader.pending.count = 0;
    reader.values.count = 0;
}

const char* orindb_xmlBeginColumn(OrindbXmlRowReader& reader, std::string_view element,
                                  OrindbXmlAttributes attributes) {
    auto* pending = static_cast<PendingValue*>(orindb_appendToArray(&reader.pending));
    if (pending == nullptr) {
        return OUT_OF_MEMORY;
    }
    pending->nameAt = reader.storage.length;
    if (orindb_xmlDecodeName(element, &reader.storage) != 0) {
        return "a column without a readable name";
    }
    pending->nameLength = reader.storage.length - pending->nameAt;

    const char* typeName = orindb_xmlAttribute(attributes, ORINDB_XML_TYPE);
    const auto* const type = std::find_if(TYPE_NAMES.begin(), TYPE_NAMES.end(), [typeName](const TypeName& known) {
        return known.name == (typeName != nullptr ? typeName : "text");
    });
    if (type == TYPE_NAMES.end()) {
        return "a value of an unknown type";
    }
    reader.type = type->type;
    return nullptr;
}

const char* orindb_xmlEndColumn(OrindbXmlRowReader& reader, const OrindbXmlText& text) {
    auto& pending = static_cast<PendingValue*>(reader.pending.items)[reader.pending.count - 1];
    pending.type = reader.type;
    pending.bytesAt = reader.storage.length;
    if (!readValue(reader, text, pending)) {
        return "a value that does not fit its type";
    }
    pending.length = reader.storage.length - pending.bytesAt;
    return nullptr;
}

int orindb_xmlEndRow(OrindbXmlRowReader& reader) {
    const auto* pending = static_cast<const PendingValue*>(reader.pending.items);
    for (uint32_t i = 0; i < reader.pending.count; ++i) {
        auto* value = static_cast<OrindbImportValue*>(orindb_appendToArray(&reader.values));
        if (value == nullptr) {
            return ORINDB_FAILED;
        }
        const PendingValue& from = pending[i];
        const bool hasBytes = from.type == DbValueType::text || from.type == DbValueType::blob;
        char* bytes = hasBytes ? reader.storage.data + from.bytesAt : nullptr;
        value->column = {reader.storage.data + from.nameAt, from.nameLength};
        value->value = {from.type, from.integer, from.real, bytes, from.length};
        value->bytes = bytes;
    }
    return ORINDB_OK;
}

void orindb_xmlFreeRowReader(OrindbXmlRowReader& reader) {
    orin_freeStringBufferData(&reader.storage);
    orindb_freeArray(&reader.pending);
    orindb_freeArray(&reader.values);
}
