// The phone book as a list shows it: one row per contact with its numbers and its name.
#pragma once

#include <cstdint>

#include "orindb_table.h"

struct ContactPartial {
    uint16_t contactId;
    uint16_t contactGrpBitfield;  // the low 16 bits of the groups
    char shortNr[5];              // speed-dial number
    char phoneNr1[41];
    char phoneNr2[41];
    char phoneNr3[41];
    char phoneNr4[41];
    char displayname[129];
    uint8_t callThrought;       // 1: the contact may be put through
    uint8_t callThroughtSperr;  // 1: with the barring rules
};

// Reads list rows, by default ordered by phoneNr1. The formatted text (at most 511 characters) is a WHERE and/or ORDER
// BY clause; the contact's table is "c" (a WHERE needs c.contactId), the other columns have the names of the fields.
// Returns 0 or a code. The array is the caller's, released with free(); nullptr when empty. The count ends at 65535.
[[nodiscard]] int orindb_getContactPartialsArray(DbContext* dbContext, ContactPartial** partials, uint16_t* count,
                                                 const char* whereFormat, ...) __attribute__((format(printf, 4, 5)));
