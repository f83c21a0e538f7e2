// One pass of the synchronisation: makes one contact group of the phone book equal to the contacts of a Google account.
//
// Google is the master and nothing is written to it. The pass pages through the account, creates a contact for each new
// person, brings every detail into line, downloads photos, tells other processes of each changed contact (message 1101)
// and at the end removes the group's contacts that the account no longer has. A page's changes are one transaction.
#pragma once

#include <cstdint>
#include <optional>

#include "ct_sync_mapping.h"
#include "orin_hashtable3.h"
#include "orin_phonenumber.h"
#include "orindb_access.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"

struct GoogleConnector;
struct json_object;

// Results of a pass beside the database library's codes. The first error of a pass is kept, but CT_SYNC_CAPACITY always
// wins.
constexpr uint16_t CT_SYNC_CAPACITY = 8104;               // the phone book holds ORINDB_MAX_CONTACTS contacts
constexpr uint16_t CT_SYNC_AUTHENTICATION_FAILED = 8119;  // Google accepted no token
constexpr uint16_t CT_SYNC_KILLED = 8121;                 // ended by a fatal signal (written by the driver)
constexpr uint16_t CT_SYNC_REQUEST_FAILED = 8128;         // a request failed, or its answer was unusable

// How much the person at hand changed.
enum class ct_ChangeState : uint8_t { unchanged = 0, changed = 1, created = 2 };

// The state of one pass.
struct SyncContext {
    uint16_t contactGroupId;  // the group's bit
    DbContext* dbContext;
    Contact* contacts;  // the group at the start of the pass, ordered by contactId; a seen contact loses the group bit
    uint32_t contactCount;
    uint16_t lastError;  // 0 while nothing failed
    const volatile uint8_t* abortFlag;
    ct_ChangeState changeState;
    uint8_t displayNameMode;                   // Autor.adminNVVN; 0: family name first
    OrinPhoneLocation location;                // what a number without prefix means here
    char converted[ORINDB_DETAIL_VALUE_SIZE];  // the text of the last conversion
    std::optional<uint32_t> phoneBookCount;    // contacts in the phone book, once counted in the open transaction
};

// Runs a pass.
//   gContext        the account's connector, holding a refresh token
//   contactGroupId  the group's bit; contacts of group 0 belong to nobody
//   googleGroup     resource name of the Google group to take; "", "contactGroups/all" and "contactGroups/0" take all
//   abortFlag       a byte that ends the paging, and skips the removal, once it is not 0; may be nullptr
// Returns 0 or the code of the first error; single failures skip a person or a detail and the pass goes on.
[[nodiscard]] uint16_t orin_google_sync(GoogleConnector* gContext, DbContext* dbContext, uint16_t contactGroupId,
                                        const char* googleGroup, const volatile uint8_t* abortFlag);

// Keeps a code when it is the first one; CT_SYNC_CAPACITY always wins. Codes of the database library are kept in 16
// bits.
inline void ct_recordError(SyncContext& sync, int code) {
    if (sync.lastError == 0 || code == CT_SYNC_CAPACITY) {
        sync.lastError = static_cast<uint16_t>(code);
    }
}

// Brings one detail of a contact into line with a member of a person's entry.
//   entry              json-c object, may be nullptr (no value)
//   alternativeMember  asked when `member` is absent; may be nullptr
//   details            the contact's stored details by key
//   conversion         may be nullptr
//   defaultValue       used when there is no value; may be nullptr
// Returns the value that was applied, valid until the next call, or nullptr when there is none. Failures are logged and
// recorded in the context.
const char* orin_google_syncOneContactDetail(SyncContext* syncContext, uint16_t contactId, json_object* entry,
                                             const char* member, const char* alternativeMember,
                                             const OrinHashTable* details, int32_t key, ct_Conversion conversion,
                                             const char* defaultValue);
