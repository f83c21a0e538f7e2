// The database set as the table modules use it: the context of a process, statements, transactions, change counters and
// the messages that tell other PBX processes of changes.
//
// After every successful write the change counter of the written table goes up; where the process announces changes,
// the commit that held them sends message ORINDB_MSG_CHANGED. Changes of contacts are counted but announce nothing:
// they have messages of their own. Sending blocks while the queue is full: somebody must read it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "db_sqlitecursor.h"
#include "db_sqlitewrapper.h"
#include "orin_sharedmem.h"

// Database types: indexes of the handles.
constexpr int ORINDB_KONFIG = 0;        // configuration, "konfig9.db"
constexpr int ORINDB_CALL_RECORDS = 1;  // call records, "gesprdat3.db"
constexpr int ORINDB_PBX = 2;           // "pbx4.db"
constexpr int ORINDB_DATABASES = 3;

// The change area that all processes share (System V shared memory).
struct OrindbSharedArea {
    uint16_t changeCounters[320];  // by table index, wrapping
    uint8_t newConfiguration;      // set when a new configuration database was created
    uint8_t newConfigurationSeen;  // set together with it
    uint8_t httpsSwitchesDiffer;
    uint8_t reserved;
};
static_assert(sizeof(OrindbSharedArea) == 644 && offsetof(OrindbSharedArea, newConfiguration) == 640);

// The database set of a process. Filled by orindb_openAllDbsWithDefaultNames, passed first to every table operation.
struct DbContext {
    DbHandle handles[ORINDB_DATABASES];
    OrinSharedMem sharedCache;
    OrindbSharedArea* innerDbCachePtr;  // nullptr when the area could not be attached
    int messageQueueId;                 // -1 when there is none
    int lockFileDescriptor;             // during start-up only
    uint8_t quiet;                      // 1 keeps the statements of this context out of the trace
};

// Messages on the PBX queue.
constexpr int ORINDB_QUEUE_KEY = 16961;
constexpr long ORINDB_MSG_CHANGED = 1000;          // a configuration table changed; empty text
constexpr long ORINDB_MSG_CONTACT_CHANGED = 1101;  // "<1 created, 2 changed, 3 removed>;<contact>;<groups>"
constexpr long ORINDB_MSG_ALL_CONTACTS = 1103;     // all contacts changed; empty text
constexpr size_t ORINDB_MESSAGE_TEXT_SIZE = 64;

struct DbMessage {
    long type;
    char text[ORINDB_MESSAGE_TEXT_SIZE];
};

// Runs SQL text on one database and counts its change. `caller` names who asks, for the error log.
// Returns what _db_execDb returns, or ORINDB_INVALID_PARAMETER for no context or text; ORINDB_FAILED is logged once
// more with the caller.
[[nodiscard]] int _orindb_execDb(DbContext* dbContext, int dbType, const char* sql, DbRowCallback callback,
                                 void* argument, const char* caller);

// Begins, commits or rolls back on one database (DB_BEGIN, DB_COMMIT, DB_ROLLBACK); an outermost commit of changes to
// announce sends ORINDB_MSG_CHANGED. Returns what db_transactionDb returns, ORINDB_INVALID_PARAMETER for no context.
int orindb_transaction(DbContext* dbContext, int dbType, int mode);

// db_callAfterCommit on one database; 0 after an error line for a missing context or an impossible type.
int orindb_callAfterCommit(DbContext* dbContext, int dbType, DbAfterCommitCallback callback);

// Counts the change that a successful statement made, known from its text ("REPLACE INTO x ...", "DELETE FROM x ...",
// "INSERT INTO x ...", "UPDATE x ..."), and announces it when no transaction is open. _orindb_execDb does this itself;
// a write through a cursor has to call it.
void increaseChangeCounter(DbContext* dbContext, int dbType, const char* sql);

// Sends a message (its text with the NUL) to the PBX queue, if this process announces changes and has a queue.
// Returns 0, ORINDB_INVALID_PARAMETER, or -1 when msgsnd failed (logged; errno is msgsnd's).
int orindb_writeToMsgQueue(DbContext* dbContext, const DbMessage* message);

// The flag that the HTTPS switches differ. Without the shared area an error is logged; reading then gives 0.
[[nodiscard]] uint8_t orindb_get_HttpsSwitchesDiffer(DbContext* dbContext);
void orindb_set_HttpsSwitchesDiffer(DbContext* dbContext, uint8_t differ);

// A transaction that is rolled back at the end of its block unless it was committed.
class Transaction {
  public:
    Transaction(DbContext* dbContext, int dbType)
        : dbContext_(dbContext), dbType_(dbType), begun_(orindb_transaction(dbContext, dbType, DB_BEGIN)) {
        open_ = begun_ == ORINDB_OK;
    }
    ~Transaction() {
        if (open_) {
            orindb_transaction(dbContext_, dbType_, DB_ROLLBACK);
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // What the begin returned.
    [[nodiscard]] int begun() const {
        return begun_;
    }
    // Commits when `result` is 0 and rolls back otherwise. Returns the commit's result, or `result`.
    [[nodiscard]] int end(int result) {
        open_ = false;
        if (result != ORINDB_OK) {
            orindb_transaction(dbContext_, dbType_, DB_ROLLBACK);
            return result;
        }
        return orindb_transaction(dbContext_, dbType_, DB_COMMIT);
    }

  private:
    DbContext* dbContext_;
    int dbType_;
    int begun_;
    bool open_;
};
