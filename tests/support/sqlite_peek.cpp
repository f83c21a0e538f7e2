#include "sqlite_peek.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>

namespace {

constexpr int BUSY_MILLISECONDS = 10000;

struct CloseDatabase {
    void operator()(sqlite3* database) const {
        sqlite3_close(database);
    }
};
struct FinishStatement {
    void operator()(sqlite3_stmt* statement) const {
        sqlite3_finalize(statement);
    }
};

std::string columnText(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
        return "NULL";
    }
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
    return {bytes != nullptr ? bytes : "", static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

}  // namespace

SqliteRows sqlitePeek(const std::string& path, const std::string& query) {
    sqlite3* openedDatabase = nullptr;
    int result = sqlite3_open_v2(path.c_str(), &openedDatabase, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, CloseDatabase> database(openedDatabase);
    sqlite3_busy_timeout(database.get(), BUSY_MILLISECONDS);

    sqlite3_stmt* prepared = nullptr;
    if (result == SQLITE_OK) {
        result = sqlite3_prepare_v2(database.get(), query.c_str(), -1, &prepared, nullptr);
    }
    const std::unique_ptr<sqlite3_stmt, FinishStatement> statement(prepared);
    SqliteRows rows;
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = sqlite3_step(statement.get());
        if (result == SQLITE_ROW) {
            auto& row = rows.emplace_back();
            for (int column = 0; column < sqlite3_column_count(statement.get()); ++column) {
                row.push_back(columnText(statement.get(), column));
            }
        }
    }
    EXPECT_EQ(result, SQLITE_DONE) << path << ": " << query << ": " << sqlite3_errmsg(database.get());
    return result == SQLITE_DONE ? rows : SqliteRows{};
}

std::string sqliteValue(const std::string& path, const std::string& query) {
    const SqliteRows rows = sqlitePeek(path, query);
    if (rows.size() != 1 || rows[0].size() != 1) {
        ADD_FAILURE() << query << " has " << rows.size() << " rows";
        return {};
    }
    return rows[0][0];
}
