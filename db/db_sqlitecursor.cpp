#include "db_sqlitecursor.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "db_busywait.h"
#include "db_idlestatement.h"
#include "db_sqlitecursor_record.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "db_sqlitecursor.c"};

// Logs what went wrong on behalf of a cursor function and passes SQLite's code on.
int checked(DbCursor* cursor, int code, const char* function) {
    if (code != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "%s: failed => %d: %s SQL=%s", function, code, sqlite3_errmsg(cursor->connection),
                sqlite3_sql(cursor->statement));
    }
    return code;
}

int bound(int code) {
    return code == SQLITE_OK ? 0 : -1;
}

// Makes a cursor without a statement; its connection is the handle's.
DbCursor* newCursor(const DbHandle* handles, int dbType, const char* sql, const char* function) {
    auto* cursor = static_cast<DbCursor*>(calloc(1, sizeof(DbCursor)));
    if (cursor == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s: out of memory error", function);
        return nullptr;
    }
    cursor->connection = handles[dbType].connection;
    ORINLOG(ORINLOG_EDEBUG, "%s: sql=%s db=%i", function, sql, dbType);
    return cursor;
}

// Prepares the cursor's statement as soon as the file is free. Returns 0, or -1 (logged).
int prepare(DbCursor* cursor, const DbHandle& handle, const char* sql, const char* function) {
    int code = sqlite3_prepare_v2(cursor->connection, sql, -1, &cursor->statement, nullptr);
    while (db_isBusy(code)) {
        ORINLOG(ORINLOG_INFO, "%s: DB-File (%s) is busy or locked sql=%s", function, handle.fileName, sql);
        db_waitBusy();
        code = sqlite3_prepare_v2(cursor->connection, sql, -1, &cursor->statement, nullptr);
    }
    if (code != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "%s: Error preparing SQL %s: %d: %s", function, sql, code,
                sqlite3_errmsg(cursor->connection));
        return -1;
    }
    if (cursor->statement == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s: Error preparing SQL %s: no statement", function, sql);
        return -1;
    }
    return 0;
}

bool isColumn(const DbCursor* cursor, int column) {
    return cursor != nullptr && column >= 0 && (cursor->columnCount == 0 || column < cursor->columnCount);
}

void enterColumn(DbCursor* cursor, int column) {
    const char* name = sqlite3_column_name(cursor->statement, column);
    if (name == nullptr) {
        ORINLOG(ORINLOG_ERROR, "Error getting column name: %d: %s", sqlite3_errcode(cursor->connection),
                sqlite3_errmsg(cursor->connection));
        return;
    }
    ENTRY entry{const_cast<char*>(name), reinterpret_cast<void*>(static_cast<intptr_t>(column))};
    ENTRY* entered = nullptr;
    if (hsearch_r(entry, ENTER, &entered, &cursor->columnIndex) == 0) {
        ORINLOG(ORINLOG_ERROR, "Error creating column entry: %d: %s", errno, strerror(errno));
    }
}

bool buildColumnIndex(DbCursor* cursor) {
    const int count = sqlite3_column_count(cursor->statement);
    if (count < 1) {
        ORINLOG(ORINLOG_ERROR, "Error getting column count: %d: %s", sqlite3_errcode(cursor->connection),
                sqlite3_errmsg(cursor->connection));
        return false;
    }
    if (hcreate_r(static_cast<size_t>(count), &cursor->columnIndex) == 0) {
        ORINLOG(ORINLOG_ERROR, "Error creating column hashtable: %d: %s", errno, strerror(errno));
        return false;
    }
    cursor->columnCount = count;
    for (int column = 0; column < count; ++column) {
        enterColumn(cursor, column);
    }
    return true;
}

}  // namespace

int db_cursor_query(DbHandle* handles, int dbType, const char* sql, DbCursor** cursor) {
    if (handles == nullptr || sql == nullptr || cursor == nullptr) {
        return -1;
    }
    DbCursor* made = newCursor(handles, dbType, sql, __func__);
    if (made == nullptr || prepare(made, handles[dbType], sql, __func__) != 0) {
        free(made);
        return -1;
    }
    *cursor = made;
    return 0;
}

