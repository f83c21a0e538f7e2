// A row on its way from an XML file into a table.
#pragma once

#include <span>
#include <string_view>

#include "db_sqlitevalue.h"
#include "orindb_array.h"

struct OrindbImportValue {
    std::string_view column;
    DbValue value;
    char* bytes;  // the value's bytes, which a rule may change in place
};

struct OrindbImportRow {
    OrindbArray* array;  // OrindbImportValue
    bool isWritten;      // a rule clears it to leave the row out
};

// All values of the row, as long as none is added.
[[nodiscard]] std::span<OrindbImportValue> orindb_importValues(const OrindbImportRow& row);

// The row's value of a column (whatever the case of its letters), or nullptr.
[[nodiscard]] OrindbImportValue* orindb_importValue(const OrindbImportRow& row, std::string_view column);

// Puts a number into a column, which is added if the file does not have it. `column` is not copied. Returns 0, or
// ORINDB_FAILED when memory is out.
[[nodiscard]] int orindb_setImportNumber(OrindbImportRow& row, std::string_view column, int64_t number);

// The number that a value holds or that its text begins with; 0 for none.
[[nodiscard]] int64_t orindb_importNumber(const OrindbImportValue* value);

// Whether there is no value, or an empty text.
[[nodiscard]] bool orindb_importIsEmpty(const OrindbImportValue* value);
