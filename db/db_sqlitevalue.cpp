#include "db_sqlitevalue.h"

#include <sqlite3.h>

#include "db_sqlitecursor_record.h"

namespace {

// SQLite takes a missing pointer for NULL, whatever the length.
const char* present(const DbValue& value) {
    return value.bytes != nullptr ? value.bytes : "";
}

DbValue withBytes(DbValueType type, sqlite3_stmt* statement, int column, const void* bytes) {
    return {type, 0, 0, static_cast<const char*>(bytes), static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

}  // namespace

DbValue db_cursor_get_value(DbCursor* cursor, int column) {
    if (cursor == nullptr) {
        return {DbValueType::null, 0, 0, nullptr, 0};
    }
    sqlite3_stmt* statement = cursor->statement;
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            return {DbValueType::integer, sqlite3_column_int64(statement, column), 0, nullptr, 0};
        case SQLITE_FLOAT:
            return {DbValueType::real, 0, sqlite3_column_double(statement, column), nullptr, 0};
        case SQLITE_TEXT:
            return withBytes(DbValueType::text, statement, column, sqlite3_column_text(statement, column));
        case SQLITE_BLOB:
            return withBytes(DbValueType::blob, statement, column, sqlite3_column_blob(statement, column));
        default:
            return {DbValueType::null, 0, 0, nullptr, 0};
    }
}

int db_cursor_bind_value(DbCursor* cursor, int parameter, const DbValue& value) {
    if (cursor == nullptr) {
        return -1;
    }
    sqlite3_stmt* statement = cursor->statement;
    int code = SQLITE_ERROR;
    switch (value.type) {
        case DbValueType::null:
            code = sqlite3_bind_null(statement, parameter);
            break;
        case DbValueType::integer:
            code = sqlite3_bind_int64(statement, parameter, value.integer);
            break;
        case DbValueType::real:
            code = sqlite3_bind_double(statement, parameter, value.real);
            break;
        case DbValueType::text:
            code = sqlite3_bind_text64(statement, parameter, present(value), value.length, SQLITE_STATIC, SQLITE_UTF8);
            break;
        case DbValueType::blob:
            code = sqlite3_bind_blob64(statement, parameter, present(value), value.length, SQLITE_STATIC);
            break;
    }
    return code == SQLITE_OK ? 0 : -1;
}

const char* db_cursor_column_name(DbCursor* cursor, int column) {
    return cursor != nullptr ? sqlite3_column_name(cursor->statement, column) : nullptr;
}
