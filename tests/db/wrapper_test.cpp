// One database file: statements that wait, reconnect, fail or are stopped; transactions; cursors.
#include <functional>

#include "set_world.h"

namespace {

constexpr char FILE_PATH[] = "/data/db/wrapper.db";
constexpr char INSERT[] = "INSERT INTO t VALUES(1,2)";
DbHandle* openHandle = nullptr;
std::string called;

class Wrapper : public NewMachine {
  protected:
    Wrapper() {
        sqliteChange(FILE_PATH, "CREATE TABLE t(a, b)");
        EXPECT_EQ(db_openDb(&handle, FILE_PATH, 0, 3, 4), ORINDB_OK);
        openHandle = &handle;
        called.clear();
    }
    ~Wrapper() override {
        cursor.reset();
        db_closeDb(&handle);
    }
    int exec(const char* sql, DbRowCallback callback = nullptr, void* argument = nullptr) {
        return _db_execDb(&handle, sql, callback, argument, 0, "test");
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
    int query(const char* sql) {
        DbCursor* opened = nullptr;
        const int result = db_cursor_query(&handle, 0, sql, &opened);
        cursor.reset(opened);
        return result;
    }
    static std::string stored() {
        return rows("SELECT * FROM t", FILE_PATH);
    }

    DbHandle handle;
    Cursor cursor;
};

TEST_F(Wrapper, AKeptStatementIsTheHandlesAndRunsInEverySchema) {
    const auto keep = [this](const std::string& sql) {
        DbCursor* opened = nullptr;
        EXPECT_EQ(db_cursor_queryKept(&handle, 0, sql.c_str(), &opened), 0);
        return Cursor(opened);
    };
    const char* sql = "INSERT INTO t(a) VALUES(?1)";
    const auto insert = [&](int value) {
        const Cursor kept = keep(sql);
        EXPECT_EQ(db_cursor_bind_int(kept.get(), 1, value), 0);
        return db_cursor_next(kept.get());
    };
    {
        const Cursor one = keep(sql);
        const Cursor other = keep(sql);
        EXPECT_NE(db_cursor_sql(one.get()), db_cursor_sql(other.get())) << "a statement has one cursor";
        EXPECT_EQ(db_cursor_bind_int(one.get(), 1, 5), 0);
    }
    EXPECT_EQ(db_cursor_next(keep(sql).get()), 0) << "what was bound is forgotten";
    for (const char* text : {"SELECT 1", "SELECT 2", "SELECT 3", "SELECT 4", "SELECT 5"}) {
        EXPECT_EQ(db_cursor_next(keep(text).get()), 1);
    }
    EXPECT_EQ(insert(1), 0);
    EXPECT_EQ(exec("ALTER TABLE t ADD COLUMN c DEFAULT 9"), ORINDB_OK);
    EXPECT_EQ(insert(2), 0);
    EXPECT_EQ(exec("ALTER TABLE t RENAME TO gone"), ORINDB_OK);
    EXPECT_EQ(insert(3), -1);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_cursor_next: Error stepping SQL INSERT INTO t(a)")) << log;
    EXPECT_EQ(exec("ALTER TABLE gone RENAME TO t"), ORINDB_OK);
    EXPECT_EQ(insert(4), 0);
    // A connection with statements would stay open, and its lock with it.
    run("B");
    EXPECT_EQ(insert(5), 0);
    const Cursor stillOpen = keep("SELECT a FROM t");
    EXPECT_EQ(reconnectSqlite(&handle), ORINDB_OK);
    EXPECT_EQ(insert(6), 0);
    EXPECT_EQ(stored(), "NULL|NULL|9;1|NULL|9;2|NULL|9;4|NULL|9;6|NULL|9;");
}

TEST_F(Wrapper, AFileThatAnotherProcessHoldsIsWaitedFor) {
    const std::function<int()> actions[] = {[this] { return query("INSERT INTO t VALUES(7,8)"); },
                                            [this] { return db_cursor_next(cursor.get()); },
                                            [this] { return exec(INSERT); }};
    for (const auto& action : actions) {
        log.clear();
        const std::jthread held = holdFile(FILE_PATH);
        EXPECT_EQ(action(), ORINDB_OK);
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "busy or locked"));
        EXPECT_EQ(errors(), 0U) << log;
    }
    EXPECT_EQ(stored(), "7|8;1|2;");
}

