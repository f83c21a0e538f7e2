// A cursor over a prepared statement: query, bind, next while it gives 1, close. Reset and clear bindings let the same
// statement run again with new values. Collisions with other processes are waited out in steps of 100 ms.
#pragma once

#include <cstdint>
#include <memory>

#include "db_sqlitewrapper.h"

struct DbCursor;

// Prepares a statement on handles[dbType]. Returns 0 and the cursor, to be closed by the caller, or -1 (SQLite's error
// is logged) with *cursor untouched.
[[nodiscard]] int db_cursor_query(DbHandle* handles, int dbType, const char* sql, DbCursor** cursor);

// The same for a statement that is run again and again, each time by a cursor of its own: closing the cursor leaves the
// statement with the handle (the last DB_IDLE_STATEMENTS of them), and the next call with the same text takes it over
// instead of preparing it again. What a fresh statement would fail for, such as a table dropped meanwhile, is then told
// by db_cursor_next. The handle must outlive the cursor. Not for columns looked up by name: their names are those of
// the schema that the statement was prepared for.
[[nodiscard]] int db_cursor_queryKept(DbHandle* handles, int dbType, const char* sql, DbCursor** cursor);

// Runs the statement up to its next row. Returns 1 when a row is ready, 0 when there is none left (for a write
// statement: when it is done), -1 (logged) on an error.
[[nodiscard]] int db_cursor_next(DbCursor* cursor);

// All three log a failure and return SQLite's code, or -1 for no cursor. Close releases the cursor in every case.
int db_cursor_reset(DbCursor* cursor);
int db_cursor_clear_bindings(DbCursor* cursor);
int db_cursor_close(DbCursor* cursor);

// Bind parameter ?1, ?2, ... A text is not copied: it stays the caller's and must live until the statement has been
// stepped. Return 0, or -1 for no cursor, no text or no such parameter.
[[nodiscard]] int db_cursor_bind_int(DbCursor* cursor, int parameter, int32_t value);
[[nodiscard]] int db_cursor_bind_int64(DbCursor* cursor, int parameter, int64_t value);
[[nodiscard]] int db_cursor_bind_text(DbCursor* cursor, int parameter, const char* text);

// The value of a column (from 0) of the current row: 0 or `defaultText` for NULL and for a column out of range. A text
// lives until the next step, reset or close.
[[nodiscard]] int32_t db_cursor_get_int(DbCursor* cursor, int column);
[[nodiscard]] const char* db_cursor_get_text(DbCursor* cursor, int column, const char* defaultText);

// Number of columns; -1 for no cursor.
[[nodiscard]] int db_cursor_column_count(DbCursor* cursor);

// The number of a named column (case-sensitive), or -1. The first call builds an index of all names, which belong to
// the statement: SQLite makes them anew when the schema has changed, so names are looked up after the first step and
// not across a reset.
[[nodiscard]] int db_cursor_get_column_index(DbCursor* cursor, const char* name);

// The statement's SQL text, as long as the cursor lives; nullptr for no cursor.
[[nodiscard]] const char* db_cursor_sql(DbCursor* cursor);

struct DbCursorClose {
    void operator()(DbCursor* cursor) const {
        db_cursor_close(cursor);
    }
};
// A cursor that is closed at the end of its block.
using Cursor = std::unique_ptr<DbCursor, DbCursorClose>;
