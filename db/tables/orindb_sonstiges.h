// Table Sonstiges: one row of settings of the PBX's place, among them how numbers are dialled there.
#pragma once

#include "orindb_table.h"

struct Sonstiges {
    uint16_t sonstigesId;
    char landVorwahl[16];     // country code, digits
    char ortVorwahl[16];      // area code, digits, without the national prefix; empty when not set
    char nationalPrefix[16];  // what is dialled in front of an area code
};
extern const OrindbTable ORINDB_SONSTIGES_TABLE;

// Return 0 or a code; without a row ORINDB_NOT_FOUND.
[[nodiscard]] int orindb_createSonstigesTable(DbContext* dbContext, OrindbDefaults defaults);
[[nodiscard]] int orindb_getSonstiges(DbContext* dbContext, Sonstiges* sonstiges);
