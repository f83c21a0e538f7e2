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
    return orindb_selectByNumber(dbContext, ORINDB_TEILNEHMER_TABLE, "teilnehmerId", teilnehmerId, teilnehmer,
                                 __func__);
}
