#include "db_sqlitewrapper.h"

#include <sqlite3.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "db_busywait.h"
#include "db_idlestatement.h"
#include "orin_stdio.h"
#include "orin_stringutils.h"
#include "orin_utf8.h"
#include "orindb_logandprint.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "db_sqlitewrapper.c"};

constexpr int MAX_RECONNECTS = 10;
constexpr size_t DROP_TEXT_SIZE = 256;
constexpr std::array MAY_FAIL_SILENTLY{"DROP", "GebKontoBackup", "DbFileVersion"};
constexpr const char* DATA_DIRECTORY = "data/db";

// Numbers the statements in the trace.
uint32_t statementCounter = 0;

int compareTexts(void* /*context*/, int lengthA, const void* a, int lengthB, const void* b) {
    const auto* textA = a != nullptr ? static_cast<const char*>(a) : "";
    const auto* textB = b != nullptr ? static_cast<const char*>(b) : "";
    return orin_utf8_compare(textA, static_cast<size_t>(lengthA), textB, static_cast<size_t>(lengthB),
                             OrinCase::insensitive);
}

struct ForwardedCallback {
    DbRowCallback callback;
    void* argument;
};

int forwardRow(void* forwarded, int columnCount, char** values, char** names) {
    const auto* to = static_cast<const ForwardedCallback*>(forwarded);
    return to->callback != nullptr ? to->callback(to->argument, columnCount, values, names) : 0;
}

int execOnce(DbHandle* handle, const char* sql, DbRowCallback callback, void* argument, char** message) {
    if (!ORINLOG_ENABLED(ORINLOG_EDEBUG)) {
        return sqlite3_exec(handle->connection, sql, callback, argument, message);
    }
    ForwardedCallback forwarded{callback, argument};
    return sqlite3_exec(handle->connection, sql, forwardRow, &forwarded, message);
}

double secondsSince(const timeval& start) {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec - start.tv_sec) + static_cast<double>(now.tv_usec - start.tv_usec) / 1e6;
}

// Waits or reconnects where that may help. Returns true when the statement is to be run again.
bool recover(DbHandle* handle, int code, const char* sql, int& reconnects) {
    if (db_isBusy(code)) {
        ORINLOG(ORINLOG_INFO, "db_exec(): DB-File (%s) is busy or locked tansaction :%s PID=%i", handle->fileName, sql,
                getpid());
        db_waitBusy();
        return true;
    }
    if (code == SQLITE_SCHEMA) {
        ORINLOG(ORINLOG_ERROR, "db_exec(): DB-File Schema has changed, trying reconnect ...");
        reconnectSqlite(handle);
        return true;
    }
    if (code == SQLITE_CANTOPEN && reconnects < MAX_RECONNECTS) {
        ORINLOG(ORINLOG_ERROR, "db_exec(): Can't open DB-File or DB-Journal, trying reconnect ...");
        reconnectSqlite(handle);
        ++reconnects;
        return true;
    }
    return false;
}

bool mayFailSilently(const char* sql) {
    return std::any_of(MAY_FAIL_SILENTLY.begin(), MAY_FAIL_SILENTLY.end(),
                       [sql](const char* word) { return strstr(sql, word) != nullptr; });
}

// SQLite's text for a failed call; some failures, such as a connection that cannot be used, leave none.
const char* errorText(const char* message, int code) {
    return message != nullptr ? message : sqlite3_errstr(code);
}

// A connection that a cursor still uses ends with that cursor. What it has begun is undone now: the file must be free.
void closeConnection(DbHandle* handle) {
    db_dropIdleStatements(handle);
    if (sqlite3_close(handle->connection) != SQLITE_OK) {
        ORINLOG_FN(ORINLOG_WARNING, "a cursor of %s is still open", handle->fileName);
        sqlite3_exec(handle->connection, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close_v2(handle->connection);
    }
    handle->connection = nullptr;
}

// Ends an outermost begin, commit or rollback.
int runTransactionText(DbHandle* handle, const char* sql) {
    const int result = _db_execDb(handle, sql, nullptr, nullptr, 0, "db_transactionDb");
    // Out of the handle first: a callback may begin a transaction of its own.
    OrindbArray callbacks = handle->afterCommitCallbacks;
    orindb_initArray(&handle->afterCommitCallbacks, sizeof(DbAfterCommitCallback));
    for (uint32_t i = 0; result == ORINDB_OK && i < callbacks.count; ++i) {
        static_cast<DbAfterCommitCallback*>(callbacks.items)[i]();
    }
    orindb_freeArray(&callbacks);
    return result;
}

enum class SchemaObject : uint8_t { table, view };

// Drops every object that the query names; a table that resists is left, a view that resists ends it. *found gets the
// number of objects.
int dropNamed(DbHandle* handle, const char* query, SchemaObject what, int* found) {
    char** names = nullptr;
    int columns = 0;
    int result = db_execDbGetArray(handle, query, &names, &columns, found);
    if (result != ORINDB_OK) {
        return result;
    }
    for (int row = 1; row <= *found && result == ORINDB_OK; ++row) {
        std::array<char, DROP_TEXT_SIZE> sql{};
        if (what == SchemaObject::table) {
            snprintf(sql.data(), sql.size(), "DROP TABLE %s", names[row]);
        } else {
            snprintf(sql.data(), sql.size(), "DROP VIEW %s", names[row]);
        }
        const int dropped = _db_execDb(handle, sql.data(), nullptr, nullptr, 0, __func__);
        result = what == SchemaObject::view ? dropped : ORINDB_OK;
    }
    db_freeArray(names);
    return result;
}

}  // namespace

