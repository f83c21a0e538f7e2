#include "db_idlestatement.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <utility>

sqlite3_stmt* db_takeIdleStatement(DbHandle* handle, const char* sql) {
    for (sqlite3_stmt*& kept : handle->idleStatements) {
        if (kept != nullptr && strcmp(sqlite3_sql(kept), sql) == 0) {
            return std::exchange(kept, nullptr);
        }
    }
    return nullptr;
}

void db_keepIdleStatement(DbHandle* handle, sqlite3_stmt* statement) {
    auto& kept = handle->idleStatements;
    // The texts that were bound are their owner's, who may free them now.
    sqlite3_clear_bindings(statement);
    // Into the first gap, or in place of the oldest.
    auto* const place = std::find(kept.begin(), kept.end() - 1, nullptr);
    sqlite3_finalize(*place);
    std::move_backward(kept.begin(), place, place + 1);
    kept.front() = statement;
}

void db_dropIdleStatements(DbHandle* handle) {
    for (sqlite3_stmt*& kept : handle->idleStatements) {
        sqlite3_finalize(std::exchange(kept, nullptr));
    }
}
