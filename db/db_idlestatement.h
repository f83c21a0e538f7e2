// Prepared statements that outlive their cursor, for db_cursor_queryKept. A save runs the same text again and again,
// and preparing it costs more than running it. When the schema changes, SQLite prepares a statement anew as it runs.
#pragma once

#include "db_sqlitewrapper.h"

// A statement of this very text, now the caller's; nullptr when none is kept.
[[nodiscard]] sqlite3_stmt* db_takeIdleStatement(DbHandle* handle, const char* sql);

// Keeps a statement of the handle's connection, which must have been reset without a failure; the oldest one kept is
// given up for it.
void db_keepIdleStatement(DbHandle* handle, sqlite3_stmt* statement);

// Gives up all: a connection with statements cannot be closed.
void db_dropIdleStatements(DbHandle* handle);
