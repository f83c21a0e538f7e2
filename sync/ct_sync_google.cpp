#include "ct_sync_google.h"

#include <json-c/json.h>

#include "google_connector.h"
#include "google_guards.h"
#include "google_people_api.h"
#include "json_loader.h"
#include "orin_memory.h"
#include "orin_stringutils.h"
#include "orin_tools.h"
#include "orindb_autor.h"
#include "orindb_pbxmisc.h"
#include "orindb_sonstiges.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "ct_sync_google.c"};
// The steps of the pass log under its name.
constexpr const char* PASS = "orin_google_sync";

constexpr int32_t PAGE_SIZE = 50;
constexpr size_t PAGE_TOKEN_SIZE = 256;
constexpr uint32_t RATE_LIMIT_PAUSE_SECONDS = 2;
constexpr char PLACEHOLDER_MEMBER[] = "anInvalidKey";

void initLocation(DbContext* dbContext, OrinPhoneLocation* location) {
    char country[ORIN_COUNTRY_NUMBER_SIZE] = "";
    // A setting that cannot be read is one that is not made.
    static_cast<void>(orindb_getPbxMisc(dbContext, PBX_MISC_COUNTRY, country, sizeof(country)));
    Sonstiges settings{};
    static_cast<void>(orindb_getSonstiges(dbContext, &settings));
    orin_initPhoneLocation(location, country, settings.ortVorwahl, settings.landVorwahl, settings.nationalPrefix[0]);
}

void readSettings(SyncContext& sync) {
    initLocation(sync.dbContext, &sync.location);
    Autor author{};
    if (orindb_getAutor(sync.dbContext, &author) == ORINDB_OK) {
        sync.displayNameMode = author.adminNVVN;
    }
}

// Nobody's flag is never set.
bool isAborted(const SyncContext& sync) {
    return sync.abortFlag != nullptr && *sync.abortFlag != 0;
}

const char* memberOf(const SyncContext& sync, const ct_MappingRow& row, json_object* entry) {
    switch (row.rule) {
        case ct_MappingRule::displayName:
            return sync.displayNameMode != 0 ? "displayName" : row.member;
        case ct_MappingRule::photo:
            return orin_jsonObjectGetBoolean(entry, "default", 0) != 0 ? PLACEHOLDER_MEMBER : row.member;
        case ct_MappingRule::plain:
        case ct_MappingRule::phoneType:
            break;
    }
    return row.member;
}

void syncDetails(SyncContext& sync, uint16_t contactId, json_object* person, const OrinHashTable& details) {
    const char* applied = nullptr;
    const ct_MappingRow* before = nullptr;
    json_object* entry = nullptr;
    for (const ct_MappingRow& row : ct_mappingRows()) {
        // The rows of an entry stand together.
        if (before == nullptr || before->field != row.field || before->entry != row.entry) {
            entry = orin_getPersonListEntry(person, row.field, row.entry);
        }
        before = &row;
        // The row before a phone type is its number, of which only the existence is asked.
        const bool hasNumber = applied != nullptr;
        const char* defaultValue = row.rule == ct_MappingRule::phoneType && hasNumber ? "work" : nullptr;
        applied =
            orin_google_syncOneContactDetail(&sync, contactId, entry, memberOf(sync, row, entry), row.alternativeMember,
                                             &details, row.key, row.conversion, defaultValue);
    }
}

void markAsSeen(SyncContext& sync, uint16_t contactId) {
    const int index = orindb_findContactInArray(sync.contacts, sync.contactCount, contactId);
    if (index >= 0) {
        sync.contacts[index].contactGrpBitfield &= ~uint32_t{sync.contactGroupId};
    }
}

// Whether the phone book holds as many contacts as it can. Counting them takes longer the more there are, and nobody
// else can write while the page's transaction is open: they are counted once for a page, and its new ones added.
// Without a transaction (none could be begun, or the disk's failure has ended it) they are counted each time.
bool isPhoneBookFull(SyncContext& sync) {
    if (!db_isInTransaction(&sync.dbContext->handles[ORINDB_KONFIG]) || !sync.phoneBookCount.has_value()) {
        uint32_t count = 0;
        if (orindb_getNumberofallContact(sync.dbContext, &count, 0) != ORINDB_OK) {
            return false;
        }
        sync.phoneBookCount = count;
    }
    return *sync.phoneBookCount >= ORINDB_MAX_CONTACTS;
}

