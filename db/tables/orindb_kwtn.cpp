#include "orindb_kwtn.h"

namespace {

constexpr char NAME[] = "Kw_Tn";
constexpr char SCHEMA[] =
    "CREATE TABLE Kw_Tn\n(\n"
    "    kwTnId          INTEGER(1),\n"
    "    kwId            INTEGER(1),\n"
    "    teilnehmerId    INTEGER(1),\n"
    "    PRIMARY KEY(kwTnId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(KwTn, kwTnId),
    ORINDB_COLUMN(KwTn, kwId),
    ORINDB_COLUMN(KwTn, teilnehmerId),
};

}  // namespace

constexpr OrindbTable ORINDB_KW_TN_TABLE = orindb_describeTable<KwTn, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createKwTnTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_KW_TN_TABLE, __func__);
}

int orindb_removeKwTnOfKwId(DbContext* dbContext, uint16_t kwId) {
    return orindb_deleteByNumber(dbContext, ORINDB_KW_TN_TABLE, "kwId", kwId, __func__);
}

int orindb_removeKwTnAll(DbContext* dbContext) {
    return orindb_deleteAll(dbContext, ORINDB_KW_TN_TABLE, __func__);
}
