// The cursor over one statement.
#include "db_sqlitecursor.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "set_world.h"

namespace {

constexpr char FILE_PATH[] = "/data/db/cursor.db";

class CursorTest : public NewMachine {
  protected:
    CursorTest() {
        sqliteChange(FILE_PATH, "CREATE TABLE t(a INTEGER, b TEXT); INSERT INTO t VALUES(1,'one'),(2,NULL),(3,'drei')");
        EXPECT_EQ(db_openDb(&handle, FILE_PATH, 0, 1, 0), ORINDB_OK);
    }
    ~CursorTest() override {
        cursor.reset();
        db_closeDb(&handle);
    }
    int query(const char* sql) {
        DbCursor* opened = nullptr;
        const int result = db_cursor_query(&handle, 0, sql, &opened);
        cursor.reset(opened);
        return result;
    }
    int next() {
        return db_cursor_next(cursor.get());
    }

    DbHandle handle;
    Cursor cursor;
};

TEST_F(CursorTest, ColumnsAreReadByNumberAndByName) {
    ASSERT_EQ(query("SELECT a, b AS Text, 4294967297, a FROM t"), 0);
    const char* none = "none";
    DbCursor* c = cursor.get();
    EXPECT_EQ(db_cursor_column_count(c), 4);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(db_cursor_get_int(c, 0), 1);
    EXPECT_STREQ(db_cursor_get_text(c, 1, none), "one");
    EXPECT_EQ(db_cursor_get_int(c, 2), 1) << "the low 32 bits";
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(db_cursor_get_column_index(c, "Text"), 1);
    EXPECT_EQ(db_cursor_get_column_index(c, "text"), -1);
    EXPECT_EQ(db_cursor_get_column_index(c, "a"), 0) << "the first of two";
    EXPECT_EQ(db_cursor_get_text(c, 1, none), none) << "NULL";
    EXPECT_EQ(db_cursor_get_int(c, 1), 0);
    for (const int column : {-1, 4, 1000}) {
        EXPECT_EQ(db_cursor_get_text(c, column, none), none);
        EXPECT_EQ(db_cursor_get_int(c, column), 0);
    }
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(), 0);
    EXPECT_STREQ(db_cursor_sql(c), "SELECT a, b AS Text, 4294967297, a FROM t");
}

TEST_F(CursorTest, AStatementRunsAgainWithNewValues) {
    ASSERT_EQ(query("INSERT INTO t VALUES(?1,?2)"), 0);
    DbCursor* c = cursor.get();
    EXPECT_EQ(db_cursor_bind_int64(c, 1, 4294967296), 0);
    EXPECT_EQ(db_cursor_bind_text(c, 2, "vier"), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(db_cursor_reset(c), 0);
    EXPECT_EQ(db_cursor_bind_int(c, 1, -5), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(db_cursor_reset(c), 0);
    EXPECT_EQ(db_cursor_clear_bindings(c), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(sqlitePeek(FILE_PATH, "SELECT * FROM t WHERE rowid > 3"),
              (SqliteRows{{"4294967296", "vier"}, {"-5", "vier"}, {"NULL", "NULL"}}));
    EXPECT_EQ(db_cursor_bind_int(c, 0, 1), -1);
    EXPECT_EQ(db_cursor_bind_int64(c, 3, 1), -1);
    EXPECT_EQ(db_cursor_bind_text(c, 1, nullptr), -1);
    EXPECT_EQ(db_cursor_get_column_index(c, "a"), -1) << "a write has no columns";
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "Error getting column count: ")) << log;
}

TEST_F(CursorTest, ErrorsAreLoggedWithTheStatement) {
    EXPECT_EQ(query("SELECT x FROM t"), -1);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_cursor_query: Error preparing SQL SELECT x FROM t: 1: no such column: x"));
    sqliteChange(FILE_PATH, "CREATE UNIQUE INDEX i ON t(a)");
    ASSERT_EQ(query("INSERT INTO t VALUES(1,1)"), 0);
    EXPECT_EQ(next(), -1);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_cursor_next: Error stepping SQL INSERT INTO t VALUES(1,1): 19: UNIQUE"));
    EXPECT_EQ(db_cursor_close(cursor.release()), SQLITE_CONSTRAINT);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "db_cursor_close: failed => 19: UNIQUE constraint failed: t.a SQL=INSERT"));
}

TEST_F(CursorTest, AFileThatAnotherProcessHoldsIsWaitedFor) {
    {
        const HeldFile held(FILE_PATH);
        ASSERT_EQ(query("UPDATE t SET a=7"), 0);
    }
    {
        const HeldFile held(FILE_PATH);
        EXPECT_EQ(next(), 0);
    }
    EXPECT_EQ(sqliteValue(FILE_PATH, "SELECT SUM(a) FROM t"), "21");
    EXPECT_TRUE(
        hasLine(ORINLOG_INFO, "db_cursor_query: DB-File (/data/db/cursor.db) is busy or locked sql=UPDATE t SET a=7"));
    EXPECT_TRUE(hasLine(ORINLOG_INFO, "db_cursor_next: busy or locked sql=UPDATE t SET a=7"));
    EXPECT_EQ(errors(), 0U);
}

TEST_F(CursorTest, WithoutACursorNothingHappens) {
    EXPECT_EQ(query(nullptr), -1);
    EXPECT_EQ(db_cursor_query(&handle, 0, "SELECT 1", nullptr), -1);
    for (const auto function :
         {db_cursor_next, db_cursor_reset, db_cursor_clear_bindings, db_cursor_close, db_cursor_column_count}) {
        EXPECT_EQ(function(nullptr), -1);
    }
    EXPECT_EQ(db_cursor_bind_text(nullptr, 1, "") + db_cursor_get_column_index(nullptr, "a"), -2);
}

}  // namespace
