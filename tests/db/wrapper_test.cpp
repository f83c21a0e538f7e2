// One database file: statements that wait, reconnect, fail or are stopped; transactions; a damaged file.
#include "db_sqlitewrapper.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <chrono>
#include <cstring>
#include <filesystem>

#include "file_tools.h"
#include "orinlog_level_user.h"
#include "set_world.h"

namespace {

constexpr char FILE_PATH[] = "/data/db/wrapper.db";
constexpr char INSERT[] = "INSERT INTO t VALUES(1,2)";

class Wrapper : public NewMachine {
  protected:
    Wrapper() {
        EXPECT_EQ(db_openDb(&handle, FILE_PATH, 0, 3, 4), ORINDB_OK);
        EXPECT_EQ(exec("CREATE TABLE t(a, b)"), ORINDB_OK);
        log.clear();
    }
    ~Wrapper() override {
        db_closeDb(&handle);
        orinlog_setLevel(&orinlog_level_mem, ORINLOG_CAT_DB, ORINLOG_EDEBUG);
    }
    int exec(const char* sql, uint8_t quiet = 0) {
        return _db_execDb(&handle, sql, nullptr, nullptr, quiet, "test");
    }
    int transaction(int mode) {
        return db_transactionDb(&handle, mode, nullptr);
    }
    // Steps that must succeed: Begin, Commit, Rollback, Insert a row.
    void run(const std::string& steps) {
        for (const char step : steps) {
            const size_t mode = std::string("BCR").find(step);
            EXPECT_EQ(mode != std::string::npos ? transaction(static_cast<int>(mode)) : exec(INSERT), ORINDB_OK);
        }
    }
    int getArray(const char* sql) {
        return db_execDbGetArray(&handle, sql, &table, &columns, &rows);
    }
    static std::string storedRows() {
        return sqliteValue(FILE_PATH, "SELECT COUNT(*) FROM t");
    }

    DbHandle handle;
    char** table = nullptr;
    int columns = 0;
    int rows = 0;
};

TEST_F(Wrapper, AFileThatAnotherProcessHoldsIsWaitedFor) {
    {
        const HeldFile held(FILE_PATH);
        run("I");
    }
    EXPECT_TRUE(hasLine(ORINLOG_INFO,
                        "db_exec(): DB-File (/data/db/wrapper.db) is busy or locked tansaction :INSERT INTO t "
                        "VALUES(1,2) PID=" +
                            std::to_string(getpid())));
    const auto start = std::chrono::steady_clock::now();
    const FailingSql locked(0, SQLITE_LOCKED, 2);
    run("I");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200)) << "two steps";
    EXPECT_EQ(storedRows(), "2");
    EXPECT_EQ(errors(), 0U);
}

TEST_F(Wrapper, AChangedSchemaReconnectsUntilItIsSeenAndKeepsTheDepth) {
    run("B");
    {
        const FailingSql changed(0, SQLITE_SCHEMA, 12);
        run("I");
    }
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR, "db_exec(): DB-File Schema has changed, trying reconnect ..."),
              12U);
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_INFO, "reconnectSqlite(): /data/db/wrapper.db is open again"), 12U);
    EXPECT_EQ(handle.transactionDepth, 1);
    EXPECT_EQ(transaction(DB_COMMIT), ORINDB_FAILED) << "the new connection has no transaction";
    EXPECT_EQ(exec("SELECT a FROM t ORDER BY a COLLATE ORIN_UTF8_COMPARE"), ORINDB_FAILED) << "nor the collation";
}

TEST_F(Wrapper, AJournalThatCannotBeOpenedReconnectsTenTimes) {
    std::filesystem::create_symlink("/nowhere/at/all", "/data/db/wrapper.db-journal");
    EXPECT_EQ(exec(INSERT), ORINDB_FAILED);
    EXPECT_EQ(
        log.count(ORINLOG_CAT_DB, ORINLOG_ERROR, "db_exec(): Can't open DB-File or DB-Journal, trying reconnect ..."),
        10U);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_execDb() failed (test): unable to open database file Code=14 sql=INSERT"));
    std::filesystem::remove("/data/db/wrapper.db-journal");
    run("I");
    // With the folder gone the reconnect fails, too, and the connection cannot be used.
    std::filesystem::rename("/data/db", "/data/elsewhere");
    const FailingSql cannotOpen(0, SQLITE_CANTOPEN);
    EXPECT_EQ(exec(INSERT), ORINDB_FAILED);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "reconnectSqlite(): sqlite3_open() of file /data/db/wrapper.db failed -> "));
    EXPECT_EQ(getArray("SELECT 1"), ORINDB_FAILED);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_execDbGetArray(): failed -> bad parameter"));
    std::filesystem::rename("/data/elsewhere", "/data/db");
}

