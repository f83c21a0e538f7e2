// What other programs read instead of the phone book's own tables: view Telefonbuch1View (the speed-dial phone book)
// and the tables ContactNames and ContactPhones, which are filled anew on demand.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log.
#pragma once

#include <cstdint>

#include "orindb_table.h"

// A row of ContactNames.
struct ContactNames {
    uint16_t contactId;
    char givenName[281];
    char familyName[281];
    char sortName[281];  // display name, else family name, else given name, else organisation
};
extern const OrindbTable ORINDB_CONTACT_NAMES_TABLE;

// A row of ContactPhones: one number of a contact.
struct ContactPhones {
    uint16_t contactId;
    uint8_t phoneIndex;  // 0 to 3; 0 for an internal number
    char number[281];
    char type[5];     // the type's first character, "0" for an internal number
    char label[281];  // the type's own words; NULL in the table when there are none
    char canonicalNumber[281];
};
extern const OrindbTable ORINDB_CONTACT_PHONES_TABLE;

[[nodiscard]] int orindb_createContactNamesTable(DbContext* dbContext);
[[nodiscard]] int orindb_createContactPhonesTable(DbContext* dbContext);

// Creates the views of one database. REQUIRES: its tables.
[[nodiscard]] int orindb_createDbViews(DbContext* dbContext, int dbType);

// Whether a view is one of those.
[[nodiscard]] bool orindb_isKnownView(int dbType, std::string_view name);

// Fill the tables anew from the contacts' details, each in one transaction.
[[nodiscard]] int orindb_updateContactNames(DbContext* dbContext);
[[nodiscard]] int orindb_updateContactPhones(DbContext* dbContext);
