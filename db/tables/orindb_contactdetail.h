// The details of the phone book's contacts: table ContactDetail, at most one text per contact and detail key. Every
// other view of a contact is built from these texts by the key numbers below.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. Arrays are the caller's, to be
// released with free(); an empty one is nullptr.
#pragma once

#include <cstdint>

#include "orin_hashtable3.h"
#include "orindb_table.h"

constexpr size_t ORINDB_DETAIL_VALUE_SIZE = 281;

// A row of ContactDetail.
struct ContactDetail {
    uint16_t contactId;
    int32_t key;                           // one of the numbers below
    char value[ORINDB_DETAIL_VALUE_SIZE];  // UTF-8, at most 280 bytes; an empty text means "no such detail"
};
extern const OrindbTable ORINDB_CONTACT_DETAIL_TABLE;

// Detail keys. Those of a list (four phone numbers, three mail addresses ...) are consecutive from the one given.
constexpr int32_t ORINDB_DETAIL_NAME_PREFIX = 0;
constexpr int32_t ORINDB_DETAIL_GIVEN_NAME = 1;
constexpr int32_t ORINDB_DETAIL_FAMILY_NAME = 2;
constexpr int32_t ORINDB_DETAIL_DISPLAY_NAME = 3;
constexpr int32_t ORINDB_DETAIL_ORGANISATION = 4;
constexpr int32_t ORINDB_DETAIL_DEPARTMENT = 5;
constexpr int32_t ORINDB_DETAIL_JOB_TITLE = 6;
constexpr int32_t ORINDB_DETAIL_BIRTHDAY = 7;
constexpr int32_t ORINDB_DETAIL_PHOTO = 8;  // file name in ORINDB_PHOTO_DIRECTORY
constexpr int32_t ORINDB_DETAIL_SHORT_NUMBER = 9;
constexpr int32_t ORINDB_DETAIL_PHONE = 12;            // 4
constexpr int32_t ORINDB_DETAIL_PHONE_TYPE = 16;       // 4: a type digit, "$", a label
constexpr int32_t ORINDB_DETAIL_MAIL = 20;             // 3
constexpr int32_t ORINDB_DETAIL_MAIL_TYPE = 23;        // 3
constexpr int32_t ORINDB_DETAIL_WEB = 26;              // 3
constexpr int32_t ORINDB_DETAIL_WEB_TYPE = 29;         // 3
constexpr int32_t ORINDB_DETAIL_STREET = 32;           // 3
constexpr int32_t ORINDB_DETAIL_ADDRESS_TYPE = 35;     // 3
constexpr int32_t ORINDB_DETAIL_CANONICAL_PHONE = 38;  // 4
constexpr int32_t ORINDB_DETAIL_POSTAL_CODE = 42;      // 3, each followed by its city and its country
constexpr int32_t ORINDB_DETAIL_CITY = 43;
constexpr int32_t ORINDB_DETAIL_COUNTRY = 44;
constexpr int32_t ORINDB_DETAIL_RESOURCE_NAME = 51;  // identity of the contact in the remote account
constexpr int32_t ORINDB_DETAIL_INTERNAL_NUMBER = 52;

constexpr int ORINDB_PHONES = 4;

// Directory of the contact photos, with its trailing '/'.
constexpr char ORINDB_PHOTO_DIRECTORY[] = "/data/img/";

// Creates the table and its two indexes in one transaction.
[[nodiscard]] int orindb_createKontaktDetailTable(DbContext* dbContext);

// Reads one detail. ORINDB_NOT_FOUND unless exactly one row matches.
[[nodiscard]] int orindb_getContactDetail(DbContext* dbContext, int32_t key, uint16_t contactId, ContactDetail* detail);

// Reads details, by default ordered by contactId and key. The formatted text (at most 511 characters) is a WHERE and/or
// ORDER BY clause.
[[nodiscard]] int orindb_getContactDetailArray(DbContext* dbContext, ContactDetail** details, uint32_t* count,
                                               const char* whereFormat, ...) __attribute__((format(printf, 4, 5)));

// Reads all details of a contact.
[[nodiscard]] int orindb_getContactDetailArrayOfContact(DbContext* dbContext, uint16_t contactId,
                                                        ContactDetail** details, uint32_t* count);

// Reads all details of a contact and creates a hash table from detail key to record. The table points into the array
// and is destroyed by the caller; after a failure there is neither array nor table.
[[nodiscard]] int orindb_getContactDetailArrayAndHashTable(DbContext* dbContext, uint16_t contactId,
                                                           ContactDetail** details, uint32_t* count,
                                                           OrinHashTable* table);

// Writes a detail. The value's tail is repaired as UTF-8 in the record, and its TABs become spaces; a value that is or
// becomes empty removes the detail instead. ORINDB_INVALID_PARAMETER for no record or contactId 0.
[[nodiscard]] int orindb_saveContactDetail(DbContext* dbContext, ContactDetail* detail);

// Fills the work record (value cut at 280 bytes) and saves it.
[[nodiscard]] int orindb_createCtD(DbContext* dbContext, uint16_t contactId, int32_t key, const char* value,
                                   ContactDetail* work);

// Removes one detail, or all of a contact. Removing what is not there is no failure.
[[nodiscard]] int orindb_removeCtdes(DbContext* dbContext, uint16_t contactId, int32_t key);
[[nodiscard]] int orindb_removeCtd(DbContext* dbContext, uint16_t contactId);

// Removes details that are empty, belong to no contact or hold the obsolete placeholder of a short number, and strips
// short numbers of the old form "12$3" to their number. REQUIRES: an open transaction.
[[nodiscard]] int orindb_repairContactDetailTable(DbContext* dbContext);

// Removes photo details whose file is gone, and files of the photo directory that no detail names; subdirectories and
// links stay. One transaction.
[[nodiscard]] int orindb_removeUnusedPhotos(DbContext* dbContext);
