#include "orindb_callthrough.h"

namespace {

constexpr char NAME[] = "CallThrough";
constexpr char SCHEMA[] =
    "CREATE TABLE CallThrough\n(\n"
    "    contactId       INTEGER(1),\n"
    "    useSperrwerk    INTEGER(1),\n"
    "    PRIMARY KEY(contactId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(CallThrough, contactId),
    ORINDB_COLUMN(CallThrough, useSperrwerk),
};

}  // namespace

constexpr OrindbTable ORINDB_CALL_THROUGH_TABLE =
    orindb_describeTable<CallThrough, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createCallThroughTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_CALL_THROUGH_TABLE, __func__);
}

int orindb_removeCallThrough(DbContext* dbContext, uint16_t contactId) {
    return orindb_deleteByNumber(dbContext, ORINDB_CALL_THROUGH_TABLE, "contactId", contactId, __func__);
}

int orindb_removeAllCallThrough(DbContext* dbContext) {
    return orindb_deleteAll(dbContext, ORINDB_CALL_THROUGH_TABLE, __func__);
}
