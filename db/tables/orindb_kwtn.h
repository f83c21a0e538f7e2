// Table Kw_Tn: which speed-dial contact is assigned to which subscriber.
#pragma once

#include "orindb_table.h"

struct KwTn {
    uint16_t kwTnId;
    uint16_t kwId;  // the contact
    uint16_t teilnehmerId;
};
extern const OrindbTable ORINDB_KW_TN_TABLE;

// Return 0 or a code. Removing what is not there is no failure.
[[nodiscard]] int orindb_createKwTnTable(DbContext* dbContext);
[[nodiscard]] int orindb_removeKwTnOfKwId(DbContext* dbContext, uint16_t kwId);
[[nodiscard]] int orindb_removeKwTnAll(DbContext* dbContext);
