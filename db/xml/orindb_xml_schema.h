// Which tables an import makes, and what it makes of the others.
#pragma once

#include <string_view>

#include "orin_stringbuffer.h"
#include "orindb_dbtables.h"
#include "orindb_xml_rows.h"

// An import at work.
struct OrindbXmlSchema {
    DbContext* dbContext;
    int dbType;
    const OrindbKnownTable* onlyTable;  // the one table of an import of a single table, or nullptr
    bool hasFoundTable;                 // that table was in the file
    OrindbArray madeTables;             // const OrindbTable*: the known tables made so far
    OrindbRowWriter writer;
    orinStringBuffer objectTable;  // of the index, view or trigger at hand
    orinStringBuffer objectName;
};

// Begin an import of a whole database, which drops everything and writes the version row, or of one known table
// (ORINDB_NOT_FOUND for any other).
// REQUIRES: an open transaction. All functions return 0 or a code.
[[nodiscard]] int orindb_xmlBeginWhole(OrindbXmlSchema& schema, DbContext* dbContext, int dbType);
[[nodiscard]] int orindb_xmlBeginSingle(OrindbXmlSchema& schema, DbContext* dbContext, int dbType, const char* table);

// Makes a table, known or by the text it was exported with, and readies the writer for its rows. *isWanted is false for
// a table whose rows are passed over: those of the version table, and of an unknown one whose name is taken (logged).
[[nodiscard]] int orindb_xmlBeginTable(OrindbXmlSchema& schema, std::string_view name, const char* sql, bool* isWanted);

// Makes the index, view or trigger of objectName, unless it is there already, has the name of a known table, or belongs
// to a known table that cannot bear it any more (logged).
[[nodiscard]] int orindb_xmlCreateObject(OrindbXmlSchema& schema, const char* sql);

// Makes the known tables that the file did not hold, with their default rows, and the views.
[[nodiscard]] int orindb_xmlEndWhole(OrindbXmlSchema& schema);

// Releases what the record holds.
void orindb_xmlFreeSchema(OrindbXmlSchema& schema);
