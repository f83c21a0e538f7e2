// Requests to Google's People API, and what is read from its persons and contact groups.
//
// Every object given in may be of any shape, since it came from outside. Nothing is copied: entries and texts that are
// returned belong to the object they were found in and live as long as it does.
#pragma once

#include <cstddef>
#include <cstdint>

struct GoogleConnector;
struct json_object;

// Requests one page of the account's connections.
//   pageToken  "nextPageToken" of the page before; nullptr or empty for the first page
//   pageSize   number of persons wanted
// Returns the page (caller releases it), or nullptr. Failures are logged, except for HTTP status 429, which the
// connector has logged and the caller may repeat.
[[nodiscard]] json_object* orin_requestPeopleList(GoogleConnector* gContext, const char* pageToken, int32_t pageSize);

// Returns 1 when the person belongs to the group, else 0. No group name, an empty one, "contactGroups/all" and
// "contactGroups/0" mean all contacts. A missing person is logged.
[[nodiscard]] uint8_t orin_isPersonMemberOfGroup(json_object* person, const char* groupResourceName);

// Returns an entry of the person's list field `key`: with n = 0 the first that is marked primary, with n = k the k-th
// that is not; nullptr when there is none. Entries without "metadata" do not count.
[[nodiscard]] json_object* orin_getPersonListEntry(json_object* person, const char* key, uint8_t n);

// Requests the account's contact groups, at most 100. Returns the list (caller releases it), or nullptr (logged).
[[nodiscard]] json_object* orin_requestGroupList(GoogleConnector* gContext);

// Number of groups in a list, and one of them; 0 and nullptr when there is none. A missing list is logged.
[[nodiscard]] size_t orin_getGroupListSize(json_object* groupList);
[[nodiscard]] json_object* orin_getGroup(json_object* groupList, size_t index);

// Members of a group; nullptr and 0 when absent. A missing group is logged.
[[nodiscard]] const char* orin_getGroupResourceName(json_object* group);
[[nodiscard]] const char* orin_getGroupFormattedName(json_object* group);
[[nodiscard]] int32_t orin_getGroupMemberCount(json_object* group);

// Requests the contact groups and logs each, for diagnosis.
void dumpGroup(GoogleConnector* gContext);
