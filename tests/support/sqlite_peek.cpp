#include "sqlite_peek.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace {

constexpr int BUSY_MILLISECONDS = 10000;

}  // namespace

SqliteRows sqlitePeek(const std::string& path, const std::string& query) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << path;
    sqlite3_busy_timeout(database, BUSY_MILLISECONDS);
    char** values = nullptr;  // the names of the columns, then row by row
    int rowCount = 0;
    int columnCount = 0;
    const int result = sqlite3_get_table(database, query.c_str(), &values, &rowCount, &columnCount, nullptr);
    EXPECT_EQ(result, SQLITE_OK) << path << ": " << query << ": " << sqlite3_errmsg(database);
    SqliteRows rows(static_cast<size_t>(rowCount));
    char** next = values + columnCount;
    for (auto& row : rows) {
        for (int column = 0; column < columnCount; ++column, ++next) {
            row.emplace_back(*next != nullptr ? *next : "NULL");
        }
    }
    sqlite3_free_table(values);
    sqlite3_close(database);
    return rows;
}

std::string sqliteValue(const std::string& path, const std::string& query) {
    const SqliteRows rows = sqlitePeek(path, query);
    EXPECT_EQ(rows.size(), 1U) << query;
    return rows.empty() ? "" : rows[0][0];
}
