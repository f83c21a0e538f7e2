#include "account_database.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "message.h"
#include "orin_datei_tools.h"
#include "orin_memory.h"
#include "orin_utf8.h"
#include "orindb_contactgroup.h"

namespace {

// What the libraries write to: databases and status files.
constexpr std::array WRITTEN{"/data/db", "/data/etc"};

bool mayWrite() {
    for (const char* directory : WRITTEN) {
        if (orin_fileExists(directory) && access(directory, W_OK) != 0) {
            account_error("no write access to %s (%s): this command needs it, run it as the user of the PBX", directory,
                          strerror(errno));
            return false;
        }
    }
    return true;
}

}  // namespace

Databases::Databases() {
    open_ =
        mayWrite() && account_succeeded(orindb_openAllDbsWithDefaultNames(&context_, nullptr, ORINDB_NOTIFY_CHANGES),
                                        "the databases cannot be opened");
}

Databases::~Databases() {
    if (open_) {
        orindb_closeAllDbs(&context_);
    }
}

bool account_readAll(DbContext* databases, std::vector<GoogleServerConf>& accounts) {
    GoogleServerConf* block = nullptr;
    uint32_t count = 0;
    const int result = orindb_getallDbGoogleServerConf(databases, &block, &count);
    const Malloced<GoogleServerConf> owner(block);
    accounts.assign(block, block + count);
    std::sort(accounts.begin(), accounts.end(), [](const GoogleServerConf& a, const GoogleServerConf& b) {
        return a.googleAccountId < b.googleAccountId;
    });
    return account_succeeded(result, "the accounts cannot be read");
}

bool account_readOfGroup(DbContext* databases, uint32_t group, GoogleServerConf& account) {
    db_initGoogleServerConf(&account);
    if (!account_succeeded(db_getDbGoogleServerConfCatId(databases, static_cast<int32_t>(group), &account),
                           "the account cannot be read")) {
        return false;
    }
    if (account.googleAccountId == 0) {
        account_error("contact group %u has no Google account", group);
        return false;
    }
    return true;
}

bool account_readContacts(DbContext* databases, uint32_t group, std::vector<Contact>& contacts) {
    Contact* block = nullptr;
    uint32_t count = 0;
    const int result = orindb_getContactArrayOfContactGroup(databases, group, &block, &count);
    const Malloced<Contact> owner(block);
    contacts.assign(block, block + count);
    return account_succeeded(result, "the contacts cannot be read");
}

bool account_readList(DbContext* databases, uint32_t group, PhoneList& list) {
    const std::string where = group != 0 ? "WHERE c.contactGrpBitfield & " + std::to_string(group) + " > 0" : "";
    ContactPartial* block = nullptr;
    uint16_t count = 0;
    const int result = orindb_getContactPartialsArray(databases, &block, &count, "%s", where.c_str());
    const Malloced<ContactPartial> owner(block);
    for (uint16_t i = 0; i < count; ++i) {
        orin_utf8_fix_tail(block[i].displayname);
        list.emplace(block[i].contactId, block[i]);
    }
    return account_succeeded(result, "the list of contacts cannot be read");
}

std::string account_groupName(DbContext* databases, uint32_t group) {
    ContactGroup row{};
    return orindb_getContactGroup(databases, group, &row) == ORINDB_OK ? row.name : "";
}
