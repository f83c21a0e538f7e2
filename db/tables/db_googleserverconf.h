// The Google accounts that feed contact groups: table GoogleServerConfig, one row per account.
//
// All functions return 0 or a code of orindb_codes.h, failures of SQLite are in the log. An account without a refresh
// token always needs a new authorisation.
#pragma once

#include <cstdint>

#include "orindb_table.h"

constexpr size_t GOOGLE_CONF_TEXT_SIZE = 256;
constexpr size_t GOOGLE_CONF_TIME_SIZE = 32;

// A row of GoogleServerConfig. Longer texts are cut to their fields.
struct GoogleServerConf {
    uint8_t googleAccountId;                     // 1 to 100; 0 is no record
    int32_t contactGroupId;                      // the bit of the contact group that the account fills
    char accountname[GOOGLE_CONF_TEXT_SIZE];     // name of the entry
    char serverusername[GOOGLE_CONF_TEXT_SIZE];  // Google user
    char refreshToken[GOOGLE_CONF_TEXT_SIZE];
    uint8_t needsNewAuth;                         // 1: the user must authorise the account again
    char googleGroup[GOOGLE_CONF_TEXT_SIZE];      // resource name of the Google contact group; empty: all contacts
    int32_t updateinterval;                       // the scheduler's
    char lastupdatetime[GOOGLE_CONF_TIME_SIZE];   // "2024-03-05 09:07", local time
    uint8_t serveractiv;                          // 1: synchronised by schedule
    char updatestarttime[GOOGLE_CONF_TIME_SIZE];  // hour of the day at which it was last switched active
    char updatetime[GOOGLE_CONF_TIME_SIZE];       // the scheduler's, decimal text
};
extern const OrindbTable ORINDB_GOOGLE_SERVER_CONF_TABLE;

// What the scheduler wants to know of an account.
struct GoogleServerConfSummary {
    uint8_t googleAccountId;
    int32_t contactGroupId;
    int32_t updateinterval;
    uint8_t serveractiv;
    uint8_t updatetime;
    uint8_t updatestarttime;
};
static_assert(sizeof(GoogleServerConfSummary) == 16);

// Creates the table in its own transaction.
[[nodiscard]] int db_createGoogleServerConfTable(DbContext* dbContext);

// Clears a record. ORINDB_INVALID_PARAMETER for none.
int db_initGoogleServerConf(GoogleServerConf* record);

// Read the account of a contact group (of several the last one), or the account with an id. A missing row is no error:
// the result is 0 and the record keeps what it held, so clear it first and look at googleAccountId afterwards.
[[nodiscard]] int db_getDbGoogleServerConfCatId(DbContext* dbContext, int32_t contactGroupId, GoogleServerConf* record);
[[nodiscard]] int db_getDbGoogleServerConf(DbContext* dbContext, uint8_t googleAccountId, GoogleServerConf* record);

// Read all accounts. The array is the caller's, released with free(); nullptr when there are none.
[[nodiscard]] int orindb_getallDbGoogleServerConf(DbContext* dbContext, GoogleServerConf** records, uint32_t* count);
[[nodiscard]] int db_getGoogleServerConfSummaries(DbContext* dbContext, GoogleServerConfSummary** summaries,
                                                  uint16_t* count);

// Writes a record. In the record a googleGroup "0" becomes empty, and an empty token sets needsNewAuth.
// ORINDB_INVALID_PARAMETER for id 0, ORINDB_WRITE_FAILED when writing fails.
[[nodiscard]] int db_replaceGoogleServerConf(DbContext* dbContext, GoogleServerConf* record);

// Writes a record over the stored one: another Google user with the old token loses the token, and an account that is
// switched active gets the hour of now as updatestarttime. Codes as above.
[[nodiscard]] int db_saveGoogleServerConf(DbContext* dbContext, GoogleServerConf* record);

// Fills the record with a new random id (1 to 100; an account with that id is overwritten) and the arguments, the other
// fields staying as they are, and writes it in its own transaction.
[[nodiscard]] int db_addGoogleServerConf(DbContext* dbContext, const char* accountname, const char* serverusername,
                                         const char* refreshToken, uint8_t serveractiv, GoogleServerConf* record);

// Fills the record with the arguments and writes it in its own transaction. lastupdatetime fills updatetime as well.
[[nodiscard]] int db_setGoogleServerConf(DbContext* dbContext, const char* accountname, const char* serverusername,
                                         const char* refreshToken, uint8_t googleAccountId, int32_t contactGroupId,
                                         const char* googleGroup, int32_t updateinterval, const char* lastupdatetime,
                                         uint8_t serveractiv, GoogleServerConf* record);

[[nodiscard]] int db_setNeedsNewAuth(DbContext* dbContext, uint8_t googleAccountId, uint8_t value);

// Removes an account. Contacts of its group that came from Google leave the group, and go when that was their last one;
// contacts entered on the PBX stay. No message tells of these contacts. One transaction.
[[nodiscard]] int db_removeDbGoogleServerConf(DbContext* dbContext, uint8_t googleAccountId);

// Removes the accounts of a contact group and all contacts of the group, whatever other groups they are in and whether
// or not they came from Google. One transaction.
[[nodiscard]] int db_removeDbGoogleServerConfCtg(DbContext* dbContext, int32_t contactGroupId);

// Removes every account whose contact group does not exist.
[[nodiscard]] int orindb_repairGoogleServerConf(DbContext* dbContext);
