#include "db_googleserverconf.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "orin_memory.h"
#include "orin_stringutils.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"
#include "orindb_importrow.h"
#include "orinlog_guards.h"

namespace {

constexpr char NAME[] = "GoogleServerConfig";
constexpr char SCHEMA[] =
    "CREATE TABLE GoogleServerConfig\n(\n"
    "    googleAccountId INTEGER(1),\n"
    "    contactGroupId  BIGINT(1),\n"
    "    accountname     VARCHAR(1),\n"
    "    serverusername  VARCHAR(1),\n"
    "    refreshToken    VARCHAR(1),\n"
    "    needsNewAuth    INTEGER(1),\n"
    "    googleGroup     VARCHAR(1),\n"
    "    updateinterval  INTEGER(1),\n"
    "    lastupdatetime  VARCHAR(1),\n"
    "    serveractiv     INTEGER(1),\n"
    "    updatestarttime\tVARCHAR(1),\n"
    "    updatetime  \tVARCHAR(1),\n"
    "    PRIMARY KEY(googleAccountId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(GoogleServerConf, googleAccountId), ORINDB_COLUMN(GoogleServerConf, contactGroupId),
    ORINDB_COLUMN(GoogleServerConf, accountname),     ORINDB_COLUMN(GoogleServerConf, serverusername),
    ORINDB_COLUMN(GoogleServerConf, refreshToken),    ORINDB_COLUMN(GoogleServerConf, needsNewAuth),
    ORINDB_COLUMN(GoogleServerConf, googleGroup),     ORINDB_COLUMN(GoogleServerConf, updateinterval),
    ORINDB_COLUMN(GoogleServerConf, lastupdatetime),  ORINDB_COLUMN(GoogleServerConf, serveractiv),
    ORINDB_COLUMN(GoogleServerConf, updatestarttime), ORINDB_COLUMN(GoogleServerConf, updatetime),
};

constexpr int BASE = 10;
constexpr double ID_RANGE = 99.0;
// An imported text keeps at most this many characters.
constexpr size_t MAX_IMPORTED_TEXT = 511;

// What db_replaceGoogleServerConf makes of a record, made of a row.
int prepareImport(DbContext* /*dbContext*/, OrindbImportRow& row) {
    row.isWritten = orindb_importNumber(orindb_importValue(row, "googleAccountId")) != 0;
    for (OrindbImportValue& value : orindb_importValues(row)) {
        value.value.length = std::min(value.value.length, MAX_IMPORTED_TEXT);
    }
    OrindbImportValue* group = orindb_importValue(row, "googleGroup");
    if (group != nullptr && std::string_view(group->bytes, group->value.length) == "0") {
        group->value.length = 0;
    }
    const bool hasToken = !orindb_importIsEmpty(orindb_importValue(row, "refreshToken"));
    return hasToken ? ORINDB_OK : orindb_setImportNumber(row, "needsNewAuth", 1);
}

void setToCurrentHour(char (&field)[GOOGLE_CONF_TIME_SIZE]) {
    const time_t now = time(nullptr);
    tm local{};
    const HoldQuitSignal holdQuitSignal;
    localtime_r(&now, &local);
    snprintf(field, sizeof(field), "%d", local.tm_hour);
}

// Takes the account's bits from a contact that came from Google; without any bit left the contact goes.
int leaveGroup(DbContext* dbContext, uint16_t contactId, uint32_t groupBits) {
    ContactDetail resourceName{};
    int result = orindb_getContactDetail(dbContext, ORINDB_DETAIL_RESOURCE_NAME, contactId, &resourceName);
    if (result != ORINDB_OK) {
        return result == ORINDB_NOT_FOUND ? ORINDB_OK : result;
    }
    Contact contact{};
    result = orindb_getKontakt(dbContext, contactId, &contact);
    if (result != ORINDB_OK) {
        return result;
    }
    contact.contactGrpBitfield &= ~groupBits;
    result = orindb_replaceKontakt(dbContext, &contact);
    if (result == ORINDB_OK && contact.contactGrpBitfield == 0) {
        result = orindb_removeCt(dbContext, contactId);
    }
    return result;
}

int leaveGroupOfAccount(DbContext* dbContext, uint8_t googleAccountId) {
    GoogleServerConf account{};
    int result = db_getDbGoogleServerConf(dbContext, googleAccountId, &account);
    if (result != ORINDB_OK) {
        return result;
    }
    const auto groupBits = static_cast<uint32_t>(account.contactGroupId);
    Contact* block = nullptr;
    uint32_t count = 0;
    result = orindb_getContactArrayOfContactGroup(dbContext, groupBits, &block, &count);
    const Malloced<Contact> contacts(block);
    for (uint32_t i = 0; result == ORINDB_OK && i < count; ++i) {
        result = leaveGroup(dbContext, block[i].contactId, groupBits);
    }
    return result;
}

