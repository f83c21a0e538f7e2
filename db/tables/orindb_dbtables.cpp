#include "orindb_dbtables.h"

#include "db_googleserverconf.h"
#include "orindb_autor.h"
#include "orindb_callthrough.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"
#include "orindb_contactgroup.h"
#include "orindb_kwtn.h"
#include "orindb_pbxmisc.h"
#include "orindb_sonstiges.h"
#include "orindb_teilnehmer.h"
#include "orindb_version.h"

namespace {

struct TableCreator {
    int dbType;
    int (*create)(DbContext* dbContext, OrindbDefaults defaults);
};

// A table without default rows.
template <int (*CREATE)(DbContext*)>
int withoutDefaults(DbContext* dbContext, OrindbDefaults /*defaults*/) {
    return CREATE(dbContext);
}

constexpr std::array CREATORS{
    TableCreator{ORINDB_KONFIG, orindb_createAutorTable},
    TableCreator{ORINDB_KONFIG, orindb_createSonstigesTable},
    TableCreator{ORINDB_KONFIG, withoutDefaults<orindb_createTeilnehmerTable>},
    TableCreator{ORINDB_KONFIG, withoutDefaults<orindb_createCallThroughTable>},
    TableCreator{ORINDB_KONFIG, withoutDefaults<orindb_createKwTnTable>},
    TableCreator{ORINDB_KONFIG, orindb_createContactGroupTable},
    TableCreator{ORINDB_KONFIG, withoutDefaults<orindb_createKontaktTable>},
    TableCreator{ORINDB_KONFIG, withoutDefaults<orindb_createKontaktDetailTable>},
    TableCreator{ORINDB_KONFIG, withoutDefaults<db_createGoogleServerConfTable>},
    TableCreator{ORINDB_PBX, orindb_createPbxMiscTable},
};

}  // namespace

int orindb_createDbTables(DbContext* dbContext, int dbType, OrindbDefaults defaults) {
    Transaction transaction(dbContext, dbType);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    DbHandle& handle = dbContext->handles[dbType];
    result = db_dropAllTablesViewsAndIndizes(&handle);
    for (const TableCreator& creator : CREATORS) {
        if (result == ORINDB_OK && creator.dbType == dbType) {
            result = creator.create(dbContext, defaults);
        }
    }
    if (result == ORINDB_OK) {
        result = orindb_setClientVersionInDbFile(dbContext, dbType, handle.clientVersion, handle.clientMinorVersion);
    }
    return transaction.end(result);
}
