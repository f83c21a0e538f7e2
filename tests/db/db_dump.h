// All that a database file holds, as one text: the schema and every value with its type, to the last bit.
#pragma once

#include <sqlite3.h>

#include <string>

// What SQLite keeps for itself (statistics, page numbers) is left out.
std::string dumpDatabase(sqlite3* connection);

// Opens the file for writing, as the next program would: what a killed one left half done is rolled back.
std::string dumpFile(const std::string& path);

// The surroundings of the first difference of two dumps; empty when there is none.
std::string difference(const std::string& a, const std::string& b);