int db_openDb(DbHandle* handle, const char* path, int flags, uint16_t clientVersion, uint16_t clientMinorVersion) {
    *handle = {};
    handle->notifyChanges = (flags & DB_NOTIFY_CHANGES) != 0 ? 1 : 0;
    orin_strncpy(handle->fileName, path);
    orindb_initArray(&handle->afterCommitCallbacks, sizeof(DbAfterCommitCallback));
    handle->clientVersion = clientVersion;
    handle->clientMinorVersion = clientMinorVersion;

    int code =
        sqlite3_open_v2(handle->fileName, &handle->connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (code != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "orindb_openDb(): sqlite_open() of file %s failed -> %s", handle->fileName,
                sqlite3_errmsg(handle->connection));
        db_closeDb(handle);
        return ORINDB_FAILED;
    }
    ORINLOG(ORINLOG_INFO, "orindb_openDb(): %s is open", handle->fileName);

    code = sqlite3_create_collation(handle->connection, "ORIN_UTF8_COMPARE", SQLITE_UTF8, nullptr, compareTexts);
    if (code != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "orindb_openDb(): sqlite3_create_collation() for file %s failed -> %s", handle->fileName,
                sqlite3_errmsg(handle->connection));
    }
    return code;
}

int orindb_invalidParameter(const char* function) {
    ORINLOG_FOR(function, ORINLOG_ERROR, "invalid parameters");
    return ORINDB_INVALID_PARAMETER;
}

bool db_isInTransaction(const DbHandle* handle) {
    return handle->connection != nullptr && sqlite3_get_autocommit(handle->connection) == 0;
}

void db_closeDb(DbHandle* handle) {
    closeConnection(handle);
    orindb_freeArray(&handle->afterCommitCallbacks);
}

int reconnectSqlite(DbHandle* handle) {
    closeConnection(handle);
    if (sqlite3_open(handle->fileName, &handle->connection) != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "reconnectSqlite(): sqlite3_open() of file %s failed -> %s", handle->fileName,
                sqlite3_errmsg(handle->connection));
        return ORINDB_FAILED;
    }
    ORINLOG(ORINLOG_INFO, "reconnectSqlite(): %s is open again", handle->fileName);
    return ORINDB_OK;
}

