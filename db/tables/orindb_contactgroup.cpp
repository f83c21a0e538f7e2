#include "orindb_contactgroup.h"

#include <libintl.h>

#include "orin_stringutils.h"

namespace {

constexpr char NAME[] = "ContactGroup";
constexpr char SCHEMA[] =
    "CREATE TABLE ContactGroup\n(\n"
    "    contactGroupId  BIGINT(1),\n"
    "    type            INTEGER(1),\n"
    "    name            VARCHAR(1),\n"
    "    PRIMARY KEY(contactGroupId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(ContactGroup, contactGroupId),
    ORINDB_COLUMN(ContactGroup, type),
    ORINDB_COLUMN(ContactGroup, name),
};

struct DefaultGroup {
    uint32_t bit;
    uint8_t type;
    const char* name;  // in German, the language that the message catalogue translates from
};
constexpr std::array DEFAULT_GROUPS{
    DefaultGroup{CONTACT_GROUP_STANDARD, 0, "Telefonbuch Standard"},
    DefaultGroup{CONTACT_GROUP_SUBSCRIBERS, 0, "Teilnehmer"},
    DefaultGroup{CONTACT_GROUP_SUBSCRIBER_GROUPS, 0, "Gruppe"},
    DefaultGroup{CONTACT_GROUP_DOOR_STATIONS, 0, "T&uuml;rstation"},
    DefaultGroup{CONTACT_GROUP_ANNOUNCEMENTS, 0, "Ansageausgang"},
    DefaultGroup{CONTACT_GROUP_EMERGENCY, 0, "Notruf"},
    DefaultGroup{CONTACT_GROUP_CSV_IMPORT, 5, "CSV-Import"},
};

int saveDefaults(DbContext* dbContext) {
    int result = ORINDB_OK;
    for (const DefaultGroup& row : DEFAULT_GROUPS) {
        ContactGroup group{row.bit, row.type, ""};
        orin_strncpy(group.name, gettext(row.name));
        result = result == ORINDB_OK ? orindb_saveContactGroup(dbContext, &group) : result;
    }
    return result;
}

}  // namespace

constexpr OrindbTable ORINDB_CONTACT_GROUP_TABLE =
    orindb_describeTable<ContactGroup, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createContactGroupTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_CONTACT_GROUP_TABLE, __func__, defaults, saveDefaults);
}

int orindb_getContactGroup(DbContext* dbContext, uint32_t contactGroupId, ContactGroup* group) {
    return orindb_selectByNumber(dbContext, ORINDB_CONTACT_GROUP_TABLE, "contactGroupId", contactGroupId, group,
                                 __func__);
}

int orindb_saveContactGroup(DbContext* dbContext, const ContactGroup* group) {
    if (group == nullptr || group->contactGroupId == 0) {
        return orindb_invalidParameter(__func__);
    }
    return orindb_saveRecord(dbContext, ORINDB_CONTACT_GROUP_TABLE, group);
}

int orindb_removeContactGroup(DbContext* dbContext, uint32_t contactGroupId) {
    return orindb_deleteByNumber(dbContext, ORINDB_CONTACT_GROUP_TABLE, "contactGroupId", contactGroupId, __func__);
}
