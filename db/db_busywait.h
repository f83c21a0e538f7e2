// The one way to wait for another process that holds a database file.
#pragma once

#include <sqlite3.h>

#include <cstdint>

#include "orin_tools.h"

// Another process is in the file, or another statement of this one.
constexpr bool db_isBusy(int sqliteCode) {
    return sqliteCode == SQLITE_BUSY || sqliteCode == SQLITE_LOCKED;
}

inline void db_waitBusy() {
    constexpr uint32_t STEP_NANOSECONDS = 100000000;
    orin_sleep(0, STEP_NANOSECONDS);
}
