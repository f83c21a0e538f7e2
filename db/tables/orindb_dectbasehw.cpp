#include "orindb_dectbasehw.h"

#include <cstdlib>

#include "orindb_dectpphw.h"

namespace {

constexpr char NAME[] = "DectBaseHw";
constexpr char SCHEMA[] =
    "CREATE TABLE DectBaseHw\n(\n"
    "    dectBaseHwId    INTEGER(1),\n"
    "    version         VARCHAR(1),\n"
    "    slot            INTEGER(1),\n"
    "    port            INTEGER(1),\n"
    "    name            VARCHAR(1),\n"
    "    anmeldeModus    INTEGER(1),\n"
    "    PRIMARY KEY(dectBaseHwId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(DectBaseHw, dectBaseHwId), ORINDB_COLUMN(DectBaseHw, version),
    ORINDB_COLUMN(DectBaseHw, slot),         ORINDB_COLUMN(DectBaseHw, port),
    ORINDB_COLUMN(DectBaseHw, name),         ORINDB_COLUMN(DectBaseHw, anmeldeModus),
};

constexpr double ID_RANGE = 9998.0;

// Gives the record the id of the base in the same place, or a free one.
int assignId(DbContext* dbContext, DectBaseHw* base) {
    DectBaseHw existing{};
    int result = getDectBaseHwBySlotAndPort(dbContext, base->slot, base->port, &existing);
    if (result == ORINDB_OK) {
        base->dectBaseHwId = existing.dectBaseHwId;
    }
    if (result != ORINDB_NOT_FOUND) {
        return result;
    }
    do {
        base->dectBaseHwId = static_cast<uint16_t>(orindb_drawNumber(ID_RANGE));
        result = orindb_getDectBaseHw(dbContext, base->dectBaseHwId, &existing);
    } while (result == ORINDB_OK);
    return result == ORINDB_NOT_FOUND ? ORINDB_OK : result;
}

int checkPlaces(DbContext* dbContext, uint16_t dectBaseHwId) {
    DectPpHw* places = nullptr;
    uint16_t count = 0;
    const int result = orindb_getDectPpHwArrayForDectBaseHw(dbContext, dectBaseHwId, &places, &count);
    free(places);
    if (result != ORINDB_OK) {
        return result;
    }
    if (count == 0) {
        return orindb_createDectPpHwForDectBaseHw(dbContext, dectBaseHwId);
    }
    return count == DECT_PPS_OF_BASE ? ORINDB_OK : ORINDB_NOT_FOUND;
}

}  // namespace

constexpr OrindbTable ORINDB_DECT_BASE_HW_TABLE =
    orindb_describeTable<DectBaseHw, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createDectBaseHwTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_DECT_BASE_HW_TABLE, __func__, defaults);
}

int orindb_getDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId, DectBaseHw* base) {
    return orindb_selectByNumber(dbContext, ORINDB_DECT_BASE_HW_TABLE, "dectBaseHwId", dectBaseHwId, base, __func__);
}

int getDectBaseHwBySlotAndPort(DbContext* dbContext, uint16_t slot, uint16_t port, DectBaseHw* base) {
    const OrindbTable& table = ORINDB_DECT_BASE_HW_TABLE;
    const SelectText sql("SELECT %s FROM %s WHERE slot=%i AND port=%i", table.columnList, table.name, slot, port);
    // No key keeps two bases from one place: the last one counts.
    uint32_t count = 0;
    const int result = orindb_selectRecord(dbContext, table, sql.get(), base, &count, __func__);
    return result == ORINDB_OK && count == 0 ? ORINDB_NOT_FOUND : result;
}

int orindb_getDectBaseHwAll(DbContext* dbContext, DectBaseHw** bases, uint16_t* count) {
    const OrindbTable& table = ORINDB_DECT_BASE_HW_TABLE;
    const SelectText sql("SELECT %s FROM %s ORDER BY slot, port", table.columnList, table.name);
    return orindb_selectArray(dbContext, table, sql.get(), bases, count, __func__);
}

int orindb_getDectBaseHwWithoutTn(DbContext* dbContext, DectBaseHw** bases, uint16_t* count) {
    const OrindbTable& table = ORINDB_DECT_BASE_HW_TABLE;
    const JoinText sql(
        "SELECT %s FROM %s WHERE dectBaseHwId NOT IN (SELECT dectBaseHwId FROM %s WHERE teilnehmerId<>0) "
        "ORDER BY slot, port",
        table.columnList, table.name, ORINDB_DECT_PP_HW_TABLE.name);
    return orindb_selectArray(dbContext, table, sql.get(), bases, count, __func__);
}

int orindb_saveDectBaseHw(DbContext* dbContext, DectBaseHw* base) {
    if (base == nullptr) {
        return orindb_invalidParameter(__func__);
    }
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    result = assignId(dbContext, base);
    if (result == ORINDB_OK) {
        result = orindb_saveRecord(dbContext, ORINDB_DECT_BASE_HW_TABLE, base);
    }
    if (result == ORINDB_OK) {
        result = checkPlaces(dbContext, base->dectBaseHwId);
    }
    return transaction.end(result);
}

int orindb_removeDectBaseHw(DbContext* dbContext, uint16_t dectBaseHwId) {
    Transaction transaction(dbContext, ORINDB_KONFIG);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    result = orindb_removeDectPpHwOfDectBaseHw(dbContext, dectBaseHwId);
    if (result == ORINDB_OK) {
        result = orindb_deleteByNumber(dbContext, ORINDB_DECT_BASE_HW_TABLE, "dectBaseHwId", dectBaseHwId, __func__);
    }
    return transaction.end(result);
}
