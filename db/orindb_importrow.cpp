#include "orindb_importrow.h"

#include <charconv>

#include "orindb_sqltext.h"

std::span<OrindbImportValue> orindb_importValues(const OrindbImportRow& row) {
    return {static_cast<OrindbImportValue*>(row.array->items), row.array->count};
}

OrindbImportValue* orindb_importValue(const OrindbImportRow& row, std::string_view column) {
    for (OrindbImportValue& value : orindb_importValues(row)) {
        if (orindb_isSameName(value.column, column)) {
            return &value;
        }
    }
    return nullptr;
}

int orindb_setImportNumber(OrindbImportRow& row, std::string_view column, int64_t number) {
    OrindbImportValue* value = orindb_importValue(row, column);
    if (value == nullptr) {
        value = static_cast<OrindbImportValue*>(orindb_appendToArray(row.array));
    }
    if (value == nullptr) {
        return ORINDB_FAILED;
    }
    *value = {column, {DbValueType::integer, number, 0, nullptr, 0}, nullptr};
    return ORINDB_OK;
}

int64_t orindb_importNumber(const OrindbImportValue* value) {
    if (value == nullptr || value->value.type == DbValueType::null) {
        return 0;
    }
    if (value->value.type == DbValueType::real) {
        constexpr double BEYOND = 9223372036854775808.0;  // 2^63
        const double real = value->value.real;
        return real >= -BEYOND && real < BEYOND ? static_cast<int64_t>(real) : 0;
    }
    if (value->value.bytes == nullptr) {
        return value->value.integer;
    }
    int64_t number = 0;
    std::from_chars(value->value.bytes, value->value.bytes + value->value.length, number);
    return number;
}

bool orindb_importIsEmpty(const OrindbImportValue* value) {
    return value == nullptr || value->value.type == DbValueType::null ||
           (value->value.type == DbValueType::text && value->value.length == 0);
}
