// What becomes of older database files: the newest one is taken over when the current file is missing, and a file of
// another version is converted by way of XML, keeping up to ten backups beside it ("konfig9.dbbackup_1" is the latest).
#pragma once

#include "orindb_access.h"

// Copies the newest older file of a database to the current name when there is no current file (or an empty one) in the
// directory. The older file stays. Without an older file nothing happens: SQLite will create the current one. Returns
// 0, or ORINDB_FAILED when the copy failed (logged); there is no current file then, and none may be created, or the
// older one would never be looked at again.
[[nodiscard]] int orindb_takeOverOlderFile(int dbType, const char* directory, const char* currentPath);

// Converts the open database of one type to this program's version. REQUIRES: an open transaction, which the caller
// ends; until then the file is as it was. Returns 0 or the code of the export or import that failed (logged and
// printed).
[[nodiscard]] int orindb_convertDb(DbContext* dbContext, int dbType);
