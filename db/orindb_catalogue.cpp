#include "orindb_catalogue.h"

#include <array>

#include "orindb_sqltext.h"

namespace {

// In the order of the change counters, from index 1 on. 28 is reserved; the names at 107 to 110 stand earlier as well
// and are never found here, but the counters of other programs rely on the length of the list.
constexpr std::array<std::string_view, 110> TABLES{
    "ActionUrl",
    "Alarm",
    "AllgIds",
    "Amt",
    "Amt_Konfig",
    "AmtLcrPrefix",
    "Anlagenzeit",
    "AudioFct",
    "AusnahmeRufNr",
    "AusnRufNrKonfig",
    "Autor",
    "AutoZentrale",
    "CallAcceptRule",
    "CallThrough",
    "ClipColp",
    "Contact",
    "ContactDetail",
    "ContactGroup",
    "CsvTemplate",
    "CsvHeadField",
    "CsvFieldType",
    "DbFileVersion",
    "DectBaseHw",
    "DectFktTaste",
    "DectPpHw",
    "DectBaseQM710",
    "Device",
    "",
    "DurchsageGeraet",
    "Feiertag",
    "FreigabeNr",
    "Freigabewerk",
    "GebKonto",
    "GesprDatEinst",
    "GesprDatFilter",
    "GesprDat",
    "GoogleServerConfig",
    "GrpProfil",
    "GrpProfilFlags",
    "Gruppe",
    "IAD",
    "IsdnAmt",
    "Kanal",
    "Konfigumsch",
    "Konfiguration",
    "Kw_Tn",
    "LangMap",
    "LdapServerConfig",
    "Makros",
    "MailServer",
    "MiscPrefs",
    "Module",
    "Msn",
    "Msn_Konfig",
    "MusikEinst",
    "N2nGroup",
    "N2nKeyValue",
    "N2nPattern",
    "N2nURL",
    "NonDosIp",
    "Notruf",
    "Password",
    "Port",
    "PortHw",
    "PotsAmt",
    "ProvBackupFile",
    "Relais",
    "CommChannel",
    "Relais_Konfig",
    "Routes",
    "Rufverteilung",
    "Schalteingang",
    "SeiteAuthor",
    "ServerConfig",
    "Sonstiges",
    "SlcrNetz",
    "SlcrGasse",
    "SlcrProvider",
    "SlcrDynRouting",
    "SlcrRoutingEntry",
    "SperrNr",
    "Sperrwerk",
    "SubscrOffer",
    "Teilnehmer",
    "TempVmdBox",
    "TnGesprDatEinst",
    "TnProfil",
    "TnProfilFlags",
    "TnWebItem",
    "Tn_Grp",
    "Tn_Konfig",
    "Tn_ProvFile",
    "Tn_VmfBox",
    "TuerRuf",
    "TuerRuf_Konfig",
    "TuerStation",
    "VoipAccountAmt",
    "VoipGlobals",
    "VoipProvider",
    "VmfBox",
    "VmfBoxProfil",
    "VmfBoxProfilFlags",
    "WebHideMsg",
    "Weckzeit",
    "WZentralen",
    "PbxMisc",
    "Freigabewerk",
    "Freigabewerk",
    "Sperrwerk",
    "Sperrwerk",
};
static_assert(TABLES[ORINDB_TABLE_CONTACT - 1] == "Contact" &&
              TABLES[ORINDB_TABLE_CONTACT_DETAIL - 1] == "ContactDetail");
static_assert(TABLES[ORINDB_TABLE_CONTACT_GROUP - 1] == "ContactGroup" && TABLES[105] == "PbxMisc");

}  // namespace

uint16_t orindb_tableIndex(std::string_view name) {
    for (size_t i = 0; i < TABLES.size(); ++i) {
        const std::string_view table = TABLES[i];
        if (!table.empty() && orindb_isSameName(table, name)) {
            return static_cast<uint16_t>(i + 1);
        }
    }
    return ORINDB_TABLE_UNKNOWN;
}

const char* orindb_tableName(uint16_t index) {
    return index >= 1 && index <= TABLES.size() ? TABLES[index - 1U].data() : "";
}
