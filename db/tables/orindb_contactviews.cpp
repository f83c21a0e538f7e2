#include "orindb_contactviews.h"

#include "orindb_contactdetail.h"
#include "orindb_contactgroup.h"

namespace {

constexpr char NAMES[] = "ContactNames";
constexpr char NAMES_SCHEMA[] =
    "CREATE TABLE ContactNames\n(\n"
    "    contactId       INTEGER(1),\n"
    "    givenName       VARCHAR(1),\n"
    "    familyName      VARCHAR(1),\n"
    "    sortName        VARCHAR(1),\n"
    "    PRIMARY KEY(contactId))\n";
constexpr std::array NAMES_COLUMNS{
    ORINDB_COLUMN(ContactNames, contactId),
    ORINDB_COLUMN(ContactNames, givenName),
    ORINDB_COLUMN(ContactNames, familyName),
    ORINDB_COLUMN(ContactNames, sortName),
};

// A contact may have an internal number and a first phone number, both with index 0: there is no key.
constexpr char PHONES[] = "ContactPhones";
constexpr char PHONES_SCHEMA[] =
    "CREATE TABLE ContactPhones\n(\n"
    "    contactId       INTEGER(1),\n"
    "    phoneIndex      INTEGER(1),\n"
    "    number          VARCHAR(1),\n"
    "    type            VARCHAR(1),\n"
    "    label           VARCHAR(1),\n"
    "    canonicalNumber VARCHAR(1))\n";
constexpr std::array PHONES_COLUMNS{
    ORINDB_COLUMN(ContactPhones, contactId), ORINDB_COLUMN(ContactPhones, phoneIndex),
    ORINDB_COLUMN(ContactPhones, number),    ORINDB_COLUMN(ContactPhones, type),
    ORINDB_COLUMN(ContactPhones, label),     ORINDB_COLUMN(ContactPhones, canonicalNumber),
};

constexpr char SPEED_DIAL_VIEW[] = "Telefonbuch1View";

int insertPhones(DbContext* dbContext, int index, const char* caller) {
    const JoinText sql(
        "INSERT INTO %s SELECT n.contactId, %d, n.value, SUBSTR(t.value,1,1), NULLIF(SUBSTR(t.value,3),''), c.value "
        "FROM ContactDetail n LEFT JOIN ContactDetail t ON t.contactId=n.contactId AND t.key=%d "
        "LEFT JOIN ContactDetail c ON c.contactId=n.contactId AND c.key=%d WHERE n.key=%d",
        PHONES, index, ORINDB_DETAIL_PHONE_TYPE + index, ORINDB_DETAIL_CANONICAL_PHONE + index,
        ORINDB_DETAIL_PHONE + index);
    return orindb_execute(dbContext, sql.get(), caller);
}

int fillPhones(DbContext* dbContext, const char* caller) {
    const DeleteText clear("DELETE FROM %s", PHONES);
    int result = orindb_execute(dbContext, clear.get(), caller);
    for (int index = 0; index < ORINDB_PHONES && result == ORINDB_OK; ++index) {
        result = insertPhones(dbContext, index, caller);
    }
    if (result != ORINDB_OK) {
        return result;
    }
    const SelectText internal(
        "INSERT INTO %s SELECT contactId, 0, value, '0', 'internal number', NULL FROM ContactDetail WHERE key=%d",
        PHONES, ORINDB_DETAIL_INTERNAL_NUMBER);
    return orindb_execute(dbContext, internal.get(), caller);
}

int fillNames(DbContext* dbContext, const char* caller) {
    const DeleteText clear("DELETE FROM %s", NAMES);
    const int result = orindb_execute(dbContext, clear.get(), caller);
    if (result != ORINDB_OK) {
        return result;
    }
    const JoinText sql(
        "INSERT INTO %s SELECT ct.contactId, g.value, f.value, COALESCE(d.value,f.value,g.value,o.value) FROM Contact "
        "ct "
        "LEFT JOIN ContactDetail g ON g.contactId=ct.contactId AND g.key=%d "
        "LEFT JOIN ContactDetail f ON f.contactId=ct.contactId AND f.key=%d "
        "LEFT JOIN ContactDetail d ON d.contactId=ct.contactId AND d.key=%d "
        "LEFT JOIN ContactDetail o ON o.contactId=ct.contactId AND o.key=%d",
        NAMES, ORINDB_DETAIL_GIVEN_NAME, ORINDB_DETAIL_FAMILY_NAME, ORINDB_DETAIL_DISPLAY_NAME,
        ORINDB_DETAIL_ORGANISATION);
    return orindb_execute(dbContext, sql.get(), caller);
}

int inTransaction(DbContext* dbContext, int (*fill)(DbContext*, const char*), const char* caller) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    if (transaction.begun() != ORINDB_OK) {
        return transaction.begun();
    }
    return transaction.end(fill(dbContext, caller));
}

}  // namespace

constexpr OrindbTable ORINDB_CONTACT_NAMES_TABLE =
    orindb_describeTable<ContactNames, NAMES, NAMES_COLUMNS>(ORINDB_KONFIG, NAMES_SCHEMA);
constexpr OrindbTable ORINDB_CONTACT_PHONES_TABLE =
    orindb_describeTable<ContactPhones, PHONES, PHONES_COLUMNS>(ORINDB_KONFIG, PHONES_SCHEMA);

int orindb_createContactNamesTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_CONTACT_NAMES_TABLE, __func__);
}

int orindb_createContactPhonesTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_CONTACT_PHONES_TABLE, __func__);
}

int orindb_createDbViews(DbContext* dbContext, int dbType) {
    if (dbType != ORINDB_KONFIG) {
        return ORINDB_OK;
    }
    const JoinText sql(
        "CREATE VIEW %s AS SELECT ct.contactId AS kwId, ct.contactGrpBitfield AS contactGrpBitfield, "
        "n.value AS kwNr, z.value AS zielNummer, c.value AS zielNrCanonical, d.value AS kwName, "
        "t.contactId IS NOT NULL AS callThroughtKw, IFNULL(t.useSperrwerk,0) AS callThroughtKwSperr FROM Contact ct "
        "LEFT JOIN ContactDetail n ON n.contactId=ct.contactId AND n.key=%d "
        "LEFT JOIN ContactDetail z ON z.contactId=ct.contactId AND z.key=%d "
        "LEFT JOIN ContactDetail c ON c.contactId=ct.contactId AND c.key=%d "
        "LEFT JOIN ContactDetail d ON d.contactId=ct.contactId AND d.key=%d "
        "LEFT JOIN CallThrough t ON t.contactId=ct.contactId WHERE ct.contactGrpBitfield & %u > 0",
        SPEED_DIAL_VIEW, ORINDB_DETAIL_SHORT_NUMBER, ORINDB_DETAIL_PHONE, ORINDB_DETAIL_CANONICAL_PHONE,
        ORINDB_DETAIL_DISPLAY_NAME, CONTACT_GROUP_SPEED_DIAL);
    return orindb_execute(dbContext, sql.get(), __func__);
}

bool orindb_isKnownView(int dbType, std::string_view name) {
    return dbType == ORINDB_KONFIG && orindb_isSameName(name, SPEED_DIAL_VIEW);
}

int orindb_updateContactNames(DbContext* dbContext) {
    return inTransaction(dbContext, fillNames, __func__);
}

int orindb_updateContactPhones(DbContext* dbContext) {
    return inTransaction(dbContext, fillPhones, __func__);
}
