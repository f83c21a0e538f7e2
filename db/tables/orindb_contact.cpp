#include "orindb_contact.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orin_memory.h"
#include "orindb_callthrough.h"
#include "orindb_contactdetail.h"
#include "orindb_kwtn.h"
#include "orindb_teilnehmer.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_contact.c"};

constexpr char NAME[] = "Contact";
constexpr char SCHEMA[] =
    "CREATE TABLE Contact\n(\n"
    "    contactId           INTEGER(1),\n"
    "    contactGrpBitfield  INTEGER(1),\n"
    "    PRIMARY KEY(contactId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(Contact, contactId),
    ORINDB_COLUMN(Contact, contactGrpBitfield),
};

// Ids are drawn from 1 to 99999 and keep their low 16 bits: drawn so since the first PBX, and other programs do the
// same.
constexpr double ID_RANGE = 99998.0;

// Draws until an id is free; 0 is no contact. Returns ORINDB_NOT_FOUND with the free id, or the code of a failed read.
int drawFreeContactId(DbContext* dbContext, uint16_t* contactId) {
    int result = ORINDB_OK;
    while (result == ORINDB_OK) {
        *contactId = static_cast<uint16_t>(orindb_drawNumber(ID_RANGE));
        Contact existing{};
        result = *contactId == 0 ? ORINDB_OK : orindb_getKontakt(dbContext, *contactId, &existing);
    }
    return result;
}

int removeContactRows(DbContext* dbContext, uint16_t contactId) {
    int result = orindb_removeKwTnOfKwId(dbContext, contactId);
    if (result == ORINDB_OK) {
        result = orindb_deleteByNumber(dbContext, ORINDB_CONTACT_TABLE, "ContactId", contactId, "orindb_removeCt");
    }
    if (result == ORINDB_OK) {
        result = orindb_removeCtd(dbContext, contactId);
    }
    if (result == ORINDB_OK) {
        result = orindb_removeCallThrough(dbContext, contactId);
    }
    return result;
}

// Counts the contacts that have a bit in common with the mask and the subscriber's permitted groups at once.
int countInCommonGroup(DbContext* dbContext, uint32_t groupMask, uint16_t subscriberId, uint32_t* count) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    Contact* block = nullptr;
    uint32_t all = 0;
    int result = orindb_getContactArray(dbContext, &block, &all, "ORDER BY contactId");
    const Malloced<Contact> contacts(block);
    Teilnehmer subscriber{};
    if (result == ORINDB_OK) {
        result = orindb_getTeilnehmer(dbContext, subscriberId, &subscriber);
    }
    for (uint32_t i = 0; result == ORINDB_OK && i < all; ++i) {
        if ((block[i].contactGrpBitfield & groupMask & subscriber.contactGrpBitfield) != 0) {
            ++*count;
        }
    }
    return transaction.end(result);
}

}  // namespace

constexpr OrindbTable ORINDB_CONTACT_TABLE = orindb_describeTable<Contact, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createKontaktTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_CONTACT_TABLE, __func__);
}

int orindb_getKontakt(DbContext* dbContext, uint16_t contactId, Contact* contact) {
    return orindb_selectByNumber(dbContext, ORINDB_CONTACT_TABLE, "contactId", contactId, contact, __func__);
}

int orindb_getContactArray(DbContext* dbContext, Contact** contacts, uint32_t* count, const char* whereFormat, ...) {
    char where[ORINDB_SQL_WHERE];
    va_list arguments;
    va_start(arguments, whereFormat);
    orindb_vformatSql(where, sizeof(where), whereFormat, arguments);
    va_end(arguments);

    const OrindbTable& table = ORINDB_CONTACT_TABLE;
    const bool whole = strncmp(where, "SELECT", strlen("SELECT")) == 0;
    const SelectText sql = whole ? SelectText("%s", where) : orindb_listStatement(table, where, "ORDER BY contactId");
    return orindb_selectArray(dbContext, table, sql.get(), contacts, count, __func__);
}

int orindb_getContactArrayOfContactGroup(DbContext* dbContext, uint32_t groupMask, Contact** contacts,
                                         uint32_t* count) {
    return orindb_getContactArray(dbContext, contacts, count, "WHERE contactGrpBitfield & %i > 0",
                                  static_cast<int32_t>(groupMask));
}

