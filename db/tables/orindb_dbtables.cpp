#include "orindb_dbtables.h"

#include "db_googleserverconf.h"
#include "orindb_autor.h"
#include "orindb_callthrough.h"
#include "orindb_contact.h"
#include "orindb_contactdetail.h"
#include "orindb_contactgroup.h"
#include "orindb_contactviews.h"
#include "orindb_dectbasehw.h"
#include "orindb_dectpphw.h"
#include "orindb_gesprdat.h"
#include "orindb_kwtn.h"
#include "orindb_pbxmisc.h"
#include "orindb_sonstiges.h"
#include "orindb_teilnehmer.h"
#include "orindb_version.h"

namespace {

// A table without default rows.
template <int (*CREATE)(DbContext*)>
int withoutDefaults(DbContext* dbContext, OrindbDefaults /*defaults*/) {
    return CREATE(dbContext);
}

constexpr auto part = OrindbTableShare::part;

constexpr std::array KNOWN_TABLES{
    OrindbKnownTable{&ORINDB_AUTOR_TABLE, orindb_createAutorTable, part},
    OrindbKnownTable{&ORINDB_SONSTIGES_TABLE, orindb_createSonstigesTable, part},
    OrindbKnownTable{&ORINDB_TEILNEHMER_TABLE, withoutDefaults<orindb_createTeilnehmerTable>, part},
    OrindbKnownTable{&ORINDB_CALL_THROUGH_TABLE, withoutDefaults<orindb_createCallThroughTable>, part},
    OrindbKnownTable{&ORINDB_KW_TN_TABLE, withoutDefaults<orindb_createKwTnTable>, part},
    OrindbKnownTable{&ORINDB_CONTACT_GROUP_TABLE, orindb_createContactGroupTable},
    OrindbKnownTable{&ORINDB_CONTACT_TABLE, withoutDefaults<orindb_createKontaktTable>},
    OrindbKnownTable{&ORINDB_CONTACT_DETAIL_TABLE, withoutDefaults<orindb_createKontaktDetailTable>},
    OrindbKnownTable{&ORINDB_CONTACT_NAMES_TABLE, withoutDefaults<orindb_createContactNamesTable>},
    OrindbKnownTable{&ORINDB_CONTACT_PHONES_TABLE, withoutDefaults<orindb_createContactPhonesTable>},
    OrindbKnownTable{&ORINDB_GOOGLE_SERVER_CONF_TABLE, withoutDefaults<db_createGoogleServerConfTable>},
    OrindbKnownTable{&ORINDB_DECT_BASE_HW_TABLE, orindb_createDectBaseHwTable},
    OrindbKnownTable{&ORINDB_DECT_PP_HW_TABLE, orindb_createDectPpHwTable},
    OrindbKnownTable{&ORINDB_GESPR_DAT_TABLE, orindb_createGesprDatTable},
    OrindbKnownTable{&ORINDB_PBX_MISC_TABLE, orindb_createPbxMiscTable},
};

}  // namespace

std::span<const OrindbKnownTable> orindb_knownTables() {
    return KNOWN_TABLES;
}

const OrindbKnownTable* orindb_findKnownTable(int dbType, std::string_view name) {
    for (const OrindbKnownTable& known : KNOWN_TABLES) {
        if (known.table->dbType == dbType && orindb_isSameName(known.table->name, name)) {
            return &known;
        }
    }
    return nullptr;
}

int orindb_createDbTables(DbContext* dbContext, int dbType, OrindbDefaults defaults) {
    Transaction transaction(dbContext, dbType);
    int result = transaction.begun();
    if (result != ORINDB_OK) {
        return result;
    }
    DbHandle& handle = dbContext->handles[dbType];
    result = db_dropAllTablesViewsAndIndizes(&handle);
    for (const OrindbKnownTable& known : KNOWN_TABLES) {
        if (result == ORINDB_OK && known.table->dbType == dbType) {
            result = known.create(dbContext, defaults);
        }
    }
    if (result == ORINDB_OK) {
        result = orindb_createDbViews(dbContext, dbType);
    }
    if (result == ORINDB_OK) {
        result = orindb_setClientVersionInDbFile(dbContext, dbType, handle.clientVersion, handle.clientMinorVersion);
    }
    return transaction.end(result);
}
