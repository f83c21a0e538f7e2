// Table ContactGroup: the groups that a contact may belong to, each a single bit of Contact.contactGrpBitfield.
#pragma once

#include "orindb_table.h"

struct ContactGroup {
    uint32_t contactGroupId;  // the group's bit
    uint8_t type;             // 0 phone book or system group, 5 filled by CSV import
    char name[256];           // UTF-8
};
extern const OrindbTable ORINDB_CONTACT_GROUP_TABLE;

// Groups that every PBX has.
constexpr uint32_t CONTACT_GROUP_STANDARD = 0x00000001;
constexpr uint32_t CONTACT_GROUP_SPEED_DIAL = 0x00100000;
constexpr uint32_t CONTACT_GROUP_SUBSCRIBERS = 0x04000000;
constexpr uint32_t CONTACT_GROUP_SUBSCRIBER_GROUPS = 0x08000000;
constexpr uint32_t CONTACT_GROUP_DOOR_STATIONS = 0x10000000;
constexpr uint32_t CONTACT_GROUP_ANNOUNCEMENTS = 0x20000000;
constexpr uint32_t CONTACT_GROUP_EMERGENCY = 0x40000000;
constexpr uint32_t CONTACT_GROUP_CSV_IMPORT = 0x80000000;

// Creates the table, with the groups that every PBX has as default rows.
[[nodiscard]] int orindb_createContactGroupTable(DbContext* dbContext, OrindbDefaults defaults);

// Reads one group; ORINDB_NOT_FOUND when it does not exist.
[[nodiscard]] int orindb_getContactGroup(DbContext* dbContext, uint32_t contactGroupId, ContactGroup* group);

// Writes a group. ORINDB_INVALID_PARAMETER for the group 0.
[[nodiscard]] int orindb_saveContactGroup(DbContext* dbContext, const ContactGroup* group);

// Removes a group's row; its contacts stay. Removing what is not there is no failure.
[[nodiscard]] int orindb_removeContactGroup(DbContext* dbContext, uint32_t contactGroupId);
