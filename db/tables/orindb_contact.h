// The phone book's contacts: table Contact, one row per contact with the set of contact groups it belongs to. What is
// known of a contact stands in its details (orindb_contactdetail).
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. Arrays are the caller's, to be
// released with free(); an empty one is nullptr.
#pragma once

#include <cstdint>

#include "orindb_table.h"

// A row of Contact. Contact ids are 16 bits wide in all programs of the PBX.
struct Contact {
    uint16_t contactId;           // 1 to 65535; 0 is no contact
    uint32_t contactGrpBitfield;  // one bit per contact group
};
extern const OrindbTable ORINDB_CONTACT_TABLE;

// Contacts in one of these groups mirror objects of the PBX and do not count as phone-book contacts.
constexpr uint32_t ORINDB_SYSTEM_GROUPS = 0x7C000000;
// The phone book holds at most this number of contacts.
constexpr uint32_t ORINDB_MAX_CONTACTS = 2000;

// What a message 1101 tells of a contact.
enum class ContactChange : uint8_t { created = 1, changed = 2, removed = 3 };

// Creates the table in its own transaction.
[[nodiscard]] int orindb_createKontaktTable(DbContext* dbContext);

// Reads one contact. ORINDB_NOT_FOUND unless exactly one row has this id.
[[nodiscard]] int orindb_getKontakt(DbContext* dbContext, uint16_t contactId, Contact* contact);

// Reads contacts, by default ordered by contactId. The formatted text (at most 511 characters) is a WHERE and/or ORDER
// BY clause, or, when it begins with "SELECT", the whole statement.
[[nodiscard]] int orindb_getContactArray(DbContext* dbContext, Contact** contacts, uint32_t* count,
                                         const char* whereFormat, ...) __attribute__((format(printf, 4, 5)));

// Reads the contacts that are in one of the groups of a mask.
[[nodiscard]] int orindb_getContactArrayOfContactGroup(DbContext* dbContext, uint32_t groupMask, Contact** contacts,
                                                       uint32_t* count);

// The id of the first contact in one of the groups whose detail 51 is this text, or 0 when there is none or the query
// failed.
[[nodiscard]] uint16_t orindb_getContactIdByResourceName(DbContext* dbContext, const char* resourceName,
                                                         uint32_t groupMask);

// Creates a contact with an id drawn at random that is free. `reserved` is 0. On success *contact is the new row.
[[nodiscard]] int orindb_createContact(DbContext* dbContext, uint32_t contactGrpBitfield, int32_t reserved,
                                       Contact* contact);

// Writes a contact's row anew.
[[nodiscard]] int orindb_replaceKontakt(DbContext* dbContext, const Contact* contact);

// Removes a contact with its details, its speed-dial assignments and its CallThrough row, all or nothing, and sends
// message 1101 if it was in a group. Always returns 0: a failure is only logged.
int orindb_removeCt(DbContext* dbContext, uint16_t contactId);

// Counts the phone-book contacts of all groups together (subscriberId 0), or those in a group that the subscriber may
// see.
[[nodiscard]] int orindb_getNumberofallContact(DbContext* dbContext, uint32_t* count, uint16_t subscriberId);

// Counts the contacts in one of the groups, leaving one contact out (0: none).
[[nodiscard]] int orindb_getContactCountOfContactGroup(DbContext* dbContext, uint32_t groupMask, uint16_t leftOut,
                                                       uint32_t* count);

// Counts the contacts that are in one of the groups and, in the same group, visible to a subscriber (0: to anybody).
[[nodiscard]] int orindb_getContactCountVisibleToTn(DbContext* dbContext, uint32_t groupMask, uint32_t* count,
                                                    uint16_t subscriberId);

// The message that tells of a change of one contact (ORINDB_MSG_CONTACT_CHANGED).
[[nodiscard]] DbMessage orindb_contactMessage(ContactChange change, uint16_t contactId, uint32_t groups);

// The index of a contact in an array sorted by contactId, or -1. Works on signed 16-bit indices.
[[nodiscard]] int orindb_findContactInArray(const Contact* contacts, uint32_t count, uint16_t contactId);
