#include "orindb_dectpphw.h"

namespace {

constexpr char NAME[] = "DectPpHw";
constexpr char SCHEMA[] =
    "CREATE TABLE DectPpHw\n(\n"
    "    dectPpHwId      INTEGER(1),\n"
    "    dectBaseHwId    INTEGER(1),\n"
    "    ppNr            INTEGER(1),\n"
    "    teilnehmerId    INTEGER(1),\n"
    "    PRIMARY KEY(dectPpHwId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(DectPpHw, dectPpHwId),
    ORINDB_COLUMN(DectPpHw, dectBaseHwId),
    ORINDB_COLUMN(DectPpHw, ppNr),
    ORINDB_COLUMN(DectPpHw, teilnehmerId),
};

}  // namespace

constexpr OrindbTable ORINDB_DECT_PP_HW_TABLE = orindb_describeTable<DectPpHw, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createDectPpHwTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_DECT_PP_HW_TABLE, __func__, defaults);
}

int orindb_getDectPpHwArrayForDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId, DectPpHw** places,
                                         uint16_t* count) {
    const OrindbTable& table = ORINDB_DECT_PP_HW_TABLE;
    const SelectText sql("SELECT %s FROM %s WHERE dectBaseHwId=%i ORDER BY ppNr", table.columnList, table.name,
                         dectBaseHwId);
    return orindb_selectArray(dbContext, table, sql.get(), places, count, __func__);
}

int orindb_createDectPpHwForDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    for (uint16_t i = 0; i < DECT_PPS_OF_BASE && result == ORINDB_OK; ++i) {
        const DectPpHw place{uint32_t{dectBaseHwId} * DECT_PPS_OF_BASE + i, dectBaseHwId, static_cast<uint8_t>(i + 1),
                             0};
        result = orindb_saveDectPpHw(dbContext, &place);
    }
    return transaction.end(result);
}

int orindb_saveDectPpHw(DbContext* dbContext, const DectPpHw* place) {
    if (place == nullptr || place->dectBaseHwId == 0) {
        return orindb_invalidParameter(__func__);
    }
    return orindb_saveRecord(dbContext, ORINDB_DECT_PP_HW_TABLE, place);
}

int orindb_removeDectPpHwOfDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId) {
    return orindb_deleteByNumber(dbContext, ORINDB_DECT_PP_HW_TABLE, "dectBaseHwId", dectBaseHwId, __func__);
}
