// Result codes of the configuration-database library. 0 is success everywhere; every code but the first two is shown to
// other programs and in the status files, so the numbers are fixed.
#pragma once

constexpr int ORINDB_OK = 0;
constexpr int ORINDB_FAILED = -1;                 // a SQLite call failed; the error is in the log
constexpr int ORINDB_NOT_FOUND = 8001;            // no row matched
constexpr int ORINDB_INVALID_PARAMETER = 8007;    // a missing or impossible argument
constexpr int ORINDB_NO_DATA_DIRECTORY = 8019;    // no data directory, or a path without "data/db"
constexpr int ORINDB_WRITE_FAILED = 8023;         // writing a row failed
constexpr int ORINDB_STOPPED_BY_CALLBACK = 8082;  // a row callback ended a query
