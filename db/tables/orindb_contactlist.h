// The phone book as a whole: reading parts of it, moving groups and bulk removal.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. Arrays are the caller's, to be
// released with free(); an empty one is nullptr.
#pragma once

#include <cstdint>

#include "orindb_contact.h"

// Reads a page of all contacts by id: `limit` of them from `offset` on; limit 0 reads all.
[[nodiscard]] int orindb_getContactArrayPaged(DbContext* dbContext, Contact** contacts, uint32_t* count,
                                              uint16_t offset, uint16_t limit);

// Reads the phone-book contacts whose id has this low byte. A value above 255 matches none.
[[nodiscard]] int orindb_getContactArrayByIdPattern(DbContext* dbContext, uint16_t value, Contact** contacts,
                                                    uint32_t* count);

// Reads the phone-book contacts sorted by one of their details; those without it come first.
//   key            of the detail
//   includeMask    only contacts in one of these groups; 0: all
//   excludeMask    no contact in one of these groups; 0: all
//   furtherClause  goes into the statement as it is, behind the conditions ("AND ..."); may be ""
[[nodiscard]] int orindb_getContactArraySorted(DbContext* dbContext, Contact** contacts, uint32_t* count, int32_t key,
                                               uint32_t includeMask, uint32_t excludeMask, const char* furtherClause);

// The members of one group join another one and leave theirs. One transaction.
[[nodiscard]] int moveCtGrpIdInContacts(DbContext* dbContext, uint32_t fromBit, uint32_t toBit);

// Removes every contact that is in no system group, with its details, all speed-dial assignments and all CallThrough
// rows in one transaction, and then sends message 1103. Always returns 0: a failure is only logged.
int orindb_removeCtall(DbContext* dbContext);

// Removes the contacts that are in the CSV group and no other, with their details. One transaction.
[[nodiscard]] int orindb_removeCSVContacts(DbContext* dbContext);
