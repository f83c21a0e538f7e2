// Table Teilnehmer: the PBX's subscribers. Only what the phone book asks of them is known here.
#pragma once

#include "orindb_table.h"

struct Teilnehmer {
    uint16_t teilnehmerId;
    uint32_t contactGrpBitfield;  // the contact groups that the subscriber may see
};
extern const OrindbTable ORINDB_TEILNEHMER_TABLE;

// Return 0 or a code; a subscriber that does not exist is ORINDB_NOT_FOUND.
[[nodiscard]] int orindb_createTeilnehmerTable(DbContext* dbContext);
[[nodiscard]] int orindb_getTeilnehmer(DbContext* dbContext, uint16_t teilnehmerId, Teilnehmer* teilnehmer);