TEST_F(Wrapper, WhatTheUpgradeTriesOnAnyFileFailsSilently) {
    for (const char* sql : {"DROP TABLE absent", "SELECT * FROM GebKontoBackup", "SELECT * FROM DbFileVersion"}) {
        EXPECT_EQ(exec(sql), SQLITE_ERROR) << sql;
    }
    EXPECT_EQ(errors(), 0U);
    EXPECT_EQ(exec("SELECT * FROM absent"), ORINDB_FAILED);
    EXPECT_TRUE(
        hasLine(ORINLOG_ERROR, "db_execDb() failed (test): no such table: absent Code=1 sql=SELECT * FROM absent"));
}

int countTwoRows(void* seen, int /*columnCount*/, char** values, char** /*names*/) {
    auto& rows = *static_cast<std::string*>(seen);
    rows += values[0];
    return rows.size() == 2 ? 1 : 0;
}

TEST_F(Wrapper, ARowCallbackCanStopAStatementWithoutAnError) {
    EXPECT_EQ(exec("INSERT INTO t VALUES(1,2),(3,4),(5,6)"), ORINDB_OK);
    for (const uint32_t level : {ORINLOG_INFO, ORINLOG_EDEBUG}) {
        orinlog_setLevel(&orinlog_level_mem, ORINLOG_CAT_DB, level);
        std::string seen;
        EXPECT_EQ(_db_execDb(&handle, "SELECT a FROM t", countTwoRows, &seen, 0, "test"), ORINDB_STOPPED_BY_CALLBACK);
        EXPECT_EQ(seen, "13");
    }
    EXPECT_EQ(errors(), 0U);
}

TEST_F(Wrapper, StatementsAreTracedWithTheirNumberAndDuration) {
    run("I");
    EXPECT_EQ(exec(INSERT, 1), ORINDB_OK) << "quiet";
    const auto lines = log.texts(ORINLOG_EDEBUG);
    ASSERT_EQ(lines.size(), 2U) << log;
    const std::string number = lines[0].substr(0, lines[0].find(' '));
    EXPECT_THAT(number, testing::MatchesRegex("[0-9]+"));
    EXPECT_EQ(lines[0], number + " db_exec(): INSERT INTO t VALUES(1,2) ");
    EXPECT_THAT(lines[1], testing::MatchesRegex("SQL-Anweisung " + number + " dauerte [0-9]+\\.[0-9]{6} Sekunden"));
}

TEST_F(Wrapper, AResultTableBeginsWithTheColumnNames) {
    EXPECT_EQ(exec("INSERT INTO t VALUES(1,NULL)"), ORINDB_OK);
    ASSERT_EQ(getArray("SELECT a, b FROM t"), ORINDB_OK);
    EXPECT_EQ(columns * 10 + rows, 21);
    EXPECT_EQ(std::string(table[0]) + table[1] + table[2], "ab1");
    EXPECT_EQ(table[3], nullptr);
    db_freeArray(table);
    EXPECT_EQ(getArray("SELECT x FROM t"), ORINDB_FAILED);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_execDbGetArray(): failed -> no such column: x"));
}

