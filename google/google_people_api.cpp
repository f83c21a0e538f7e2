#include "google_people_api.h"

#include <algorithm>
#include <string_view>

#include "google_connector.h"
#include "google_endpoints.h"
#include "google_guards.h"
#include "json_loader.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "google_people_api.c"};

constexpr size_t URL_SIZE = 1024;  // bytes
constexpr size_t PAGE_TOKEN_PARAMETER_SIZE = 256;

// What a page holds of each person. "resourceName" comes unasked.
constexpr char PERSON_FIELDS[] =
    "memberships,addresses,birthdays,emailAddresses,names,nicknames,organizations,phoneNumbers,photos,urls";

constexpr int GROUP_PAGE_SIZE = 100;
constexpr char GROUP_FIELDS[] = "memberCount,name";

// Group names that stand for all contacts of the account.
constexpr std::string_view ALL_CONTACTS_GROUPS[] = {"", "contactGroups/all", "contactGroups/0"};

constexpr size_t MAX_MEMBERSHIPS = 65536;  // those that a 16-bit index reaches

// "pageToken=...&", or nothing for the first page.
CutText<PAGE_TOKEN_PARAMETER_SIZE> pageTokenParameter(const char* pageToken) {
    if (pageToken == nullptr || pageToken[0] == '\0') {
        return CutText<PAGE_TOKEN_PARAMETER_SIZE>("%s", "");
    }
    return CutText<PAGE_TOKEN_PARAMETER_SIZE>("pageToken=%s&", pageToken);
}

// The account record holds such a name, or none, when the user has chosen no group.
bool meansAllContacts(const char* groupResourceName) {
    return groupResourceName == nullptr ||
           std::ranges::find(ALL_CONTACTS_GROUPS, groupResourceName) != std::ranges::end(ALL_CONTACTS_GROUPS);
}

// A membership of another kind ("domainMembership"), or of no shape at all, belongs to no group.
bool isMembershipIn(json_object* membership, std::string_view groupResourceName) {
    json_object* contactGroup = json_object_object_get(membership, "contactGroupMembership");
    const char* name = orin_jsonObjectGetString(contactGroup, "contactGroupResourceName");
    return name != nullptr && groupResourceName == name;
}

}  // namespace

json_object* orin_requestPeopleList(GoogleConnector* gContext, const char* pageToken, int32_t pageSize) {
    const CutText<URL_SIZE> url("%s?%spageSize=%d&personFields=%s", GOOGLE_CONNECTIONS_ENDPOINT,
                                pageTokenParameter(pageToken).text(), pageSize, PERSON_FIELDS);
    json_object* people = orin_requestGoogleApiObject(gContext, url.text());
    // The connector has logged status 429, and the caller tries again.
    if (people == nullptr && orin_getLastHttpCode(gContext) != HTTP_TOO_MANY_REQUESTS) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, orin_requestGoogleApiObject returns NULL");
    }
    return people;
}

uint8_t orin_isPersonMemberOfGroup(json_object* person, const char* groupResourceName) {
    if (person == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter person == NULL");
    }
    if (meansAllContacts(groupResourceName)) {
        return 1;
    }
    json_object* memberships = orin_jsonObjectGetArray(person, "memberships");
    if (memberships == nullptr) {
        return 0;
    }
    const size_t count = std::min(json_object_array_length(memberships), MAX_MEMBERSHIPS);
    for (size_t i = 0; i < count; ++i) {
        if (isMembershipIn(json_object_array_get_idx(memberships, i), groupResourceName)) {
            return 1;
        }
    }
    return 0;
}

json_object* orin_getPersonListEntry(json_object* person, const char* key, uint8_t n) {
    json_object* entries = orin_jsonObjectGetArray(person, key);
    const size_t count = entries != nullptr ? json_object_array_length(entries) : 0;
    uint8_t others = 0;  // entries seen that are not marked primary
    for (size_t i = 0; i < count; ++i) {
        json_object* entry = json_object_array_get_idx(entries, i);
        // An element that is no object has no members.
        json_object* metadata = json_object_object_get(entry, "metadata");
        if (json_object_is_type(metadata, json_type_object) == 0) {
            continue;
        }
        const bool isPrimary = orin_jsonObjectGetBoolean(metadata, "primary", 0) != 0;
        if (n == 0 ? isPrimary : !isPrimary && ++others == n) {
            return entry;
        }
    }
    return nullptr;
}

json_object* orin_requestGroupList(GoogleConnector* gContext) {
    const CutText<URL_SIZE> url("%s?pageSize=%d&groupFields=%s", GOOGLE_CONTACT_GROUPS_ENDPOINT, GROUP_PAGE_SIZE,
                                GROUP_FIELDS);
    json_object* groupList = orin_requestGoogleApiObject(gContext, url.text());
    if (groupList == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, orin_requestGoogleApiObject returns NULL");
    }
    return groupList;
}

size_t orin_getGroupListSize(json_object* groupList) {
    if (groupList == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter groupList==NULL");
        return 0;
    }
    json_object* groups = orin_jsonObjectGetArray(groupList, "contactGroups");
    return groups != nullptr ? json_object_array_length(groups) : 0;
}

json_object* orin_getGroup(json_object* groupList, size_t index) {
    if (groupList == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter groupList==NULL");
        return nullptr;
    }
    json_object* groups = orin_jsonObjectGetArray(groupList, "contactGroups");
    return groups != nullptr ? json_object_array_get_idx(groups, index) : nullptr;
}

const char* orin_getGroupResourceName(json_object* group) {
    if (group == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter group==NULL");
        return nullptr;
    }
    return orin_jsonObjectGetString(group, "resourceName");
}

const char* orin_getGroupFormattedName(json_object* group) {
    if (group == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter group==NULL");
        return nullptr;
    }
    return orin_jsonObjectGetString(group, "formattedName");
}

int32_t orin_getGroupMemberCount(json_object* group) {
    if (group == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter group==NULL");
        return 0;
    }
    return orin_jsonObjectGetInteger(group, "memberCount", 0);
}

void dumpGroup(GoogleConnector* gContext) {
    const JsonObject groupList(orin_requestGroupList(gContext));
    const size_t size = groupList != nullptr ? orin_getGroupListSize(groupList.get()) : 0;
    const auto shown = [](const char* text) { return text != nullptr ? text : ""; };
    for (size_t i = 0; i < size; ++i) {
        json_object* group = orin_getGroup(groupList.get(), i);
        ORINLOG_FN(ORINLOG_DEBUG, "resName=%s formatName='%s' memberCount=%d", shown(orin_getGroupResourceName(group)),
                   shown(orin_getGroupFormattedName(group)), orin_getGroupMemberCount(group));
    }
}
