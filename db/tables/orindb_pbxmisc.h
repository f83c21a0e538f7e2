// Table PbxMisc in "pbx4.db": settings of the PBX as pairs of key and value.
#pragma once

#include "orindb_table.h"

struct PbxMisc {
    char key[64];
    char value[256];
};
extern const OrindbTable ORINDB_PBX_MISC_TABLE;

// Country number of the PBX, decimal text.
constexpr char PBX_MISC_COUNTRY[] = "TkLand";

[[nodiscard]] int orindb_createPbxMiscTable(DbContext* dbContext, OrindbDefaults defaults);

// Copies the value of a key (plain letters and digits) to `value`, cut to `size` bytes. Returns 0, ORINDB_NOT_FOUND
// with `value` untouched, or a code.
[[nodiscard]] int orindb_getPbxMisc(DbContext* dbContext, const char* key, char* value, int32_t size);
