#include "orindb_contactlist.h"

#include <cstdio>

#include "orindb_callthrough.h"
#include "orindb_contactdetail.h"
#include "orindb_contactgroup.h"
#include "orindb_kwtn.h"

namespace {

constexpr int LOW_BYTE = 255;
constexpr size_t CLAUSE_SIZE = 64;

int removeAllRows(DbContext* dbContext, const char* caller) {
    const char* contacts = ORINDB_CONTACT_TABLE.name;
    const char* details = ORINDB_CONTACT_DETAIL_TABLE.name;
    const DeleteText removeContacts("DELETE FROM %s WHERE (contactGrpBitfield & %d) = 0", contacts,
                                    static_cast<int32_t>(ORINDB_SYSTEM_GROUPS));
    int result = orindb_execute(dbContext, removeContacts.get(), caller);
    if (result == ORINDB_OK) {
        const DeleteText removeDetails("DELETE FROM %s WHERE contactId NOT IN (SELECT DISTINCT contactId FROM %s)",
                                       details, contacts);
        result = orindb_execute(dbContext, removeDetails.get(), caller);
    }
    if (result == ORINDB_OK) {
        result = orindb_removeKwTnAll(dbContext);
    }
    if (result == ORINDB_OK) {
        result = orindb_removeAllCallThrough(dbContext);
    }
    return result;
}

}  // namespace

int orindb_getContactArrayPaged(DbContext* dbContext, Contact** contacts, uint32_t* count, uint16_t offset,
                                uint16_t limit) {
    char page[CLAUSE_SIZE] = "";
    if (limit != 0) {
        snprintf(page, sizeof(page), "LIMIT %u OFFSET %u", limit, offset);
    }
    return orindb_getContactArray(dbContext, contacts, count, "ORDER BY contactId %s", page);
}

int orindb_getContactArrayByIdPattern(DbContext* dbContext, uint16_t value, Contact** contacts, uint32_t* count) {
    return orindb_getContactArray(dbContext, contacts, count,
                                  "WHERE contactId & %i = %i AND (contactGrpBitfield & %d) = 0", LOW_BYTE, value,
                                  static_cast<int32_t>(ORINDB_SYSTEM_GROUPS));
}

int orindb_getContactArraySorted(DbContext* dbContext, Contact** contacts, uint32_t* count, int32_t key,
                                 uint32_t includeMask, uint32_t excludeMask, const char* furtherClause) {
    char include[CLAUSE_SIZE] = "";
    char exclude[CLAUSE_SIZE] = "";
    if (includeMask != 0) {
        snprintf(include, sizeof(include), "(ct.contactGrpBitfield & %u) > 0", includeMask);
    }
    if (excludeMask != 0) {
        snprintf(exclude, sizeof(exclude), "AND ((ct.contactGrpBitfield & %u) = 0)", excludeMask);
    }
    const JoinText sql(
        "SELECT %s FROM %s ct LEFT OUTER JOIN contactdetail cd ON ct.contactid=cd.contactid AND cd.key=%i WHERE "
        "(contactGrpBitfield & %d) = 0 %s %s %s %s ORDER BY cd.value,cd.key",
        "ct.contactId,ct.contactGrpBitfield", ORINDB_CONTACT_TABLE.name, key,
        static_cast<int32_t>(ORINDB_SYSTEM_GROUPS), includeMask != 0 ? "AND" : "", include, exclude,
        furtherClause != nullptr ? furtherClause : "");
    return orindb_selectArray(dbContext, ORINDB_CONTACT_TABLE, sql.get(), contacts, count, __func__);
}

int moveCtGrpIdInContacts(DbContext* dbContext, uint32_t fromBit, uint32_t toBit) {
    const char* contacts = ORINDB_CONTACT_TABLE.name;
    const auto from = static_cast<int32_t>(fromBit);
    // The bit that is set is written without a sign: the CSV group's would fill the stored number's upper half with
    // ones, and no query by group would find the contact again.
    const SelectText sql(
        "UPDATE %s SET contactGrpBitfield=contactGrpBitfield | %u WHERE contactGrpBitfield & %i > 0;UPDATE %s SET "
        "contactGrpBitfield=contactGrpBitfield & ~%i WHERE contactGrpBitfield & %i > 0",
        contacts, toBit, from, contacts, from, from);
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    return transaction.end(orindb_execute(dbContext, sql.get(), __func__));
}

int orindb_removeCtall(DbContext* dbContext) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() == ORINDB_OK) {
        static_cast<void>(transaction.end(removeAllRows(dbContext, __func__)));
        // Behind the commit, so that a reader who looks at once sees the new state, and a full queue locks nobody out.
        const DbMessage message{ORINDB_MSG_ALL_CONTACTS, ""};
        orindb_writeToMsgQueue(dbContext, &message);
    }
    return ORINDB_OK;
}

int orindb_removeCSVContacts(DbContext* dbContext) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    const char* contacts = ORINDB_CONTACT_TABLE.name;
    const DeleteText removeDetails(
        "DELETE FROM %s WHERE contactId IN    (SELECT DISTINCT contactId FROM %s WHERE contactGrpBitfield=%u)",
        ORINDB_CONTACT_DETAIL_TABLE.name, contacts, CONTACT_GROUP_CSV_IMPORT);
    result = orindb_execute(dbContext, removeDetails.get(), __func__);
    if (result == ORINDB_OK) {
        const DeleteText removeContacts("DELETE FROM %s WHERE contactGrpBitfield=%u", contacts,
                                        CONTACT_GROUP_CSV_IMPORT);
        result = orindb_execute(dbContext, removeContacts.get(), __func__);
    }
    return transaction.end(result);
}
