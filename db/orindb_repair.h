// The repair of the configuration that follows a successful integrity check.
#pragma once

#include "orindb_access.h"

// Runs the repair steps of the table modules, in one transaction; the first one that fails ends it. Returns 0 or its
// code.
[[nodiscard]] int orindb_repairConfiguration(DbContext* dbContext);