TEST_F(Wrapper, OnlyTheOutermostTransactionReachesTheFile) {
    run("BBIR");
    EXPECT_EQ(storedRows(), "0");
    run("C");
    EXPECT_EQ(storedRows(), "1") << "an inner rollback takes nothing back";
    run("BIR");
    EXPECT_EQ(storedRows(), "1");
    {
        const FailingSql full(0, SQLITE_FULL);
        EXPECT_EQ(transaction(DB_BEGIN), ORINDB_FAILED);
    }
    EXPECT_EQ(handle.transactionDepth, 0);
    EXPECT_EQ(transaction(3), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(db_transactionDb(nullptr, DB_BEGIN, nullptr), ORINDB_INVALID_PARAMETER);
    log.clear();
    run("C");
    EXPECT_EQ(handle.transactionDepth, 65535) << "a commit without a begin";
    run("B");
    EXPECT_FALSE(hasLine(ORINLOG_EDEBUG, "db_exec()")) << log;
}

DbHandle* callbackHandle = nullptr;
std::string called;
void callA() {
    called += 'a';
}
// Writes in a transaction of its own.
void callB() {
    called += 'b';
    EXPECT_EQ(db_transactionDb(callbackHandle, DB_BEGIN, nullptr), ORINDB_OK);
    EXPECT_EQ(_db_execDb(callbackHandle, INSERT, nullptr, nullptr, 0, "test"), ORINDB_OK);
    EXPECT_EQ(db_transactionDb(callbackHandle, DB_COMMIT, nullptr), ORINDB_OK);
}

TEST_F(Wrapper, CallbacksRunOnceWhenTheOutermostTransactionHasEnded) {
    callbackHandle = &handle;
    called.clear();
    const auto endWithCallbacks = [this](int mode) {
        run("BB");
        for (const DbAfterCommitCallback callback : {callB, callA, callB}) {
            EXPECT_EQ(db_callAfterCommit(&handle, callback), ORINDB_OK);
        }
        run("C");
        EXPECT_EQ(called, "");
        return transaction(mode);
    };
    EXPECT_EQ(endWithCallbacks(DB_COMMIT), ORINDB_OK);
    EXPECT_EQ(std::exchange(called, ""), "ba");
    EXPECT_EQ(storedRows(), "1");
    EXPECT_EQ(endWithCallbacks(DB_ROLLBACK), ORINDB_OK);
    EXPECT_EQ(std::exchange(called, ""), "ba") << "a rollback runs them, too";
    {
        const FailingSql full(1, SQLITE_FULL);
        EXPECT_EQ(endWithCallbacks(DB_COMMIT), ORINDB_FAILED);
    }
    run("BC");
    EXPECT_EQ(called, "") << "a failed commit discards them";
    EXPECT_EQ(db_callAfterCommit(&handle, callA), ORINDB_OK);
    EXPECT_EQ(called, "a") << "at once outside of a transaction";
    EXPECT_EQ(db_callAfterCommit(&handle, nullptr), ORINDB_FAILED);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_callAfterCommit: invalid parameters"));
}

TEST_F(Wrapper, DroppingEverythingLeavesNoSchemaOrAllOfIt) {
    const char* objects = "SELECT COUNT(*) FROM sqlite_master";
    EXPECT_EQ(exec("CREATE TABLE u(x UNIQUE); CREATE INDEX i ON t(a); CREATE VIEW v AS SELECT * FROM t"), ORINDB_OK);
    {
        const FailingSql full(3, SQLITE_FULL);  // BEGIN and two tables pass, the view does not
        EXPECT_EQ(db_dropAllTablesViewsAndIndizes(&handle), SQLITE_FULL);
    }
    EXPECT_EQ(sqliteValue(FILE_PATH, objects), "5");
    EXPECT_EQ(db_dropAllTablesViewsAndIndizes(&handle), ORINDB_OK);
    EXPECT_EQ(sqliteValue(FILE_PATH, objects), "0");
}

TEST_F(Wrapper, TheDataParentPathEndsBeforeTheDataTree) {
    char path[16];
    EXPECT_EQ(db_getDataParentPath(&handle, path, sizeof(path)), 0);
    EXPECT_STREQ(path, "/");
    EXPECT_EQ(db_getDataParentPath(&handle, path, 6), -1) << "cut within data/db";
    strcpy(handle.fileName, "/home/x/data/db/data/db/y.db");
    EXPECT_EQ(db_getDataParentPath(&handle, path, sizeof(path)), 0);
    EXPECT_STREQ(path, "/home/x/");
    strcpy(handle.fileName, "/data/d/b.db");
    EXPECT_EQ(db_getDataParentPath(&handle, path, sizeof(path)), -1);
}

TEST_F(Wrapper, ADamagedFileFailsTheCheckAndIsRemovedOnRequest) {
    EXPECT_EQ(db_checkIntegrity(&handle, DbDamagedFile::remove), ORINDB_OK);
    db_closeDb(&handle);
    std::string bytes = readFile(FILE_PATH);
    bytes.replace(100, 1000, 1000, 'x');  // the page of the schema, behind the file's header
    writeFile(FILE_PATH, bytes);
    ASSERT_EQ(db_openDb(&handle, FILE_PATH, 0, 3, 4), ORINDB_OK);
    EXPECT_EQ(db_checkIntegrity(&handle, DbDamagedFile::keep), ORINDB_FAILED);
    EXPECT_TRUE(fileExists(FILE_PATH));
    testing::internal::CaptureStdout();
    EXPECT_EQ(db_checkIntegrity(&handle, DbDamagedFile::remove), ORINDB_FAILED);
    const std::string failed = "db_checkIntegrity: Integrity-Check of /data/db/wrapper.db failed -> ErrorCode=-1";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), failed + '\n');
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR, failed), 2U);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_checkIntegrity: Deleting malformed DB /data/db/wrapper.db"));
    EXPECT_FALSE(fileExists(FILE_PATH));
    EXPECT_EQ(handle.connection, nullptr);
    EXPECT_EQ(db_openDb(&handle, "/data/db", 0, 3, 4), ORINDB_FAILED);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_openDb(): sqlite_open() of file /data/db failed -> unable to open"));
}

}  // namespace
