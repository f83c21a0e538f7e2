#include "orindb_xml_element.h"

#include <cstring>

#include "orin_base64.h"
#include "orindb_xml_text.h"

const char* orindb_xmlAttribute(OrindbXmlAttributes attributes, std::string_view name) {
    for (; attributes[0] != nullptr; attributes += 2) {
        if (name == attributes[0]) {
            return attributes[1];
        }
    }
    return nullptr;
}

int orindb_xmlAppendAttribute(OrindbXmlAttributes attributes, const char* name, orinStringBuffer* out) {
    if (const char* plain = orindb_xmlAttribute(attributes, name); plain != nullptr) {
        return orin_appendStringToStringBuffer(out, plain);
    }
    orinStringBuffer encodedName{};
    const orinStringBufferData owner(&encodedName);
    if (orin_stringbuffer_printf(&encodedName, "%s64", name) != 0) {
        return -1;
    }
    const char* encoded = orindb_xmlAttribute(attributes, encodedName.data);
    return encoded != nullptr ? orin_base64_decode(encoded, out) : 0;
}

void orindb_xmlBeginText(OrindbXmlText& text, OrindbXmlAttributes attributes) {
    orin_clearStringBuffer(&text.raw);
    const char* encoding = orindb_xmlAttribute(attributes, ORINDB_XML_ENCODING);
    text.isBase64 = encoding != nullptr && strcmp(encoding, ORINDB_XML_BASE64) == 0;
}

std::string_view orindb_xmlRawText(const OrindbXmlText& text) {
    return text.raw.length > 0 ? std::string_view(text.raw.data, text.raw.length) : "";
}

int orindb_xmlAppendText(const OrindbXmlText& text, orinStringBuffer* out) {
    const std::string_view raw = orindb_xmlRawText(text);
    return text.isBase64 ? orin_base64_decode(raw.data(), out) : orin_appendToStringBuffer(out, raw.data(), raw.size());
}
