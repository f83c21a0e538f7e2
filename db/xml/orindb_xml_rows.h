// Writes the rows of an import: one prepared statement serves all rows with the same columns.
#pragma once

#include "orin_stringbuffer.h"
#include "orindb_dbtables.h"
#include "orindb_importrow.h"

// The table that rows are written to at the moment.
struct OrindbRowWriter {
    DbContext* dbContext;
    int dbType;
    const OrindbKnownTable* known;  // nullptr for a table that this program does not know
    orinStringBuffer table;         // its name as it stands in SQL
    orinStringBuffer existing;  // of a table that is known in part: the names of its columns, each before a line end
    orinStringBuffer columns;   // of the prepared statement, as they stand in its text
    Cursor statement;
    bool hasWritten;
    bool hasLeftOut;  // a column, which is logged once
};

// Starts with a table, which is there; `known` is its description or nullptr. Returns 0 or ORINDB_FAILED.
[[nodiscard]] int orindb_beginRows(OrindbRowWriter& writer, const OrindbKnownTable* known, std::string_view table);

// Writes a row, by the rule of a known table and without the columns that it does not have (logged). Returns 0 or a
// code.
[[nodiscard]] int orindb_writeRow(OrindbRowWriter& writer, OrindbImportRow& row);

// Ends with the table and counts its change.
void orindb_endRows(OrindbRowWriter& writer);

// Releases what the writer holds.
void orindb_freeRowWriter(OrindbRowWriter& writer);

// Appends an identifier between double quotes. Returns 0, or -1 when memory is out.
[[nodiscard]] int orindb_appendQuoted(orinStringBuffer* sql, std::string_view name);
