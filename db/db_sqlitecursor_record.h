// The inside of a cursor, for the two modules that work on it.
#pragma once

#include <search.h>

#include "db_sqlitewrapper.h"

struct DbCursor {
    DbHandle* keeper;     // gets the statement when the cursor closes; nullptr for none
    sqlite3* connection;  // the handle's at the time of the query
    sqlite3_stmt* statement;
    int columnCount;           // 0 until the first look-up by name
    hsearch_data columnIndex;  // built at the first look-up by name; the names belong to the statement
};
