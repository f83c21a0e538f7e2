#include "orindb_sonstiges.h"

namespace {

constexpr char NAME[] = "Sonstiges";
constexpr char SCHEMA[] =
    "CREATE TABLE Sonstiges\n(\n"
    "    sonstigesId     INTEGER(1),\n"
    "    landVorwahl     VARCHAR(1),\n"
    "    ortVorwahl      VARCHAR(1),\n"
    "    nationalPrefix  VARCHAR(1),\n"
    "    PRIMARY KEY(sonstigesId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(Sonstiges, sonstigesId),
    ORINDB_COLUMN(Sonstiges, landVorwahl),
    ORINDB_COLUMN(Sonstiges, ortVorwahl),
    ORINDB_COLUMN(Sonstiges, nationalPrefix),
};

// A German PBX; its area code is not known.
int saveDefaults(DbContext* dbContext) {
    const Sonstiges germany{1, "49", "", "0"};
    return orindb_saveRecord(dbContext, ORINDB_SONSTIGES_TABLE, &germany);
}

}  // namespace

constexpr OrindbTable ORINDB_SONSTIGES_TABLE = orindb_describeTable<Sonstiges, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createSonstigesTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_SONSTIGES_TABLE, __func__, defaults, saveDefaults);
}

int orindb_getSonstiges(DbContext* dbContext, Sonstiges* sonstiges) {
    return orindb_selectOnly(dbContext, ORINDB_SONSTIGES_TABLE, sonstiges, __func__);
}
