#include "orindb_access.h"

#include <sys/msg.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "orin_errortext.h"
#include "orindb_catalogue.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_access.c"};

// What a statement's first two characters say of it: the text up to the table's name.
struct WriteStatement {
    std::string_view begin;
    std::string_view pattern;
};
constexpr std::array WRITE_STATEMENTS{
    WriteStatement{"RE", "REPLACE INTO %s "},
    WriteStatement{"DE", "DELETE FROM %s "},
    WriteStatement{"IN", "INSERT INTO %s "},
    WriteStatement{"UP", "UPDATE %s "},
};
constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

std::string_view withoutLeadingSpace(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
    return text;
}

// The word at the pattern's %s, read as scanf does: a blank in the pattern matches any white space. Empty if none.
std::string_view scanWord(std::string_view text, std::string_view pattern) {
    for (const char expected : pattern.substr(0, pattern.find('%'))) {
        if (expected == ' ') {
            text = withoutLeadingSpace(text);
        } else if (!text.empty() && text.front() == expected) {
            text.remove_prefix(1);
        } else {
            return {};
        }
    }
    text = withoutLeadingSpace(text);
    return text.substr(0, text.find_first_of(WHITE_SPACE));
}

std::string_view writtenTable(std::string_view sql) {
    for (const WriteStatement& statement : WRITE_STATEMENTS) {
        if (sql.starts_with(statement.begin)) {
            return scanWord(sql, statement.pattern);
        }
    }
    return {};
}

// The counters are locked against the other processes for one increment.
class SharedMemLock {
  public:
    explicit SharedMemLock(OrinSharedMem* memory) : memory_(memory), held_(orin_lockSharedMem(memory) == 0) {}
    ~SharedMemLock() {
        if (held_) {
            orin_unlockSharedMem(memory_);
        }
    }
    SharedMemLock(const SharedMemLock&) = delete;
    SharedMemLock& operator=(const SharedMemLock&) = delete;

  private:
    OrinSharedMem* memory_;
    bool held_;
};

bool announcesContactsItself(uint16_t tableIndex) {
    return tableIndex >= ORINDB_TABLE_CONTACT && tableIndex <= ORINDB_TABLE_CONTACT_GROUP;
}

bool announcesChanges(const DbContext* dbContext) {
    return dbContext->handles[ORINDB_KONFIG].notifyChanges != 0 && dbContext->messageQueueId != -1;
}

// Blocks while the queue is full; a signal ends the wait, and the message with it.
int send(DbContext* dbContext, const DbMessage* message, const char* function) {
    if (!announcesChanges(dbContext)) {
        return 0;
    }
    const size_t length = strnlen(message->text, sizeof(message->text) - 1) + 1;
    const int result = msgsnd(dbContext->messageQueueId, message, length, 0);
    if (result != 0) {
        const int number = errno;
        ORINLOG_AS(ORINLOG_CAT_DB_MSG, ORINLOG_ERROR, "%s(...): msgsnd failed: %s (%d)", function,
                   OrinErrorText(number).get(), number);
        errno = number;
    }
    return result;
}

void notifyBecauseChanges(DbContext* dbContext) {
    const DbMessage message{ORINDB_MSG_CHANGED, ""};
    send(dbContext, &message, __func__);
}

bool hasSharedArea(const DbContext* dbContext, const char* function) {
    if (dbContext != nullptr && dbContext->innerDbCachePtr != nullptr) {
        return true;
    }
    ORINLOG(ORINLOG_ERROR, "%s: dbContext or dbContext->innerDbCachePtr is null!", function);
    return false;
}

bool isDatabase(const DbContext* dbContext, int dbType) {
    return dbContext != nullptr && dbType >= 0 && dbType < ORINDB_DATABASES;
}

}  // namespace

int _orindb_execDb(DbContext* dbContext, int dbType, const char* sql, DbRowCallback callback, void* argument,
                   const char* caller) {
    if (!isDatabase(dbContext, dbType) || sql == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    const int result = _db_execDb(&dbContext->handles[dbType], sql, callback, argument, dbContext->quiet, caller);
    if (result == ORINDB_OK) {
        increaseChangeCounter(dbContext, dbType, sql);
    } else if (result == ORINDB_FAILED) {
        ORINLOG(ORINLOG_ERROR, "%s[%u] %s failed, Aufrufer: %s", &__func__[1], static_cast<unsigned>(__LINE__),
                __func__, caller);
    }
    return result;
}

int orindb_transaction(DbContext* dbContext, int dbType, int mode) {
    if (!isDatabase(dbContext, dbType)) {
        return orindb_invalidParameter(__func__);
    }
    uint8_t announce = 0;
    const int result = db_transactionDb(&dbContext->handles[dbType], mode, &announce);
    if (result == ORINDB_OK && announce != 0) {
        notifyBecauseChanges(dbContext);
    }
    return result;
}

int orindb_callAfterCommit(DbContext* dbContext, int dbType, DbAfterCommitCallback callback) {
    if (!isDatabase(dbContext, dbType)) {
        ORINLOG_FN(ORINLOG_ERROR, "dbContext is null or dbType is invalid!");
        return 0;
    }
    return db_callAfterCommit(&dbContext->handles[dbType], callback);
}

void increaseChangeCounter(DbContext* dbContext, int dbType, const char* sql) {
    if (!isDatabase(dbContext, dbType) || sql == nullptr || dbContext->innerDbCachePtr == nullptr) {
        return;
    }
    const std::string_view statement(sql);
    if (statement.starts_with("SE")) {
        return;
    }
    const uint16_t index = orindb_tableIndex(writtenTable(statement));
    if (index == ORINDB_TABLE_UNKNOWN) {
        return;
    }
    uint16_t counter = 0;
    {
        const SharedMemLock lock(&dbContext->sharedCache);
        counter = ++dbContext->innerDbCachePtr->changeCounters[index];
    }
    ORINLOG_FN(ORINLOG_DEBUG, "Tabelle %i = '%s' wurde geaendert auf %i.", index, orindb_tableName(index), counter);

    DbHandle& handle = dbContext->handles[dbType];
    if (handle.notifyChanges == 0 || announcesContactsItself(index)) {
        return;
    }
    handle.changedInTransaction = 1;
    if (handle.transactionDepth == 0) {
        notifyBecauseChanges(dbContext);
    }
}

int orindb_writeToMsgQueue(DbContext* dbContext, const DbMessage* message) {
    if (dbContext == nullptr || message == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    return send(dbContext, message, __func__);
}

uint8_t orindb_get_HttpsSwitchesDiffer(DbContext* dbContext) {
    return hasSharedArea(dbContext, __func__) ? dbContext->innerDbCachePtr->httpsSwitchesDiffer : 0;
}

void orindb_set_HttpsSwitchesDiffer(DbContext* dbContext, uint8_t differ) {
    if (hasSharedArea(dbContext, __func__)) {
        dbContext->innerDbCachePtr->httpsSwitchesDiffer = differ;
    }
}
