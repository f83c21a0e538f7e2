// The version row that every database file carries (table DbFileVersion), by which a program knows whether it can work
// with the file.
#pragma once

#include <cstdint>

#include "orindb_access.h"

// The model of the device, written beside the version.
constexpr char ORINDB_DEVICE_MODEL[] = "KV7200";

// Whether a file's version and minor version are those of this program: 1, or 0 when they differ or cannot be read,
// which is logged and printed to the standard output.
[[nodiscard]] uint8_t orindb_isDbFileAndClientVersionEqual(DbContext* dbContext, int dbType);

// Writes the version row; a table that cannot take it is dropped and created anew. Returns 0 or a code.
[[nodiscard]] int orindb_setClientVersionInDbFile(DbContext* dbContext, int dbType, uint16_t version,
                                                  uint16_t minorVersion);