// Creates the contact of a new person. Returns its id, or 0 when that failed (logged and recorded).
uint16_t createContact(SyncContext& sync, const char* resourceName, const char* function) {
    ORINLOG_FOR(function, ORINLOG_EDEBUG, "create googlecontact personId=%s", resourceName);
    if (isPhoneBookFull(sync)) {
        if (sync.lastError != CT_SYNC_CAPACITY) {
            ORINLOG_FOR(function, ORINLOG_ERROR, "to many contacts");
        }
        ct_recordError(sync, CT_SYNC_CAPACITY);
        return 0;
    }
    Contact contact{};
    int result = orindb_createContact(sync.dbContext, sync.contactGroupId, 0, &contact);
    if (result != ORINDB_OK) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "orindb_createContact failed DBError=%d", result);
        ct_recordError(sync, result);
        return 0;
    }
    ContactDetail work{};
    result = orindb_createCtD(sync.dbContext, contact.contactId, ORINDB_DETAIL_RESOURCE_NAME, resourceName, &work);
    if (result != ORINDB_OK) {
        ORINLOG_FOR(function, ORINLOG_ERROR, "orindb_createCtD failed DBError=%d", result);
        ct_recordError(sync, result);
        orindb_removeCt(sync.dbContext, contact.contactId);
        sync.phoneBookCount.reset();
        return 0;
    }
    if (sync.phoneBookCount.has_value()) {
        ++*sync.phoneBookCount;
    }
    sync.changeState = ct_ChangeState::created;
    return contact.contactId;
}

void announce(SyncContext& sync, uint16_t contactId, const char* function) {
    const ContactChange change =
        sync.changeState == ct_ChangeState::created ? ContactChange::created : ContactChange::changed;
    const DbMessage message = orindb_contactMessage(change, contactId, sync.contactGroupId);
    ORINLOG_FOR(function, ORINLOG_EDEBUG, "orindb_writeToMsgQueue msg=%s", message.text);
    orindb_writeToMsgQueue(sync.dbContext, &message);
}

// Brings one person's contact into line, creating it if need be.
void orin_google_syncOneContact(SyncContext& sync, json_object* person) {
    sync.changeState = ct_ChangeState::unchanged;
    const char* resourceName = orin_jsonObjectGetString(person, "resourceName");
    if (resourceName == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "resourceName is NULL");
        ct_recordError(sync, CT_SYNC_REQUEST_FAILED);
        return;
    }
    uint16_t contactId = orindb_getContactIdByResourceName(sync.dbContext, resourceName, sync.contactGroupId);
    if (contactId == 0) {
        contactId = createContact(sync, resourceName, __func__);
    }
    if (contactId == 0) {
        return;
    }
    ContactDetail* block = nullptr;
    uint32_t count = 0;
    OrinHashTable details{};
    const int result = orindb_getContactDetailArrayAndHashTable(sync.dbContext, contactId, &block, &count, &details);
    if (result != ORINDB_OK) {
        ORINLOG_FN(ORINLOG_ERROR, "orindb_getContactDetailArrayAndHashTable failed DBError=%d", result);
        ct_recordError(sync, result);
        return;
    }
    const Malloced<ContactDetail> stored(block);
    syncDetails(sync, contactId, person, details);
    orin_destroyHashTable(&details);

    markAsSeen(sync, contactId);
    if (sync.changeState != ct_ChangeState::unchanged) {
        announce(sync, contactId, __func__);
    }
}

// A page is committed whatever became of its persons: single failures do not stop the pass. Nor does a begin that
// failed: each statement then stands for itself.
void syncPersons(SyncContext& sync, json_object* connections, const char* googleGroup) {
    const int begun = orindb_transaction(sync.dbContext, ORINDB_KONFIG, DB_BEGIN);
    sync.phoneBookCount.reset();
    for (size_t i = 0; i < json_object_array_length(connections); ++i) {
        json_object* person = json_object_array_get_idx(connections, i);
        if (orin_isPersonMemberOfGroup(person, googleGroup) != 0) {
            orin_google_syncOneContact(sync, person);
        }
    }
    if (begun == ORINDB_OK) {
        orindb_transaction(sync.dbContext, ORINDB_KONFIG, DB_COMMIT);
    }
}

