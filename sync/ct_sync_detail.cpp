#include "ct_sync_google.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "json_loader.h"
#include "orin_stdio.h"
#include "orin_stringutils.h"
#include "orin_wget.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "ct_sync_google.c"};
// The steps of a detail log under its name.
constexpr const char* DETAIL = "orin_google_syncOneContactDetail";

constexpr size_t PHONE_NUMBER_SIZE = 41;
constexpr int32_t TO_CANONICAL = ORINDB_DETAIL_CANONICAL_PHONE - ORINDB_DETAIL_PHONE;

enum class Change : uint8_t { none, added, changed, removed };

// One detail at hand.
struct Detail {
    uint16_t contactId;
    int32_t key;
    json_object* entry;
    const char* member;
    const ContactDetail* existing;  // nullptr when there is none
    const char* value;              // nullptr when there is none
};

const ContactDetail* findDetail(const OrinHashTable* details, int32_t key) {
    void* found = nullptr;
    const auto* word = reinterpret_cast<const void*>(static_cast<uintptr_t>(static_cast<uint32_t>(key)));
    return orin_getFromHashTable(details, word, &found) == 0 ? static_cast<const ContactDetail*>(found) : nullptr;
}

const char* newValue(SyncContext& sync, json_object* entry, const char* member, const char* alternativeMember,
                     ct_Conversion conversion, const char* defaultValue) {
    const char* value = orin_jsonObjectGetString(entry, member);
    if (value == nullptr && alternativeMember != nullptr) {
        value = orin_jsonObjectGetString(entry, alternativeMember);
    }
    if (value == nullptr) {
        value = defaultValue;
    }
    if (value != nullptr && conversion != nullptr) {
        conversion(value, sync.converted, sizeof(sync.converted));
        value = sync.converted;
    }
    return value;
}

// Logs and records what a call of the store answered unless it is ORINDB_OK. Returns it.
int checked(SyncContext& sync, const char* function, uint16_t contactId, int32_t key, int result) {
    if (result != ORINDB_OK) {
        ORINLOG_FOR(DETAIL, ORINLOG_ERROR, "%s failed contactId=%d detailKey=%d DBError=%d", function, contactId, key,
                    result);
        ct_recordError(sync, result);
    }
    return result;
}

int save(SyncContext& sync, ContactDetail& detail) {
    return checked(sync, "orindb_saveContactDetail", detail.contactId, detail.key,
                   orindb_saveContactDetail(sync.dbContext, &detail));
}

int remove(SyncContext& sync, uint16_t contactId, int32_t key) {
    return checked(sync, "orindb_removeCtdes", contactId, key, orindb_removeCtdes(sync.dbContext, contactId, key));
}

int changeDetail(SyncContext& sync, const Detail& detail) {
    ORINLOG_FOR(DETAIL, ORINLOG_EDEBUG, "change for contactId %d in detailKey=%d (jsonKey=%s) old=%s new=%s",
                detail.contactId, detail.key, detail.member, detail.existing->value, detail.value);
    ContactDetail changed{detail.contactId, detail.key, ""};
    orin_strncpy(changed.value, detail.value);
    return save(sync, changed);
}

int addDetail(SyncContext& sync, const Detail& detail) {
    ORINLOG_FOR(DETAIL, ORINLOG_EDEBUG, "add for contactId %d in detailKey=%d (jsonKey=%s) new=%s", detail.contactId,
                detail.key, detail.member, detail.value);
    ContactDetail work{};
    return checked(sync, "orindb_createCtD", detail.contactId, detail.key,
                   orindb_createCtD(sync.dbContext, detail.contactId, detail.key, detail.value, &work));
}

int removeDetail(SyncContext& sync, const Detail& detail) {
    ORINLOG_FOR(DETAIL, ORINLOG_EDEBUG, "remove for contactId %d in detailKey=%d (jsonKey=%s) old=%s", detail.contactId,
                detail.key, detail.member, detail.existing->value);
    return remove(sync, detail.contactId, detail.key);
}

struct PhotoPath {
    explicit PhotoPath(const char* name) {
        snprintf(text, sizeof(text), "%s%s", ORINDB_PHOTO_DIRECTORY, name);
    }
    char text[sizeof(ORINDB_PHOTO_DIRECTORY) + ORINDB_DETAIL_VALUE_SIZE];
};

