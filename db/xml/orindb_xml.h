// A whole database as an XML file and back. A database file of another version is converted by way of it: exported, and
// imported into the tables of this version.
//
//   <orindb database="0" version="1987" minorVersion="6">
//     <Contact_table schema="CREATE TABLE Contact ...">
//       <Contact>
//         <contactId type="integer">4711</contactId>
//         <contactGrpBitfield type="integer">2</contactGrpBitfield>
//       </Contact>
//     </Contact_table>
//     <schema_index table="Contact">CREATE INDEX ...</schema_index>
//   </orindb>
//
// The version is that of the program that exports; between a row's values stands no white space. A value without a type
// is a text; the types are "integer", "real" (hexadecimal, so that no bit is lost), "null" and "blob". A text or schema
// that XML cannot hold, and every blob, is Base64 (encoding="base64"). A character of a table's or column's name that
// cannot stand in an element's name is written as its bytes, "_x20_" for a blank.
//
// Both directions work row by row; memory grows with the largest row, not with the file. All functions return 0,
// ORINDB_INVALID_PARAMETER, or another code of a failure; what went wrong is in the log (ORINLOG_CAT_DB, level 1), for
// a file with its line.
#pragma once

#include "orindb_access.h"

// Writes every table of one database, known to this program or not, with its schema and rows, and its further indexes,
// views and triggers. The file is complete and on the disk after success, and removed after a failure.
[[nodiscard]] int orindb_xmlExportDb(DbContext* dbContext, int dbType, const char* path);

// Replaces the whole content of one database by that of a file, in one transaction: tables that this program knows get
// its schema (columns are matched by name; new ones get the schema's default, dropped ones are left out and logged),
// those that it knows only a part of keep the file's and get the columns that are missing, those that it knows and the
// file does not hold get their default rows, unknown ones are made as they were exported. The version row is this
// program's. After a failure the database is as it was.
[[nodiscard]] int orindb_xmlImportDb(DbContext* dbContext, int dbType, const char* path);

// Writes the rows that a file holds of one known table over those that are there, in one transaction, by the same
// rules. ORINDB_NOT_FOUND when this program does not know the table or the file does not hold it.
[[nodiscard]] int orindb_xmlImportTable(DbContext* dbContext, int dbType, const char* path, const char* table);
