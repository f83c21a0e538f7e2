// SQLite as the configuration database uses it: one handle per database file, statements that wait out other processes,
// nested transactions, callbacks after a commit. Above this floor SQLite is only called to configure it.
//
// A collision with another process is waited out in steps of 100 ms without limit; a changed schema reconnects without
// limit, a file that cannot be opened up to ten times. Nothing is rolled back here: who began a transaction ends it.
// Errors are logged under ORINLOG_CAT_DB at level 1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "orindb_array.h"
#include "orindb_codes.h"

struct sqlite3;
struct sqlite3_stmt;

constexpr size_t DB_FILE_NAME_SIZE = 256;
constexpr size_t DB_IDLE_STATEMENTS = 4;

// One database file. Zeroed by db_openDb.
struct DbHandle {
    sqlite3* connection;          // nullptr while closed
    uint16_t transactionDepth;    // only the outermost begin, commit and rollback reach SQLite
    uint16_t clientVersion;       // the version that this program expects in the file
    uint16_t clientMinorVersion;  // likewise
    char fileName[DB_FILE_NAME_SIZE];
    uint8_t notifyChanges;         // 1: a commit announces changes
    uint8_t changedInTransaction;  // a table that notifies was written in the open transaction
    OrindbArray afterCommitCallbacks;
    // Statements of closed cursors, the latest first (db_cursor_queryKept).
    std::array<sqlite3_stmt*, DB_IDLE_STATEMENTS> idleStatements;
};

constexpr int DB_NOTIFY_CHANGES = 1;  // flag of db_openDb

// Modes of db_transactionDb.
constexpr int DB_BEGIN = 0;
constexpr int DB_COMMIT = 1;
constexpr int DB_ROLLBACK = 2;

// Called for each row of a statement with the column count, the values as text (nullptr for NULL) and the column names.
// A result other than 0 ends the statement.
using DbRowCallback = int (*)(void* argument, int columnCount, char** values, char** names);
using DbAfterCommitCallback = void (*)();

// Opens a file for reading and writing, creating it if need be, and registers the collation "ORIN_UTF8_COMPARE".
//   path   cut at 255 characters
//   flags  DB_NOTIFY_CHANGES or 0
// Returns 0, ORINDB_FAILED when the file cannot be opened (the handle is then closed), or SQLite's code when the
// collation cannot be registered (the handle is then open).
[[nodiscard]] int db_openDb(DbHandle* handle, const char* path, int flags, uint16_t clientVersion,
                            uint16_t clientMinorVersion);

// Whether SQLite has a transaction open. It ends one by itself when the disk is full or fails, and a reconnect loses
// it; the depth knows nothing of that.
[[nodiscard]] bool db_isInTransaction(const DbHandle* handle);

// Logs "FUNCTION: invalid parameters" for the function of any floor that was called so. Returns
// ORINDB_INVALID_PARAMETER.
[[nodiscard]] int orindb_invalidParameter(const char* function);

// Closes the connection, if open, and forgets the callbacks. A cursor that is still open has to be closed all the same
// (one in the middle of its rows locks the file until then); a transaction is rolled back.
void db_closeDb(DbHandle* handle);

// Closes and opens the same file again. The new connection has no collation and no transaction; the depth stays.
// Returns 0 or ORINDB_FAILED.
int reconnectSqlite(DbHandle* handle);

// Runs SQL text.
//   callback  may be nullptr; gets `argument` with every row
//   quiet     1 keeps the statement out of the trace
//   caller    name for the error log
// Returns 0, ORINDB_STOPPED_BY_CALLBACK, ORINDB_INVALID_PARAMETER or ORINDB_FAILED (logged). A text that holds "DROP",
// "GebKontoBackup" or "DbFileVersion" fails silently, with SQLite's own code: the upgrade runs such texts on files
// without these tables.
[[nodiscard]] int _db_execDb(DbHandle* handle, const char* sql, DbRowCallback callback, void* argument, uint8_t quiet,
                             const char* caller);

// Runs a query without waiting for other processes. On success *table holds the column names as its first row and then
// *rowCount rows; release it with db_freeArray. Returns 0 or ORINDB_FAILED (logged, nothing to release).
[[nodiscard]] int db_execDbGetArray(DbHandle* handle, const char* sql, char*** table, int* columnCount, int* rowCount);
void db_freeArray(char** table);

// Releases an error text of SQLite; ignores nullptr.
void db_freeErrMsg(char* message);

// Begins, commits or rolls back; inner calls only count. *announce (may be nullptr) becomes 1 when an outermost commit
// holds changes to announce. After a successful outermost commit or rollback the after-commit callbacks run, in the
// order of their registration; a failure discards them. Returns 0, the executor's code, or ORINDB_INVALID_PARAMETER.
// A commit or rollback without a begin wraps the depth to 65535 and reaches SQLite no more.
int db_transactionDb(DbHandle* handle, int mode, uint8_t* announce);

// Runs the callback when the open transaction ends, once however often it is registered; at once when none is open.
// Returns 0, or -1 (logged) for a missing argument or when memory is out.
int db_callAfterCommit(DbHandle* handle, DbAfterCommitCallback callback);

enum class DbDamagedFile : uint8_t { keep, remove };

// Runs SQLite's integrity check; a file that fails is closed and removed on request. Returns 0 or the executor's code.
[[nodiscard]] int db_checkIntegrity(DbHandle* handle, DbDamagedFile damaged);

// Drops all tables, with their indexes, and all views in one transaction. Returns 0 or a code.
[[nodiscard]] int db_dropAllTablesViewsAndIndizes(DbHandle* handle);

// The directory that holds the "data/db" of this file, with its trailing '/' ("/" for "/data/db/x.db"), cut to `size`
// bytes. Returns 0, or -1 when the path holds no "data/db" or an argument is missing.
[[nodiscard]] int db_getDataParentPath(const DbHandle* handle, char* out, size_t size);