void removePhoto(const char* name, uint32_t level) {
    const PhotoPath path(name);
    ORINLOG_FOR(DETAIL, level, "remove photo=%s", path.text);
    // Without a name this would be the directory itself.
    if (name[0] != '\0') {
        orin_remove(path.text);
    }
}

// Without the photo the contact is still right; the next change of its address tries again.
void importPhoto(const Detail& detail) {
    const PhotoPath path(detail.value);
    ORINLOG_FOR(DETAIL, ORINLOG_DEBUG, "import photo=%s", path.text);
    static_cast<void>(orin_wgetToFile(orin_jsonObjectGetString(detail.entry, "url"), path.text, nullptr));
}

void followUpPhoto(const Detail& detail, Change change) {
    if (change == Change::removed) {
        removePhoto(detail.existing->value, ORINLOG_DEBUG);
        return;
    }
    if (change == Change::changed) {
        removePhoto(detail.existing->value, ORINLOG_EDEBUG);
    }
    importPhoto(detail);
}

// The canonical form of a number stands 26 keys behind it.
void followUpPhone(SyncContext& sync, const Detail& detail, Change change) {
    const int32_t canonicalKey = detail.key + TO_CANONICAL;
    if (change == Change::removed) {
        static_cast<void>(remove(sync, detail.contactId, canonicalKey));
        return;
    }
    char number[PHONE_NUMBER_SIZE];
    orin_strncpy(number, detail.value);
    char* end =
        std::remove_if(number, number + strlen(number), [](char c) { return c == ' ' || c == '*' || c == '/'; });
    *end = '\0';
    ContactDetail canonical{detail.contactId, canonicalKey, ""};
    orin_phoneNumberToCanonical(&sync.location, number, canonical.value, sizeof(canonical.value));
    static_cast<void>(save(sync, canonical));
}

void followUp(SyncContext& sync, const Detail& detail, Change change) {
    if (detail.key == ORINDB_DETAIL_PHOTO) {
        followUpPhoto(detail, change);
    } else if (detail.key >= ORINDB_DETAIL_PHONE && detail.key < ORINDB_DETAIL_PHONE + ORINDB_PHONES) {
        followUpPhone(sync, detail, change);
    }
}

Change whatChanges(const Detail& detail) {
    if (detail.value == nullptr) {
        return detail.existing != nullptr ? Change::removed : Change::none;
    }
    if (detail.existing == nullptr) {
        return Change::added;
    }
    return strcmp(detail.value, detail.existing->value) != 0 ? Change::changed : Change::none;
}

int apply(SyncContext& sync, const Detail& detail, Change change) {
    switch (change) {
        case Change::added:
            return addDetail(sync, detail);
        case Change::changed:
            return changeDetail(sync, detail);
        case Change::removed:
            return removeDetail(sync, detail);
        case Change::none:
            break;
    }
    return ORINDB_OK;
}

bool checkArguments(SyncContext* syncContext, uint16_t contactId) {
    if (syncContext == nullptr) {
        ORINLOG_FOR(DETAIL, ORINLOG_ERROR, "syncContext is NULL");
        return false;
    }
    if (syncContext->dbContext == nullptr) {
        ORINLOG_FOR(DETAIL, ORINLOG_ERROR, "dbContext is NULL");
    } else if (contactId == 0) {
        ORINLOG_FOR(DETAIL, ORINLOG_ERROR, "contactId is 0");
    } else {
        return true;
    }
    ct_recordError(*syncContext, ORINDB_INVALID_PARAMETER);
    return false;
}

}  // namespace

const char* orin_google_syncOneContactDetail(SyncContext* syncContext, uint16_t contactId, json_object* entry,
                                             const char* member, const char* alternativeMember,
                                             const OrinHashTable* details, int32_t key, ct_Conversion conversion,
                                             const char* defaultValue) {
    if (!checkArguments(syncContext, contactId)) {
        return nullptr;
    }
    SyncContext& sync = *syncContext;
    Detail detail{contactId, key, entry, member, findDetail(details, key), nullptr};
    detail.value = newValue(sync, entry, member, alternativeMember, conversion, defaultValue);

    const Change change = whatChanges(detail);
    if (change == Change::none) {
        return detail.value;
    }
    if (apply(sync, detail, change) == ORINDB_OK) {
        followUp(sync, detail, change);
    }
    if (sync.changeState == ct_ChangeState::unchanged) {
        sync.changeState = ct_ChangeState::changed;
    }
    return detail.value;
}