int groupsOfAllAccounts(DbContext* dbContext, uint32_t* groupBits) {
    GoogleServerConf* block = nullptr;
    uint32_t count = 0;
    const int result = orindb_getallDbGoogleServerConf(dbContext, &block, &count);
    const Malloced<GoogleServerConf> accounts(block);
    for (uint32_t i = 0; i < count; ++i) {
        *groupBits |= static_cast<uint32_t>(block[i].contactGroupId);
    }
    return result;
}

// A contact of a group that is removed loses all its groups, not only this one: what the group's account brought must
// not live on in another group. The groups that accounts feed decide nothing then; they are read because no contact
// goes when they cannot be.
int clearGroup(DbContext* dbContext, int32_t contactGroupId) {
    uint32_t fedGroups = 0;
    int result = groupsOfAllAccounts(dbContext, &fedGroups);
    if (result != ORINDB_OK) {
        return result;
    }
    Contact* block = nullptr;
    uint32_t count = 0;
    result = orindb_getContactArrayOfContactGroup(dbContext, static_cast<uint32_t>(contactGroupId), &block, &count);
    const Malloced<Contact> contacts(block);
    const uint32_t kept = contactGroupId == 0 ? 1 : 0;
    for (uint32_t i = 0; result == ORINDB_OK && i < count; ++i) {
        block[i].contactGrpBitfield &= kept;
        result = (block[i].contactGrpBitfield & fedGroups) == 0 ? orindb_removeCt(dbContext, block[i].contactId)
                                                                : orindb_replaceKontakt(dbContext, &block[i]);
    }
    return result;
}

}  // namespace

constexpr OrindbTable ORINDB_GOOGLE_SERVER_CONF_TABLE =
    orindb_describeTable<GoogleServerConf, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA, prepareImport);

int db_createGoogleServerConfTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_GOOGLE_SERVER_CONF_TABLE, __func__);
}

