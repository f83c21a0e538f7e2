#include "orindb_teilnehmer.h"

namespace {

constexpr char NAME[] = "Teilnehmer";
constexpr char SCHEMA[] =
    "CREATE TABLE Teilnehmer\n(\n"
    "    teilnehmerId        INTEGER(1),\n"
    "    contactGrpBitfield  INTEGER(1),\n"
    "    PRIMARY KEY(teilnehmerId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(Teilnehmer, teilnehmerId),
    ORINDB_COLUMN(Teilnehmer, contactGrpBitfield),
};

}  // namespace

constexpr OrindbTable ORINDB_TEILNEHMER_TABLE = orindb_describeTable<Teilnehmer, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createTeilnehmerTable(DbContext* dbContext) {
    return orindb_createTable(dbContext, ORINDB_TEILNEHMER_TABLE, __func__);
}

int orindb_getTeilnehmer(DbContext* dbContext, uint16_t teilnehmerId, Teilnehmer* teilnehmer) {
    const OrindbTable& table = ORINDB_TEILNEHMER_TABLE;
    const SelectText sql("SELECT %s FROM %s WHERE teilnehmerId=%i", table.columnList, table.name, teilnehmerId);
    return orindb_selectOne(dbContext, table, sql.get(), teilnehmer, __func__);
}