TEST_F(Wrapper, AStatementIsRepeatedAsOftenAsItsFailureAllows) {
    constexpr std::tuple<int, int, int, size_t> FAILURES[]{{SQLITE_LOCKED, 2, ORINDB_OK, 0},
                                                           {SQLITE_SCHEMA, 12, ORINDB_OK, 12},
                                                           {SQLITE_CANTOPEN, 10, ORINDB_OK, 10},
                                                           {SQLITE_CANTOPEN, 11, ORINDB_FAILED, 10},
                                                           {SQLITE_FULL, 1, ORINDB_FAILED, 0}};
    run("B");
    for (const auto& [code, times, result, reconnects] : FAILURES) {
        log.clear();
        const Fault failing(Fault::sql, 0, code, times);
        EXPECT_EQ(exec(INSERT), result) << code;
        EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_ERROR, "trying reconnect ..."), reconnects) << log;
        EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_INFO, "/data/db/wrapper.db is open again"), reconnects);
        EXPECT_EQ(errors(), reconnects + (result == ORINDB_OK ? 0 : 1)) << log;
    }
    EXPECT_EQ(stored(), "1|2;1|2;") << "the first is lost with the transaction that a reconnect does not keep";
    EXPECT_EQ(handle.transactionDepth, 1);
    EXPECT_EQ(transaction(DB_COMMIT), ORINDB_FAILED);
    EXPECT_EQ(exec("SELECT a FROM t ORDER BY a COLLATE ORIN_UTF8_COMPARE"), ORINDB_FAILED) << "nor the collation";
}

TEST_F(Wrapper, OnlyWhatTheUpgradeTriesOnAnyFileFailsSilently) {
    for (const char* sql : {"DROP TABLE absent", "SELECT * FROM GebKontoBackup", "SELECT * FROM DbFileVersion"}) {
        EXPECT_EQ(exec(sql), SQLITE_ERROR) << sql;
    }
    EXPECT_EQ(errors(), 0U);
    EXPECT_EQ(exec("SELECT * FROM absent"), ORINDB_FAILED);
    EXPECT_EQ(errors(), 1U) << log;
}

TEST_F(Wrapper, ARowCallbackMayStopAStatementWithoutAnError) {
    EXPECT_EQ(exec("INSERT INTO t VALUES(1,2),(3,NULL),(5,6)"), ORINDB_OK);
    const auto twoRows = [](void* seen, int, char** values, char**) {
        *static_cast<std::string*>(seen) += values[0];
        return static_cast<std::string*>(seen)->size() == 2 ? 1 : 0;
    };
    std::string seen;
    EXPECT_EQ(exec("SELECT a FROM t", twoRows, &seen), ORINDB_STOPPED_BY_CALLBACK);
    EXPECT_EQ(seen, "13");
    EXPECT_EQ(errors(), 0U) << log;
}

void callA() {
    called += 'a';
}
// Writes in a transaction of its own.
void callB() {
    called += 'b';
    EXPECT_EQ(db_transactionDb(openHandle, DB_BEGIN, nullptr), ORINDB_OK);
    EXPECT_EQ(_db_execDb(openHandle, INSERT, nullptr, nullptr, 0, "test"), ORINDB_OK);
    EXPECT_EQ(db_transactionDb(openHandle, DB_COMMIT, nullptr), ORINDB_OK);
}