int db_initGoogleServerConf(GoogleServerConf* record) {
    if (record == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    *record = {};
    return ORINDB_OK;
}

int db_getDbGoogleServerConfCatId(DbContext* dbContext, int32_t contactGroupId, GoogleServerConf* record) {
    const OrindbTable& table = ORINDB_GOOGLE_SERVER_CONF_TABLE;
    const JoinText sql("SELECT %s FROM %s WHERE contactGroupId=%d", table.columnList, table.name, contactGroupId);
    uint32_t count = 0;
    return orindb_selectRecord(dbContext, table, sql.get(), record, &count, __func__);
}

int db_getDbGoogleServerConf(DbContext* dbContext, uint8_t googleAccountId, GoogleServerConf* record) {
    const OrindbTable& table = ORINDB_GOOGLE_SERVER_CONF_TABLE;
    const JoinText sql("SELECT %s FROM %s WHERE googleAccountId=%d", table.columnList, table.name, googleAccountId);
    uint32_t count = 0;
    return orindb_selectRecord(dbContext, table, sql.get(), record, &count, __func__);
}

int orindb_getallDbGoogleServerConf(DbContext* dbContext, GoogleServerConf** records, uint32_t* count) {
    const OrindbTable& table = ORINDB_GOOGLE_SERVER_CONF_TABLE;
    const JoinText sql("SELECT %s FROM %s ", table.columnList, table.name);
    return orindb_selectArray(dbContext, table, sql.get(), records, count, __func__);
}

int db_getGoogleServerConfSummaries(DbContext* dbContext, GoogleServerConfSummary** summaries, uint16_t* count) {
    if (summaries == nullptr || count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    *summaries = nullptr;
    *count = 0;
    GoogleServerConf* block = nullptr;
    uint32_t accounts = 0;
    const int result = orindb_getallDbGoogleServerConf(dbContext, &block, &accounts);
    const Malloced<GoogleServerConf> records(block);
    if (result != ORINDB_OK || accounts == 0) {
        return result;
    }
    OrindbArray array{};
    orindb_initArray(&array, sizeof(GoogleServerConfSummary));
    for (uint32_t i = 0; i < accounts; ++i) {
        auto* summary = static_cast<GoogleServerConfSummary*>(orindb_appendToArray(&array));
        if (summary == nullptr) {
            orindb_freeArray(&array);
            return ORINDB_FAILED;
        }
        const GoogleServerConf& record = block[i];
        *summary = {record.googleAccountId,
                    record.contactGroupId,
                    record.updateinterval,
                    record.serveractiv,
                    static_cast<uint8_t>(strtol(record.updatetime, nullptr, BASE)),
                    static_cast<uint8_t>(strtol(record.updatestarttime, nullptr, BASE))};
    }
    *summaries = static_cast<GoogleServerConfSummary*>(array.items);
    *count = static_cast<uint16_t>(array.count);
    return ORINDB_OK;
}

int db_replaceGoogleServerConf(DbContext* dbContext, GoogleServerConf* record) {
    if (record == nullptr || record->googleAccountId == 0) {
        return orindb_invalidParameter(__func__);
    }
    if (strcmp(record->googleGroup, "0") == 0) {
        record->googleGroup[0] = '\0';
    }
    if (record->refreshToken[0] == '\0') {
        record->needsNewAuth = 1;
    }
    return orindb_saveRecord(dbContext, ORINDB_GOOGLE_SERVER_CONF_TABLE, record);
}

int db_saveGoogleServerConf(DbContext* dbContext, GoogleServerConf* record) {
    GoogleServerConf stored{};
    if (record != nullptr && record->googleAccountId != 0 &&
        db_getDbGoogleServerConf(dbContext, record->googleAccountId, &stored) == ORINDB_OK) {
        if (strcmp(record->serverusername, stored.serverusername) != 0 &&
            strcmp(record->refreshToken, stored.refreshToken) == 0) {
            record->refreshToken[0] = '\0';
        }
        if (stored.serveractiv == 0 && record->serveractiv != 0) {
            setToCurrentHour(record->updatestarttime);
        }
    }
    return db_replaceGoogleServerConf(dbContext, record);
}

int db_addGoogleServerConf(DbContext* dbContext, const char* accountname, const char* serverusername,
                           const char* refreshToken, uint8_t serveractiv, GoogleServerConf* record) {
    if (record == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    // A missing row is no error, so that the first id is taken even when an account has it: accounts are few, and other
    // programs rely on the id being drawn once. Only a read that fails draws again, for as long as it fails.
    GoogleServerConf existing{};
    do {
        record->googleAccountId = static_cast<uint8_t>(orindb_drawNumber(ID_RANGE));
    } while (db_getDbGoogleServerConf(dbContext, record->googleAccountId, &existing) != ORINDB_OK);
    orin_strncpy(record->accountname, accountname);
    orin_strncpy(record->serverusername, serverusername);
    orin_strncpy(record->refreshToken, refreshToken);
    record->serveractiv = serveractiv;
    return transaction.end(db_replaceGoogleServerConf(dbContext, record));
}

// NOLINTNEXTLINE(readability-function-size): its callers hand over one argument for each field
int db_setGoogleServerConf(DbContext* dbContext, const char* accountname, const char* serverusername,
                           const char* refreshToken, uint8_t googleAccountId, int32_t contactGroupId,
                           const char* googleGroup, int32_t updateinterval, const char* lastupdatetime,
                           uint8_t serveractiv, GoogleServerConf* record) {
    if (record == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    orin_strncpy(record->accountname, accountname);
    orin_strncpy(record->serverusername, serverusername);
    orin_strncpy(record->refreshToken, refreshToken);
    record->googleAccountId = googleAccountId;
    record->contactGroupId = contactGroupId;
    orin_strncpy(record->googleGroup, googleGroup);
    record->updateinterval = updateinterval;
    orin_strncpy(record->lastupdatetime, lastupdatetime);
    orin_strncpy(record->updatetime, lastupdatetime);
    record->serveractiv = serveractiv;
    return transaction.end(db_replaceGoogleServerConf(dbContext, record));
}

int db_setNeedsNewAuth(DbContext* dbContext, uint8_t googleAccountId, uint8_t value) {
    const SelectText sql("UPDATE %s SET needsNewAuth=%d WHERE googleAccountId=%d", NAME, value, googleAccountId);
    return orindb_execute(dbContext, sql.get(), __func__);
}

int db_removeDbGoogleServerConf(DbContext* dbContext, uint8_t googleAccountId) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    result = leaveGroupOfAccount(dbContext, googleAccountId);
    if (result == ORINDB_OK) {
        const SelectText sql("DELETE FROM %s WHERE googleAccountId=%d", NAME, googleAccountId);
        result = orindb_execute(dbContext, sql.get(), __func__);
    }
    return transaction.end(result);
}

int db_removeDbGoogleServerConfCtg(DbContext* dbContext, int32_t contactGroupId) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    result = clearGroup(dbContext, contactGroupId);
    if (result == ORINDB_OK) {
        const SelectText sql("DELETE FROM %s WHERE contactGroupId=%d", NAME, contactGroupId);
        result = orindb_execute(dbContext, sql.get(), __func__);
    }
    return transaction.end(result);
}

int orindb_repairGoogleServerConf(DbContext* dbContext) {
    const SelectText sql("DELETE FROM %s WHERE contactGroupId NOT IN (SELECT DISTINCT contactGroupId FROM %s)", NAME,
                         "ContactGroup");
    return orindb_execute(dbContext, sql.get(), __func__);
}
