// Table Autor: one row of settings of the PBX's administrator.
#pragma once

#include "orindb_table.h"

struct Autor {
    uint16_t autorId;
    uint8_t adminNVVN;  // 0: names are shown "family name, given name"; otherwise "given name family name"
};
extern const OrindbTable ORINDB_AUTOR_TABLE;

// Return 0 or a code; without a row ORINDB_NOT_FOUND.
[[nodiscard]] int orindb_createAutorTable(DbContext* dbContext, OrindbDefaults defaults);
[[nodiscard]] int orindb_getAutor(DbContext* dbContext, Autor* autor);
