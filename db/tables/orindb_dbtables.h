// All tables of the database set, in the order of their creation.
#pragma once

#include <span>
#include <string_view>

#include "orindb_table.h"

// Whether this program knows all of a table. Of some it only reads what it needs, and other programs of the PBX may
// have given them further columns, which a conversion must keep.
enum class OrindbTableShare : uint8_t { whole, part };

// A table that this program knows, and the function that creates it.
struct OrindbKnownTable {
    const OrindbTable* table;
    int (*create)(DbContext* dbContext, OrindbDefaults defaults);
    OrindbTableShare share = OrindbTableShare::whole;
};

// All of them, of all databases.
[[nodiscard]] std::span<const OrindbKnownTable> orindb_knownTables();

// The known table of that name (whatever the case of its letters) in a database, or nullptr.
[[nodiscard]] const OrindbKnownTable* orindb_findKnownTable(int dbType, std::string_view name);

// Drops everything in one database and creates every table of it, with default rows on request, the views and the
// version row. One transaction. Returns 0 or a code.
[[nodiscard]] int orindb_createDbTables(DbContext* dbContext, int dbType, OrindbDefaults defaults);
