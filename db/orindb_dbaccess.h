// Opening and closing the database set: three SQLite files that every configuration process of the PBX shares.
//
// Opening finds the data directory, lets one process start at a time (an exclusive lock on a file, held until the set
// is ready), takes over an older file where there is no current one, opens the three files, attaches the shared change
// counters and the message queue, creates whatever file is new and converts one of another version (orindb_conversion).
// The first step that fails ends the opening; everything is then closed again.
#pragma once

#include "orindb_access.h"

// Flags of orindb_openAllDbsWithDefaultNames.
constexpr int ORINDB_NOTIFY_CHANGES = 1 << 0;   // commits announce changes on the message queue
constexpr int ORINDB_INTEGRITY_CHECK = 1 << 1;  // check the files first; a damaged one is removed and the opening fails
constexpr int ORINDB_READONLY = 1 << 2;  // no lock, and no file is filled: one that is missing and has no older one to
                                         // be taken over becomes empty

// Fills *dbContext (zeroed first) and opens the set. The first opening of a process, if SQLite has not been used
// before, has SQLite take no lock in every call and keep no memory statistics: a connection then belongs to one thread
// at a time.
//   dataDirectory  nullptr or "" for "/data/db", or else "$HOME/rootfs-kv7200/data/db"
// Returns 0, ORINDB_INVALID_PARAMETER for no context, ORINDB_NO_DATA_DIRECTORY, or the code of the step that failed
// (logged at level 1). A file of another version is converted (orindb_conversion). A lock that cannot be taken is
// logged and done without; so are shared memory and queue that cannot be had.
[[nodiscard]] int orindb_openAllDbsWithDefaultNames(DbContext* dbContext, const char* dataDirectory, int flags);

// Closes the files and detaches the shared area.
void orindb_closeAllDbs(DbContext* dbContext);

// Brings one open database in order, in one transaction: a new file gets its tables and default rows, a file of another
// version is converted. Returns 0 or a code.
[[nodiscard]] int checkDB(DbContext* dbContext, int dbType);