int _db_execDb(DbHandle* handle, const char* sql, DbRowCallback callback, void* argument, uint8_t quiet,
               const char* caller) {
    if (handle == nullptr || sql == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    ++statementCounter;
    const bool tracing = quiet == 0 && ORINLOG_ENABLED(ORINLOG_DEBUG);
    timeval start{};
    char* message = nullptr;
    int code = SQLITE_OK;
    int reconnects = 0;
    do {
        db_freeErrMsg(message);
        message = nullptr;
        if (tracing) {
            ORINLOG(ORINLOG_EDEBUG, "%u db_exec(): %s ", statementCounter, sql);
            gettimeofday(&start, nullptr);
        }
        code = execOnce(handle, sql, callback, argument, &message);
    } while (recover(handle, code, sql, reconnects));

    if (code != SQLITE_OK && code != SQLITE_ABORT) {
        const bool silent = mayFailSilently(sql);
        if (!silent) {
            ORINLOG(ORINLOG_ERROR, "db_execDb() failed (%s): %s Code=%i sql=%s", caller, errorText(message, code), code,
                    sql);
        }
        db_freeErrMsg(message);
        return silent ? code : ORINDB_FAILED;
    }
    if (tracing) {
        ORINLOG(ORINLOG_EDEBUG, "SQL-Anweisung %u dauerte %f Sekunden", statementCounter, secondsSince(start));
    }
    db_freeErrMsg(message);
    return code == SQLITE_OK ? ORINDB_OK : ORINDB_STOPPED_BY_CALLBACK;
}

int db_execDbGetArray(DbHandle* handle, const char* sql, char*** table, int* columnCount, int* rowCount) {
    ORINLOG(ORINLOG_DEBUG, "%u db_execDbGetArray(): %s ", statementCounter, sql);
    char* message = nullptr;
    const int code = sqlite3_get_table(handle->connection, sql, table, rowCount, columnCount, &message);
    if (code != SQLITE_OK) {
        ORINLOG(ORINLOG_ERROR, "db_execDbGetArray(): failed -> %s", errorText(message, code));
        db_freeErrMsg(message);
        return ORINDB_FAILED;
    }
    return ORINDB_OK;
}

void db_freeArray(char** table) {
    sqlite3_free_table(table);
}

void db_freeErrMsg(char* message) {
    sqlite3_free(message);
}

int db_transactionDb(DbHandle* handle, int mode, uint8_t* announce) {
    if (handle == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    if (announce != nullptr) {
        *announce = 0;
    }
    switch (mode) {
        case DB_BEGIN: {
            if (handle->transactionDepth != 0) {
                ++handle->transactionDepth;
                return ORINDB_OK;
            }
            handle->changedInTransaction = 0;
            const int result = runTransactionText(handle, "BEGIN IMMEDIATE TRANSACTION");
            handle->transactionDepth = result == ORINDB_OK ? 1 : 0;
            return result;
        }
        case DB_COMMIT:
            if (--handle->transactionDepth != 0) {
                return ORINDB_OK;
            }
            if (announce != nullptr && handle->notifyChanges != 0 && handle->changedInTransaction != 0) {
                *announce = 1;
            }
            return runTransactionText(handle, "COMMIT TRANSACTION");
        case DB_ROLLBACK:
            if (--handle->transactionDepth != 0) {
                return ORINDB_OK;
            }
            handle->changedInTransaction = 0;
            return runTransactionText(handle, "ROLLBACK TRANSACTION");
        default:
            return ORINDB_INVALID_PARAMETER;
    }
}

int db_callAfterCommit(DbHandle* handle, DbAfterCommitCallback callback) {
    if (handle == nullptr || callback == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "invalid parameters");
        return ORINDB_FAILED;
    }
    if (handle->transactionDepth == 0) {
        callback();
        return ORINDB_OK;
    }
    OrindbArray& registered = handle->afterCommitCallbacks;
    const auto* callbacks = static_cast<const DbAfterCommitCallback*>(registered.items);
    if (std::find(callbacks, callbacks + registered.count, callback) != callbacks + registered.count) {
        return ORINDB_OK;
    }
    auto* added = static_cast<DbAfterCommitCallback*>(orindb_appendToArray(&registered));
    if (added == nullptr) {
        return ORINDB_FAILED;
    }
    *added = callback;
    return ORINDB_OK;
}

int db_checkIntegrity(DbHandle* handle, DbDamagedFile damaged) {
    const int result = _db_execDb(handle, "PRAGMA integrity_check", nullptr, nullptr, 0, __func__);
    if (result == ORINDB_OK) {
        return result;
    }
    ORINDB_LOG_AND_PRINT(ORINLOG_ERROR, "%s: Integrity-Check of %s failed -> ErrorCode=%i", __func__, handle->fileName,
                         result);
    if (damaged == DbDamagedFile::remove) {
        db_closeDb(handle);
        orin_remove(handle->fileName);
        ORINLOG_FN(ORINLOG_ERROR, "Deleting malformed DB %s", handle->fileName);
    }
    return result;
}

int db_dropAllTablesViewsAndIndizes(DbHandle* handle) {
    int result = db_transactionDb(handle, DB_BEGIN, nullptr);
    if (result != ORINDB_OK) {
        return result;
    }
    int tables = 0;
    result = dropNamed(handle, "SELECT name FROM sqlite_master WHERE type='table'", SchemaObject::table, &tables);
    if (result == ORINDB_OK && tables > 0) {
        int views = 0;
        result = dropNamed(handle, "SELECT name FROM sqlite_master WHERE type='view'", SchemaObject::view, &views);
    }
    if (result != ORINDB_OK) {
        db_transactionDb(handle, DB_ROLLBACK, nullptr);
        return result;
    }
    return db_transactionDb(handle, DB_COMMIT, nullptr);
}

int db_getDataParentPath(const DbHandle* handle, char* out, size_t size) {
    if (handle == nullptr || out == nullptr || size == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "invalid parameters");
        return ORINDB_FAILED;
    }
    orin_strncpy(out, handle->fileName, static_cast<int32_t>(std::min<size_t>(size, DB_FILE_NAME_SIZE)));
    char* data = strstr(out, DATA_DIRECTORY);
    if (data == nullptr) {
        return ORINDB_FAILED;
    }
    *data = '\0';
    return ORINDB_OK;
}
