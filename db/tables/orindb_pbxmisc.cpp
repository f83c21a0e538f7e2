#include "orindb_pbxmisc.h"

#include "orin_stringutils.h"

namespace {

constexpr char NAME[] = "PbxMisc";
constexpr char SCHEMA[] =
    "CREATE TABLE PbxMisc\n(\n"
    "    key     VARCHAR(1),\n"
    "    value   VARCHAR(1),\n"
    "    PRIMARY KEY(key))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(PbxMisc, key),
    ORINDB_COLUMN(PbxMisc, value),
};

int saveDefaults(DbContext* dbContext) {
    PbxMisc germany{};
    orin_strncpy(germany.key, PBX_MISC_COUNTRY);
    orin_strncpy(germany.value, "49");
    return orindb_saveRecord(dbContext, ORINDB_PBX_MISC_TABLE, &germany);
}

}  // namespace

constexpr OrindbTable ORINDB_PBX_MISC_TABLE = orindb_describeTable<PbxMisc, NAME, COLUMNS>(ORINDB_PBX, SCHEMA);

int orindb_createPbxMiscTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_PBX_MISC_TABLE, __func__, defaults, saveDefaults);
}

int orindb_getPbxMisc(DbContext* dbContext, const char* key, char* value, int32_t size) {
    const OrindbTable& table = ORINDB_PBX_MISC_TABLE;
    const SelectText sql("SELECT %s FROM %s WHERE key='%s'", table.columnList, table.name, key);
    PbxMisc setting{};
    const int result = orindb_selectOne(dbContext, table, sql.get(), &setting, __func__);
    if (result == ORINDB_OK) {
        orin_strncpy(value, setting.value, size);
    }
    return result;
}