uint16_t orindb_getContactIdByResourceName(DbContext* dbContext, const char* resourceName, uint32_t groupMask) {
    // The name goes in as it is: it comes from Google over verified TLS and holds letters, digits and '/' only.
    const SelectText sql(
        "SELECT %s FROM %s ct  JOIN contactdetail cd ON ct.contactid=cd.contactid AND cd.key=%i  WHERE "
        "(ct.contactGrpBitfield & %d) > 0 AND cd.value='%s'",
        "ct.contactId,ct.contactGrpBitfield", NAME, ORINDB_DETAIL_RESOURCE_NAME, static_cast<int32_t>(groupMask),
        resourceName);
    Contact* block = nullptr;
    uint32_t count = 0;
    const int result = orindb_selectArray(dbContext, ORINDB_CONTACT_TABLE, sql.get(), &block, &count, __func__);
    const Malloced<Contact> contacts(block);
    return result == ORINDB_OK && count > 0 ? block[0].contactId : uint16_t{0};
}

int orindb_createContact(DbContext* dbContext, uint32_t contactGrpBitfield, int32_t /*reserved*/, Contact* contact) {
    if (contact == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    uint16_t contactId = 0;
    const int drawn = drawFreeContactId(dbContext, &contactId);
    if (drawn != ORINDB_NOT_FOUND) {
        return transaction.end(drawn);
    }
    *contact = {contactId, contactGrpBitfield};
    return transaction.end(orindb_replaceKontakt(dbContext, contact));
}

int orindb_replaceKontakt(DbContext* dbContext, const Contact* contact) {
    return orindb_saveRecord(dbContext, ORINDB_CONTACT_TABLE, contact);
}

int orindb_removeCt(DbContext* dbContext, uint16_t contactId) {
    Contact contact{};
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result == ORINDB_OK) {
        result = orindb_getKontakt(dbContext, contactId, &contact);
        if (result == ORINDB_OK) {
            result = removeContactRows(dbContext, contactId);
        }
        result = transaction.end(result);
    }
    if (result != ORINDB_OK) {
        ORINLOG_FN(ORINLOG_DEBUG, "contactId=%i not removed DBError=%d", contactId, result);
    }
    // Sent whatever became of the rows: a reader that looks again is right in both cases.
    if (contact.contactGrpBitfield != 0) {
        const DbMessage message = orindb_contactMessage(ContactChange::removed, contactId, contact.contactGrpBitfield);
        orindb_writeToMsgQueue(dbContext, &message);
    }
    return ORINDB_OK;
}

int orindb_getNumberofallContact(DbContext* dbContext, uint32_t* count, uint16_t subscriberId) {
    if (count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    *count = 0;
    if (subscriberId == 0) {
        return orindb_getRowCount(dbContext, ORINDB_KONFIG, count, NAME, "WHERE (contactGrpBitfield & %d)=0",
                                  static_cast<int32_t>(ORINDB_SYSTEM_GROUPS));
    }
    return countInCommonGroup(dbContext, UINT32_MAX, subscriberId, count);
}

int orindb_getContactCountOfContactGroup(DbContext* dbContext, uint32_t groupMask, uint16_t leftOut, uint32_t* count) {
    if (count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    return orindb_getRowCount(dbContext, ORINDB_KONFIG, count, NAME,
                              "WHERE contactGrpBitfield & %u > 0 AND contactId<>%i", groupMask, leftOut);
}

int orindb_getContactCountVisibleToTn(DbContext* dbContext, uint32_t groupMask, uint32_t* count,
                                      uint16_t subscriberId) {
    if (count == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    *count = 0;
    return subscriberId == 0 ? orindb_getContactCountOfContactGroup(dbContext, groupMask, 0, count)
                             : countInCommonGroup(dbContext, groupMask, subscriberId, count);
}

DbMessage orindb_contactMessage(ContactChange change, uint16_t contactId, uint32_t groups) {
    DbMessage message{ORINDB_MSG_CONTACT_CHANGED, ""};
    snprintf(message.text, sizeof(message.text), "%u;%u;%i", static_cast<unsigned>(change), contactId,
             static_cast<int32_t>(groups));
    return message;
}

int orindb_findContactInArray(const Contact* contacts, uint32_t count, uint16_t contactId) {
    auto low = int16_t{0};
    auto high = static_cast<int16_t>(count - 1);
    auto probe = static_cast<int16_t>(high / 2);
    while (low <= high) {
        const uint16_t found = contacts[probe].contactId;
        if (found == contactId) {
            return probe;
        }
        if (contactId < found) {
            high = static_cast<int16_t>(probe - 1);
        } else if (probe == INT16_MAX) {
            return -1;
        } else {
            low = static_cast<int16_t>(probe + 1);
        }
        probe = static_cast<int16_t>(low + (high - low) / 2);
    }
    return -1;
}
