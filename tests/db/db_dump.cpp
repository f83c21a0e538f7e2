#include "db_dump.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

struct Release {
    void operator()(sqlite3* connection) const {
        sqlite3_close(connection);
    }
    void operator()(sqlite3_stmt* statement) const {
        sqlite3_finalize(statement);
    }
};

std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (const char c : name) {
        text += c == '"' ? "\"\"" : std::string(1, c);
    }
    return text + '"';
}

void appendValue(std::string& text, sqlite3_stmt* row, int column) {
    const int type = sqlite3_column_type(row, column);
    char number[40] = "";
    if (type == SQLITE_INTEGER) {
        snprintf(number, sizeof(number), "%lld", static_cast<long long>(sqlite3_column_int64(row, column)));
    } else if (type == SQLITE_FLOAT) {
        snprintf(number, sizeof(number), "%a", sqlite3_column_double(row, column));
    }
    text += std::string{"?irtbn"[type]} + number;
    if (type == SQLITE_TEXT || type == SQLITE_BLOB) {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
        const auto length = static_cast<size_t>(sqlite3_column_bytes(row, column));
        text += std::to_string(length) + ':' + std::string(bytes != nullptr ? bytes : "", length);
    }
    text += '|';
}

// The rows of a query, one a line.
std::string rows(sqlite3* connection, const std::string& query) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(connection, query.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
        return query + ": " + sqlite3_errmsg(connection) + '\n';
    }
    const std::unique_ptr<sqlite3_stmt, Release> row(prepared);
    std::string text;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(row.get())) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(row.get()); ++column) {
            appendValue(text, row.get(), column);
        }
        text += '\n';
    }
    return code == SQLITE_DONE ? text : text + sqlite3_errmsg(connection) + '\n';
}

}  // namespace

std::string dumpDatabase(sqlite3* connection) {
    std::string text = rows(connection,
                            "SELECT type, name, tbl_name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_stat%' "
                            "ORDER BY type, name");
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(connection,
                       "SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_stat%' ORDER BY 1",
                       -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, Release> table(prepared);
    while (sqlite3_step(table.get()) == SQLITE_ROW) {
        const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(table.get(), 0));
        text += name + ":\n" + rows(connection, "SELECT * FROM " + quoted(name) + " NOT INDEXED");
    }
    return text;
}

std::string dumpFile(const std::string& path) {
    sqlite3* opened = nullptr;
    sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    const std::unique_ptr<sqlite3, Release> connection(opened);
    return dumpDatabase(connection.get());
}

std::string difference(const std::string& a, const std::string& b) {
    if (a == b) {
        return {};
    }
    const auto at = static_cast<size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
    const size_t from = at > 200 ? at - 200 : 0;
    return "at " + std::to_string(at) + ":\n" + a.substr(from, 400) + "\n--- is now ---\n" + b.substr(from, 400);
}
