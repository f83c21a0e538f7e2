// All tables of the database set, in the order of their creation.
#pragma once

#include "orindb_table.h"

// Drops everything in one database and creates every table of it, with default rows on request, and the version row.
// One transaction. Returns 0 or a code.
[[nodiscard]] int orindb_createDbTables(DbContext* dbContext, int dbType, OrindbDefaults defaults);
