// Looks into a database file from outside, read-only.
#pragma once

#include <string>
#include <vector>

using SqliteRows = std::vector<std::vector<std::string>>;

// The rows of a query; NULL reads "NULL". A query that fails is a test failure and gives no rows.
SqliteRows sqlitePeek(const std::string& path, const std::string& query);

// The one value of a query with one row and column, as text.
std::string sqliteValue(const std::string& path, const std::string& query);