TEST_F(Wrapper, OnlyTheOutermostTransactionReachesTheFileAndRunsEachCallbackOnce) {
    // The callbacks that run at the end, with the code that ends it.
    const auto endWithCallbacks = [this](int mode) {
        run("BBI");
        for (const DbAfterCommitCallback callback : {callB, callA, callB}) {
            EXPECT_EQ(db_callAfterCommit(&handle, callback), ORINDB_OK);
        }
        run("R");
        EXPECT_EQ(called, "");
        const int result = transaction(mode);
        return std::exchange(called, "") + ' ' + std::to_string(result);
    };
    EXPECT_EQ(endWithCallbacks(DB_COMMIT), "ba 0");
    EXPECT_EQ(stored(), "1|2;1|2;") << "an inner rollback takes nothing back";
    EXPECT_EQ(endWithCallbacks(DB_ROLLBACK), "ba 0") << "a rollback runs them, too";
    EXPECT_EQ(stored(), "1|2;1|2;1|2;") << "what a callback wrote";
    {
        const Fault full(Fault::sql, 2);
        EXPECT_EQ(endWithCallbacks(DB_COMMIT), " -1");
        const Fault stillFull(Fault::sql, 0);
        EXPECT_EQ(transaction(DB_BEGIN), ORINDB_FAILED);
    }
    run("BC");
    EXPECT_EQ(called, "") << "a failed commit discards them";
    EXPECT_EQ(db_callAfterCommit(&handle, callA), ORINDB_OK);
    EXPECT_EQ(called, "a") << "at once outside of a transaction";
    log.clear();
    run("CB");
    EXPECT_EQ(handle.transactionDepth, 0) << "a commit without a begin wraps the depth";
    EXPECT_FALSE(hasLine(ORINLOG_EDEBUG, "db_exec()")) << log;
}

TEST_F(Wrapper, ACursorBindsStepsAndReadsByNumberAndByName) {
    ASSERT_EQ(query("INSERT INTO t VALUES(?1,?2)"), 0);
    DbCursor* c = cursor.get();
    EXPECT_THAT(Codes({db_cursor_bind_int64(c, 1, 4294967301), db_cursor_bind_text(c, 2, "five"), db_cursor_next(c),
                       db_cursor_reset(c), db_cursor_bind_int(c, 1, -5), db_cursor_next(c), db_cursor_reset(c),
                       db_cursor_clear_bindings(c), db_cursor_next(c)}),
                testing::Each(0));
    EXPECT_EQ(stored(), "4294967301|five;-5|five;NULL|NULL;");
    const Codes refused{db_cursor_bind_int(c, 0, 1), db_cursor_bind_int64(c, 3, 1), db_cursor_bind_text(c, 1, nullptr)};
    EXPECT_THAT(refused, testing::Each(-1));

    ASSERT_EQ(query("SELECT a, b AS Text FROM t WHERE a>0 OR a IS NULL"), 0);
    c = cursor.get();
    const char* none = "none";
    EXPECT_EQ(db_cursor_next(c), 1);
    EXPECT_EQ(db_cursor_get_int(c, 0), 5) << "the low 32 bits";
    EXPECT_STREQ(db_cursor_get_text(c, 1, none), "five");
    EXPECT_EQ(db_cursor_get_column_index(c, "Text"), 1);
    EXPECT_EQ(db_cursor_get_column_index(c, "text"), -1);
    EXPECT_EQ(db_cursor_next(c), 1);
    for (const int column : {1, -1, 2}) {
        EXPECT_EQ(db_cursor_get_text(c, column, none), none);
        EXPECT_EQ(db_cursor_get_int(c, column), 0);
    }
    EXPECT_EQ(db_cursor_next(c), 0);
    EXPECT_EQ(query("-- no statement"), -1);
    EXPECT_EQ(query("SELECT x FROM t"), -1);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_cursor_query: Error preparing SQL SELECT x FROM t: 1: no such column: x"));
}

}  // namespace
