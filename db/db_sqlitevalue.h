// Values of any SQLite type, as they are taken from one database and put into another without a change.
#pragma once

#include <cstddef>
#include <cstdint>

#include "db_sqlitecursor.h"

enum class DbValueType : uint8_t { null, integer, real, text, blob };

// A value. Bytes of texts (UTF-8 as a rule, any bytes in fact) and blobs belong to whoever made the value.
struct DbValue {
    DbValueType type;
    int64_t integer;
    double real;
    const char* bytes;
    size_t length;  // of `bytes`, a NUL not counted
};

// The value of a column (from 0) of the current row. Its bytes live until the next step, reset or close.
[[nodiscard]] DbValue db_cursor_get_value(DbCursor* cursor, int column);

// Binds a value as its own type, without copying: the bytes must live until the statement has been stepped. Returns 0
// or -1.
[[nodiscard]] int db_cursor_bind_value(DbCursor* cursor, int parameter, const DbValue& value);

// The name of a column of the result; nullptr for none. Lives as long as the cursor.
[[nodiscard]] const char* db_cursor_column_name(DbCursor* cursor, int column);