// Without a page there is a reason: a rate limit is waited out, anything else ends the pass (false).
bool handleMissingPage(SyncContext& sync, GoogleConnector* gContext) {
    if (orin_hasAuthentificationFailed(gContext) != 0) {
        ct_recordError(sync, CT_SYNC_AUTHENTICATION_FAILED);
        return false;
    }
    if (orin_getLastHttpCode(gContext) != HTTP_TOO_MANY_REQUESTS) {
        ORINLOG_FOR(PASS, ORINLOG_ERROR, "orin_requestPeopleList failed");
        ct_recordError(sync, CT_SYNC_REQUEST_FAILED);
        return false;
    }
    ORINLOG_FOR(PASS, ORINLOG_WARNING, "wait some time and try again");
    orin_sleep(RATE_LIMIT_PAUSE_SECONDS, 0);
    return true;
}

// Requests the page of the token and works it in. *pageToken gets the token of the next page, or becomes empty. Returns
// false when the pass ends without looking for vanished contacts.
bool syncPage(SyncContext& sync, GoogleConnector* gContext, const char* googleGroup, char (&pageToken)[PAGE_TOKEN_SIZE],
              uint32_t& pageCounter) {
    const JsonObject page(orin_requestPeopleList(gContext, pageToken, PAGE_SIZE));
    if (page == nullptr) {
        return handleMissingPage(sync, gContext);
    }
    json_object* connections = orin_jsonObjectGetArray(page.get(), "connections");
    if (connections == nullptr) {
        ORINLOG_FOR(PASS, ORINLOG_INFO, "no 'connections' found cause there are no contacts");
        return false;
    }
    syncPersons(sync, connections, googleGroup);

    orin_strncpy(pageToken, orin_jsonObjectGetString(page.get(), "nextPageToken"));
    if (ORINLOG_ENABLED(ORINLOG_DEBUG)) {
        ORINLOG_FOR(PASS, ORINLOG_DEBUG, "page=%d", pageCounter);
        ++pageCounter;
    }
    if (isAborted(sync)) {
        ORINLOG_FOR(PASS, ORINLOG_ERROR, "abort sync by user contactGrpId=%d", sync.contactGroupId);
    }
    return true;
}

// Runs the pages; returns what the last one did. A rate limit on the first page leaves the token empty and so counts as
// the end of the listing.
bool syncPages(SyncContext& sync, GoogleConnector* gContext, const char* googleGroup) {
    char pageToken[PAGE_TOKEN_SIZE] = "";
    uint32_t pageCounter = 0;
    do {
        if (!syncPage(sync, gContext, googleGroup, pageToken, pageCounter)) {
            return false;
        }
    } while (pageToken[0] != '\0' && !isAborted(sync));
    return true;
}

// A contact that still has the group bit was not seen in this pass.
void removeVanished(SyncContext& sync) {
    const int begun = orindb_transaction(sync.dbContext, ORINDB_KONFIG, DB_BEGIN);
    for (uint32_t i = 0; i < sync.contactCount && !isAborted(sync); ++i) {
        if ((sync.contacts[i].contactGrpBitfield & sync.contactGroupId) == 0) {
            continue;
        }
        const uint16_t contactId = sync.contacts[i].contactId;
        ORINLOG_FOR(PASS, ORINLOG_DEBUG, "delete googlecontact contactId=%d", contactId);
        if (orindb_removeCt(sync.dbContext, contactId) != ORINDB_OK) {
            ORINLOG_FOR(PASS, ORINLOG_ERROR, "orindb_removeCt failed contactId=%d", contactId);
        }
    }
    if (begun == ORINDB_OK) {
        orindb_transaction(sync.dbContext, ORINDB_KONFIG, DB_COMMIT);
    }
}

}  // namespace

uint16_t orin_google_sync(GoogleConnector* gContext, DbContext* dbContext, uint16_t contactGroupId,
                          const char* googleGroup, const volatile uint8_t* abortFlag) {
    SyncContext sync{};
    sync.contactGroupId = contactGroupId;
    sync.dbContext = dbContext;
    sync.abortFlag = abortFlag;
    readSettings(sync);

    const int loaded = orindb_getContactArray(dbContext, &sync.contacts, &sync.contactCount,
                                              "WHERE contactGrpBitfield & %i > 0 ORDER BY contactId", contactGroupId);
    if (loaded != ORINDB_OK) {
        ORINLOG_FN(ORINLOG_ERROR, "orindb_getContactArray failed with contactGroupId=%d", contactGroupId);
        return sync.lastError != 0 ? sync.lastError : uint16_t{ORINDB_WRITE_FAILED};
    }
    const Malloced<Contact> contacts(sync.contacts);
    if (syncPages(sync, gContext, googleGroup)) {
        removeVanished(sync);
    }
    return sync.lastError;
}
