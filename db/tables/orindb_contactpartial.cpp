#include "orindb_contactpartial.h"

#include <cstdarg>
#include <cstring>

#include "orindb_contactdetail.h"

namespace {

constexpr char NAME[] = "contact";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(ContactPartial, contactId),    ORINDB_COLUMN(ContactPartial, contactGrpBitfield),
    ORINDB_COLUMN(ContactPartial, shortNr),      ORINDB_COLUMN(ContactPartial, phoneNr1),
    ORINDB_COLUMN(ContactPartial, phoneNr2),     ORINDB_COLUMN(ContactPartial, phoneNr3),
    ORINDB_COLUMN(ContactPartial, phoneNr4),     ORINDB_COLUMN(ContactPartial, displayname),
    ORINDB_COLUMN(ContactPartial, callThrought), ORINDB_COLUMN(ContactPartial, callThroughtSperr),
};
constexpr OrindbTable LIST = orindb_describeTable<ContactPartial, NAME, COLUMNS>(ORINDB_KONFIG, nullptr);

}  // namespace

int orindb_getContactPartialsArray(DbContext* dbContext, ContactPartial** partials, uint16_t* count,
                                   const char* whereFormat, ...) {
    char where[ORINDB_SQL_WHERE];
    va_list arguments;
    va_start(arguments, whereFormat);
    orindb_vformatSql(where, sizeof(where), whereFormat, arguments);
    va_end(arguments);

    const JoinText sql(
        "SELECT c.contactId AS contactID, c.contactGrpBitfield AS contactGrpBitfield, "
        "IFNULL(s.value,'') AS shortNr, IFNULL(p1.value,'') AS phoneNr1, IFNULL(p2.value,'') AS phoneNr2, "
        "IFNULL(p3.value,'') AS phoneNr3, IFNULL(p4.value,'') AS phoneNr4, IFNULL(d.value,'') AS displayname, "
        "ct.contactId IS NOT NULL AS callThrought, IFNULL(ct.useSperrwerk,0) AS callThroughtSperr FROM %s c "
        "LEFT JOIN ContactDetail s ON s.contactId=c.contactId AND s.key=%d "
        "LEFT JOIN ContactDetail p1 ON p1.contactId=c.contactId AND p1.key=%d "
        "LEFT JOIN ContactDetail p2 ON p2.contactId=c.contactId AND p2.key=%d "
        "LEFT JOIN ContactDetail p3 ON p3.contactId=c.contactId AND p3.key=%d "
        "LEFT JOIN ContactDetail p4 ON p4.contactId=c.contactId AND p4.key=%d "
        "LEFT JOIN ContactDetail d ON d.contactId=c.contactId AND d.key=%d "
        "LEFT JOIN CallThrough ct ON ct.contactId=c.contactId %s %s",
        NAME, ORINDB_DETAIL_SHORT_NUMBER, ORINDB_DETAIL_PHONE, ORINDB_DETAIL_PHONE + 1, ORINDB_DETAIL_PHONE + 2,
        ORINDB_DETAIL_PHONE + 3, ORINDB_DETAIL_DISPLAY_NAME, where,
        strstr(where, "ORDER BY") != nullptr ? "" : "ORDER BY phoneNr1");
    return orindb_selectArray(dbContext, LIST, sql.get(), partials, count, __func__);
}
