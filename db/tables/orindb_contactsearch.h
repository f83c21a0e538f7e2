// Finding contacts by what their details say.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. Arrays are the caller's, to be
// released with free(); an empty one is nullptr. A search text may hold any characters; what does not fit into 255
// bytes, quotes counted twice, is cut.
#pragma once

#include <cstdint>

#include "orindb_contactdetail.h"

// Read all details of a key, or all with exactly this value, or the family names that are exactly this value.
[[nodiscard]] int orindb_getContactDetailArrayByKey(DbContext* dbContext, int32_t key, ContactDetail** details,
                                                    uint32_t* count);
[[nodiscard]] int orindb_getContactDetailArrayByValue(DbContext* dbContext, const char* value, ContactDetail** details,
                                                      uint32_t* count);
[[nodiscard]] int orindb_getContactDetailArrayByFamilyName(DbContext* dbContext, const char* value,
                                                           ContactDetail** details, uint32_t* count);

// The phones' name search: family names (details of key 2) of contacts in a user group, the CSV group or no group,
// sorted by byte. What is looked for depends on the text's first character:
// - "0": names that begin with a digit
// - "@": names that begin with no letter, digit or German umlaut, and "" for each contact without a family name
// - "A", "O" or "U": names that begin with the text, or hold the matching capital umlaut anywhere
// - any other: names that begin with the text
// "%" and "_" in the text are the wildcards of LIKE, and capital and small letters from A to Z are the same.
// ORINDB_INVALID_PARAMETER for no text.
[[nodiscard]] int orindb_searchContactsByName(DbContext* dbContext, const char* searchText, ContactDetail** details,
                                              uint32_t* count);
