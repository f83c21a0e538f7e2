// The database set in the sandbox's /data/db, and how it looks from outside.
#pragma once

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "injection.h"
#include "log_capture.h"
#include "orin_memory.h"
#include "orindb_dbaccess.h"
#include "orinlog_categories.h"
#include "queue_reader.h"
#include "sqlite_peek.h"

constexpr char KONFIG_FILE[] = "/data/db/konfig9.db";
constexpr char CALL_RECORDS_FILE[] = "/data/db/gesprdat3.db";
constexpr char PBX_FILE[] = "/data/db/pbx4.db";
constexpr char LOCK_FILE[] = "/tmp/dblockfile~";

// What calls return, in the order they are made: EXPECT_THAT(Codes({first(), second()}), Each(ORINDB_OK)).
using Codes = std::vector<int>;

// The rows of a query from outside: "1|one;2|two;".
std::string rows(const std::string& query, const std::string& path = KONFIG_FILE);

// Changes a file from outside.
void sqliteChange(const std::string& path, const std::string& sql);

// All that a database file holds: the schema and every value with its type, but not what SQLite keeps for itself. What
// a killed program left half done is rolled back first, as the next program would.
std::string dumpFile(const std::string& path);

// The surroundings of the first difference of two dumps; empty when there is none.
std::string difference(const std::string& a, const std::string& b);

// A machine on which no program has opened the set yet.
class NewMachine : public testing::Test {
  protected:
    NewMachine();

    [[nodiscard]] bool hasLine(uint32_t level, const std::string& text) const {
        return log.has(ORINLOG_CAT_DB, level, text);
    }
    [[nodiscard]] size_t errors() const {
        return log.texts(ORINLOG_ERROR).size();
    }
    // Does something in another thread once there is such a line, or at the latest when that thread is to end.
    [[nodiscard]] std::jthread atLine(uint32_t level, const std::string& text, const std::function<void()>& action);
    // Another connection has the file for itself until somebody says that it waits for it.
    [[nodiscard]] std::jthread holdFile(const std::string& path);

    LogCapture log;
    DbContext db{};
};

// The set is open and the queue is read.
class OpenSet : public NewMachine {
  protected:
    OpenSet();
    ~OpenSet() override;

    int exec(const std::string& sql) {
        return _orindb_execDb(&db, ORINDB_KONFIG, sql.c_str(), nullptr, nullptr, "test");
    }
    // Stores one detail of a contact.
    int put(uint16_t contactId, int32_t key, const std::string& value);
    // The SELECT that was run last, and how SQLite goes about it.
    [[nodiscard]] std::string lastSelect() const;
    [[nodiscard]] std::string planOfLastSelect() const {
        return rows("EXPLAIN QUERY PLAN " + lastSelect());
    }
    // What a function gives in its out arguments, a block and a count.
    template <typename Record, typename Count = uint32_t, typename Read>
    static std::vector<Record> read(Read function) {
        Record* block = nullptr;
        Count count = 1;
        EXPECT_EQ(function(&block, &count), ORINDB_OK);
        const Malloced<Record> owner(block);
        EXPECT_EQ(block == nullptr, count == 0);
        return {block, block + count};
    }
    // Runs the operation, which returns a code, with its first SQLite call failing, then its second, and so on until
    // all of them succeed. What is reported as failed must have changed nothing.
    template <typename Operation>
    void failEachCall(Operation operation) {
        std::string before = dumpFile(KONFIG_FILE);
        for (int allowed = 0;; ++allowed) {
            const Fault failing(Fault::sql, allowed);
            log.clear();
            const int result = operation();
            if (!Fault::hasFailed()) {
                EXPECT_EQ(result, ORINDB_OK);
                EXPECT_GT(allowed, 2);
                return;
            }
            EXPECT_GE(errors(), 1U) << "call " << allowed;
            const std::string after = dumpFile(KONFIG_FILE);
            ASSERT_TRUE(result == ORINDB_OK || after == before) << "call " << allowed << difference(before, after);
            before = after;
            ASSERT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
        }
    }

    QueueReader queue;
};
