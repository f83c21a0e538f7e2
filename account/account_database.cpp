#include "account_database.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "orin_datei_tools.h"
#include "orin_guards.h"
#include "orin_utf8.h"

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

// Leads the standard output to the standard error stream: an operator who is told of a conversion there must not find
// it in front of a command's result.
class OutputLedAside {
  public:
    OutputLedAside() : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        lead(STDERR_FILENO);
    }
    ~OutputLedAside() {
        lead(output_.get());
    }
    OutputLedAside(const OutputLedAside&) = delete;
    OutputLedAside& operator=(const OutputLedAside&) = delete;

  private:
    void lead(int target) const {
        fflush(stdout);
        if (output_) {
            dup2(target, STDOUT_FILENO);
        }
    }

    Descriptor output_;
};

}  // namespace

Databases::Databases(DatabaseUse use) {
    const bool announces = use == DatabaseUse::change;
    if (!mayWrite()) {
        return;
    }
    if (announces) {
        keeper_.emplace(QueueMessages::makeRoom);
    }
    const OutputLedAside aside;
    open_ =
        account_succeeded(orindb_openAllDbsWithDefaultNames(&context_, nullptr, announces ? ORINDB_NOTIFY_CHANGES : 0),
                          "the databases cannot be opened");
}

Databases::~Databases() {
    if (open_) {
        orindb_closeAllDbs(&context_);
    }
}

bool account_readAll(DbContext* databases, std::vector<GoogleServerConf>& accounts) {
    const bool isRead = account_readArray(accounts, "the accounts cannot be read",
                                          [databases](GoogleServerConf** block, uint32_t* count) {
                                              return orindb_getallDbGoogleServerConf(databases, block, count);
                                          });
    std::sort(accounts.begin(), accounts.end(), [](const GoogleServerConf& a, const GoogleServerConf& b) {
        return a.googleAccountId < b.googleAccountId;
    });
    return isRead;
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
    return account_readArray(contacts, "the contacts cannot be read", [=](Contact** block, uint32_t* count) {
        return orindb_getContactArrayOfContactGroup(databases, group, block, count);
    });
}

bool account_readList(DbContext* databases, uint32_t group, PhoneList& list) {
    const std::string where = group != 0 ? "WHERE c.contactGrpBitfield & " + std::to_string(group) + " > 0" : "";
    std::vector<ContactPartial> rows;
    const bool isRead = account_readArray<ContactPartial, uint16_t>(
        rows, "the list of contacts cannot be read", [&](ContactPartial** block, uint16_t* count) {
            return orindb_getContactPartialsArray(databases, block, count, "%s", where.c_str());
        });
    for (ContactPartial& row : rows) {
        orin_utf8_fix_tail(row.displayname);
        list.emplace(row.contactId, row);
    }
    return isRead;
}

bool account_readGroup(DbContext* databases, uint32_t bit, std::optional<ContactGroup>& group) {
    ContactGroup row{};
    const int result = orindb_getContactGroup(databases, bit, &row);
    if (result == ORINDB_NOT_FOUND) {
        return true;
    }
    group = row;
    return account_succeeded(result, "the contact group cannot be read");
}

std::string account_groupName(DbContext* databases, uint32_t group) {
    std::optional<ContactGroup> row;
    return account_readGroup(databases, group, row) && row ? row->name : "";
}