int db_cursor_queryKept(DbHandle* handles, int dbType, const char* sql, DbCursor** cursor) {
    if (handles == nullptr || sql == nullptr || cursor == nullptr) {
        return -1;
    }
    sqlite3_stmt* kept = db_takeIdleStatement(&handles[dbType], sql);
    DbCursor* made = nullptr;
    if (kept == nullptr) {
        if (db_cursor_query(handles, dbType, sql, &made) != 0) {
            return -1;
        }
    } else {
        made = newCursor(handles, dbType, sql, "db_cursor_query");
        if (made == nullptr) {
            sqlite3_finalize(kept);
            return -1;
        }
        made->statement = kept;
    }
    made->keeper = &handles[dbType];
    *cursor = made;
    return 0;
}

int db_cursor_next(DbCursor* cursor) {
    if (cursor == nullptr) {
        return -1;
    }
    int code = sqlite3_step(cursor->statement);
    while (db_isBusy(code)) {
        ORINLOG_FN(ORINLOG_INFO, "busy or locked sql=%s", sqlite3_sql(cursor->statement));
        db_waitBusy();
        code = sqlite3_step(cursor->statement);
    }
    if (code == SQLITE_ROW) {
        return 1;
    }
    if (code == SQLITE_DONE) {
        return 0;
    }
    ORINLOG_FN(ORINLOG_ERROR, "Error stepping SQL %s: %d: %s", sqlite3_sql(cursor->statement), code,
               sqlite3_errmsg(cursor->connection));
    return -1;
}

int db_cursor_reset(DbCursor* cursor) {
    return cursor == nullptr ? -1 : checked(cursor, sqlite3_reset(cursor->statement), __func__);
}

int db_cursor_clear_bindings(DbCursor* cursor) {
    return cursor == nullptr ? -1 : checked(cursor, sqlite3_clear_bindings(cursor->statement), __func__);
}

int db_cursor_close(DbCursor* cursor) {
    if (cursor == nullptr) {
        return -1;
    }
    if (cursor->columnCount != 0) {
        hdestroy_r(&cursor->columnIndex);
    }
    // Finalising answers what resetting does, but leaves no SQL text for the log.
    const int code = checked(cursor, sqlite3_reset(cursor->statement), __func__);
    DbHandle* keeper = cursor->keeper;
    if (keeper != nullptr && code == SQLITE_OK && cursor->connection == keeper->connection) {
        db_keepIdleStatement(keeper, cursor->statement);
    } else {
        sqlite3_finalize(cursor->statement);
    }
    free(cursor);
    return code;
}

int db_cursor_bind_int(DbCursor* cursor, int parameter, int32_t value) {
    return cursor == nullptr ? -1 : bound(sqlite3_bind_int(cursor->statement, parameter, value));
}

int db_cursor_bind_int64(DbCursor* cursor, int parameter, int64_t value) {
    return cursor == nullptr ? -1 : bound(sqlite3_bind_int64(cursor->statement, parameter, value));
}

int db_cursor_bind_text(DbCursor* cursor, int parameter, const char* text) {
    if (cursor == nullptr || text == nullptr) {
        return -1;
    }
    return bound(sqlite3_bind_text(cursor->statement, parameter, text, -1, SQLITE_STATIC));
}

int32_t db_cursor_get_int(DbCursor* cursor, int column) {
    return isColumn(cursor, column) ? sqlite3_column_int(cursor->statement, column) : 0;
}

const char* db_cursor_get_text(DbCursor* cursor, int column, const char* defaultText) {
    if (!isColumn(cursor, column)) {
        return defaultText;
    }
    const unsigned char* text = sqlite3_column_text(cursor->statement, column);
    return text != nullptr ? reinterpret_cast<const char*>(text) : defaultText;
}

int db_cursor_column_count(DbCursor* cursor) {
    if (cursor == nullptr) {
        return -1;
    }
    return cursor->columnCount != 0 ? cursor->columnCount : sqlite3_column_count(cursor->statement);
}

int db_cursor_get_column_index(DbCursor* cursor, const char* name) {
    if (cursor == nullptr || name == nullptr || (cursor->columnCount == 0 && !buildColumnIndex(cursor))) {
        return -1;
    }
    ENTRY* found = nullptr;
    if (hsearch_r(ENTRY{const_cast<char*>(name), nullptr}, FIND, &found, &cursor->columnIndex) == 0) {
        return -1;
    }
    return static_cast<int>(reinterpret_cast<intptr_t>(found->data));
}

const char* db_cursor_sql(DbCursor* cursor) {
    return cursor == nullptr ? nullptr : sqlite3_sql(cursor->statement);
}
