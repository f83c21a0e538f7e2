#include "orindb_autor.h"

namespace {

constexpr char NAME[] = "Autor";
constexpr char SCHEMA[] =
    "CREATE TABLE Autor\n(\n"
    "    autorId     INTEGER(1),\n"
    "    adminNVVN   INTEGER(1),\n"
    "    PRIMARY KEY(autorId))\n";
constexpr std::array COLUMNS{
    ORINDB_COLUMN(Autor, autorId),
    ORINDB_COLUMN(Autor, adminNVVN),
};

int saveDefaults(DbContext* dbContext) {
    const Autor autor{1, 0};
    return orindb_saveRecord(dbContext, ORINDB_AUTOR_TABLE, &autor);
}

}  // namespace

constexpr OrindbTable ORINDB_AUTOR_TABLE = orindb_describeTable<Autor, NAME, COLUMNS>(ORINDB_KONFIG, SCHEMA);

int orindb_createAutorTable(DbContext* dbContext, OrindbDefaults defaults) {
    return orindb_createTable(dbContext, ORINDB_AUTOR_TABLE, __func__, defaults, saveDefaults);
}

int orindb_getAutor(DbContext* dbContext, Autor* autor) {
    return orindb_selectOnly(dbContext, ORINDB_AUTOR_TABLE, autor, __func__);
}
