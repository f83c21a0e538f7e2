#include "orindb_gesprdat.h"

namespace {

constexpr char NAME[] = "GesprDat";
constexpr char SCHEMA[] =
    "CREATE TABLE GesprDat\n(\n"
    "    gesprDatId      INTEGER(1),\n"
    "    beginn          VARCHAR(1),\n"
    "    dauer           INTEGER(1),\n"
    "    richtung        INTEGER(1),\n"
    "    teilnehmerId    INTEGER(1),\n"
    "    rufnummer       VARCHAR(1),\n"
    "    contactId       INTEGER(1),\n"
    "    PRIMARY KEY(gesprDatId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(GesprDat, gesprDatId), ORINDB_COLUMN(GesprDat, beginn),       ORINDB_COLUMN(GesprDat, dauer),
    ORINDB_COLUMN(GesprDat, richtung),   ORINDB_COLUMN(GesprDat, teilnehmerId), ORINDB_COLUMN(GesprDat, rufnummer),
    ORINDB_COLUMN(GesprDat, contactId),
};

int nextId(DbContext* dbContext, uint32_t* gesprDatId) {
    OrindbRowContext row{};
    const SelectText sql("SELECT MAX(gesprDatId) FROM %s", NAME);
    const int result =
        _orindb_execDb(dbContext, ORINDB_CALL_RECORDS, sql.get(), orindb_rowCallback, &row, "orindb_saveGesprDat");
    *gesprDatId = static_cast<uint32_t>(row.count) + 1;
    return result;
}

}  // namespace

constexpr OrindbTable ORINDB_GESPR_DAT_TABLE =
    orindb_describeTable<GesprDat, NAME, COLUMNS>(ORINDB_CALL_RECORDS, SCHEMA);

int orindb_createGesprDatTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_GESPR_DAT_TABLE, __func__, defaults);
}

int orindb_getGesprDat(DbContext* dbContext, uint32_t gesprDatId, GesprDat* call) {
    return orindb_selectByNumber(dbContext, ORINDB_GESPR_DAT_TABLE, "gesprDatId", gesprDatId, call, __func__);
}

int orindb_getGesprDatAll(DbContext* dbContext, GesprDat** calls, uint16_t* count) {
    const OrindbTable& table = ORINDB_GESPR_DAT_TABLE;
    const SelectText sql("SELECT %s FROM %s ORDER BY gesprDatId DESC LIMIT %d", table.columnList, table.name,
                         UINT16_MAX);
    return orindb_selectArray(dbContext, table, sql.get(), calls, count, __func__);
}

int orindb_saveGesprDat(DbContext* dbContext, GesprDat* call) {
    if (call == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, ORINDB_CALL_RECORDS);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    if (call->gesprDatId == 0) {
        result = nextId(dbContext, &call->gesprDatId);
    }
    if (result == ORINDB_OK) {
        result = orindb_saveRecord(dbContext, ORINDB_GESPR_DAT_TABLE, call);
    }
    return transaction.end(result);
}

int orindb_removeGesprDat(DbContext* dbContext, uint32_t gesprDatId) {
    return orindb_deleteByNumber(dbContext, ORINDB_GESPR_DAT_TABLE, "gesprDatId", gesprDatId, __func__);
}
