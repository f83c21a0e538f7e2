// Table CallThrough: contacts that a caller may be put through from. Of its settings only what the phone book shows is
// known here.
#pragma once

#include "orindb_table.h"

struct CallThrough {
    uint16_t contactId;    // the contact it belongs to
    uint8_t useSperrwerk;  // 1: the barring rules apply
};
extern const OrindbTable ORINDB_CALL_THROUGH_TABLE;

// Return 0 or a code. Removing what is not there is no failure.
[[nodiscard]] int orindb_createCallThroughTable(DbContext* dbContext);
[[nodiscard]] int orindb_removeCallThrough(DbContext* dbContext, uint16_t contactId);
[[nodiscard]] int orindb_removeAllCallThrough(DbContext* dbContext);
