// The database set in the sandbox's /data/db, and how it looks from outside.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <thread>

#include "injection.h"
#include "log_capture.h"
#include "orindb_dbaccess.h"
#include "orinlog_categories.h"
#include "queue_reader.h"
#include "sqlite_peek.h"

constexpr char KONFIG_FILE[] = "/data/db/konfig9.db";
constexpr char CALL_RECORDS_FILE[] = "/data/db/gesprdat3.db";
constexpr char PBX_FILE[] = "/data/db/pbx4.db";

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

    LogCapture log;
};

// The set is open and the queue is read.
class OpenSet : public NewMachine {
  protected:
    OpenSet();
    ~OpenSet() override;

    int exec(const std::string& sql) {
        return _orindb_execDb(&db, ORINDB_KONFIG, sql.c_str(), nullptr, nullptr, "test");
    }
    // The rows of the phone book and of the accounts, one a line.
    static std::string content();
    // The SELECT that was run last, and how SQLite goes about it.
    [[nodiscard]] std::string lastSelect() const;
    [[nodiscard]] std::string planOfLastSelect() const;
    // Runs the operation, which returns a code, with its first SQLite call failing, then its second, and so on until
    // all of them succeed. What is reported as failed must have changed nothing.
    template <typename Operation>
    void failEachCall(Operation operation);

    QueueReader queue;
    DbContext db;
};

// Another connection that has a file for itself for the next 250 ms.
class HeldFile {
  public:
    explicit HeldFile(const std::string& path);
    ~HeldFile();
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

  private:
    std::thread thread_;
};

// Changes a file from outside.
void sqliteChange(const std::string& path, const std::string& sql);

template <typename Operation>
void OpenSet::failEachCall(Operation operation) {
    std::string before = content();
    for (int allowed = 0;; ++allowed) {
        const FailingSql failing(allowed, SQLITE_FULL);
        log.clear();
        const int result = operation();
        if (!FailingSql::hasFailed()) {
            EXPECT_EQ(result, ORINDB_OK);
            EXPECT_GT(allowed, 2);
            return;
        }
        EXPECT_GE(errors(), 1U) << "call " << allowed;
        const std::string after = content();
        ASSERT_TRUE(result == ORINDB_OK || after == before) << "call " << allowed << "\n" << before << "\n" << after;
        before = after;
        ASSERT_EQ(db.handles[ORINDB_KONFIG].transactionDepth, 0);
    }
}
