#include "orindb_contactdetail.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>

#include "orin_stringutils.h"
#include "orin_utf8.h"
#include "orindb_importrow.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_contactdetail.c"};

constexpr char NAME[] = "ContactDetail";
constexpr char SCHEMA[] =
    "CREATE TABLE ContactDetail\n(\n"
    "    contactId           INTEGER(1),\n"
    "    key                 INTEGER(1),\n"
    "    value               VARCHAR(1),\n"
    "    PRIMARY KEY(contactId, key))\n";
constexpr std::array INDEXES{
    "CREATE INDEX ContactDetail_Index_Value ON ContactDetail (value DESC)\n",
    "CREATE INDEX ContactDetail_Index_ContactId ON ContactDetail (contactId DESC)\n",
};
constexpr std::array COLUMNS{
    ORINDB_COLUMN(ContactDetail, contactId),
    ORINDB_COLUMN(ContactDetail, key),
    ORINDB_COLUMN(ContactDetail, value),
};

// A line of a display holds no control characters; an empty value means that there is no such detail.
int prepareImport(DbContext* dbContext, OrindbImportRow& row) {
    OrindbImportValue* value = orindb_importValue(row, "value");
    if (orindb_importIsEmpty(value)) {
        row.isWritten = false;
        return orindb_removeCtdes(dbContext,
                                  static_cast<uint16_t>(orindb_importNumber(orindb_importValue(row, "contactId"))),
                                  static_cast<int32_t>(orindb_importNumber(orindb_importValue(row, "key"))));
    }
    static constexpr std::string_view BECOMES_SPACE = "\t\n\a";
    std::replace_if(
        value->bytes, value->bytes + value->value.length,
        [](char c) { return BECOMES_SPACE.find(c) != std::string_view::npos; }, ' ');
    return ORINDB_OK;
}

// One slot for each key with room to spare, so that a look-up costs one step.
constexpr uint32_t KEY_TABLE_SLOTS = 100;
constexpr uint16_t WORD_SIZE = 4;

int indexByKey(ContactDetail* details, uint32_t count, OrinHashTable* table) {
    if (orin_createHashTable(table, KEY_TABLE_SLOTS, WORD_SIZE, WORD_SIZE, OrinHashTableCopy::no) != 0) {
        return ORINDB_FAILED;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const auto* key = reinterpret_cast<const void*>(static_cast<uintptr_t>(static_cast<uint32_t>(details[i].key)));
        if (orin_putIntoHashTable(table, key, &details[i], LOG_MODULE.file, __LINE__) != 0) {
            orin_destroyHashTable(table);
            return ORINDB_FAILED;
        }
    }
    return ORINDB_OK;
}

}  // namespace

constexpr OrindbTable ORINDB_CONTACT_DETAIL_TABLE =
    orindb_describeTable<ContactDetail, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA, prepareImport);

int orindb_createKontaktDetailTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_CONTACT_DETAIL_TABLE, __func__, OrindbDefaults::no, nullptr, INDEXES);
}

int orindb_getContactDetail(DbContext* dbContext, int32_t key, uint16_t contactId, ContactDetail* detail) {
    const OrindbTable& table = ORINDB_CONTACT_DETAIL_TABLE;
    const SelectText sql("SELECT %s FROM %s WHERE contactId=%i AND key=%i", table.columnList, table.name, contactId,
                         key);
    return orindb_selectOne(dbContext, table, sql.get(), detail, __func__);
}

int orindb_getContactDetailArray(DbContext* dbContext, ContactDetail** details, uint32_t* count,
                                 const char* whereFormat, ...) {
    char where[ORINDB_SQL_WHERE];
    va_list arguments;
    va_start(arguments, whereFormat);
    orindb_vformatSql(where, sizeof(where), whereFormat, arguments);
    va_end(arguments);

    const OrindbTable& table = ORINDB_CONTACT_DETAIL_TABLE;
    const SelectText sql = orindb_listStatement(table, where, "ORDER BY contactId, key");
    return orindb_selectArray(dbContext, table, sql.get(), details, count, __func__);
}

int orindb_getContactDetailArrayOfContact(DbContext* dbContext, uint16_t contactId, ContactDetail** details,
                                          uint32_t* count) {
    return orindb_getContactDetailArray(dbContext, details, count, "WHERE contactId=%i", contactId);
}

int orindb_getContactDetailArrayAndHashTable(DbContext* dbContext, uint16_t contactId, ContactDetail** details,
                                             uint32_t* count, OrinHashTable* table) {
    if (table == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    const OrindbTable& described = ORINDB_CONTACT_DETAIL_TABLE;
    // A synchronisation comes here for every person. A contact has a key once at most: DISTINCT would only cost time.
    const SelectText sql("SELECT %s FROM %s WHERE contactId=?1 ORDER BY key", described.columnList, described.name);
    int result = orindb_selectArrayOf(dbContext, described, sql.get(), contactId, details, count);
    if (result != ORINDB_OK) {
        return result;
    }
    result = indexByKey(*details, *count, table);
    if (result != ORINDB_OK) {
        free(*details);
        *details = nullptr;
        *count = 0;
    }
    return result;
}

int orindb_saveContactDetail(DbContext* dbContext, ContactDetail* detail) {
    if (detail == nullptr || detail->contactId == 0) {
        return orindb_invalidParameter(__func__);
    }
    orin_utf8_fix_tail(detail->value);
    if (detail->value[0] == '\0') {
        return orindb_removeCtdes(dbContext, detail->contactId, detail->key);
    }
    orin_replaceChar(detail->value, '\t', ' ');
    return orindb_saveRecord(dbContext, ORINDB_CONTACT_DETAIL_TABLE, detail);
}

int orindb_createCtD(DbContext* dbContext, uint16_t contactId, int32_t key, const char* value, ContactDetail* work) {
    if (work == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    work->contactId = contactId;
    work->key = key;
    orin_strncpy(work->value, value);
    return orindb_saveContactDetail(dbContext, work);
}

int orindb_removeCtdes(DbContext* dbContext, uint16_t contactId, int32_t key) {
    const DeleteText sql("DELETE FROM %s WHERE contactId=%i and key=%i", NAME, contactId, key);
    return orindb_execute(dbContext, sql.get(), __func__);
}

int orindb_removeCtd(DbContext* dbContext, uint16_t contactId) {
    return orindb_deleteByNumber(dbContext, ORINDB_CONTACT_DETAIL_TABLE, "contactId", contactId, __func__);
}
