// Adding and removing accounts.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "account_database.h"
#include "account_status.h"
#include "commands.h"
#include "ct_google_web_ets_interface.h"
#include "message.h"
#include "orin_guards.h"
#include "orin_stringutils.h"
#include "orindb_contactgroup.h"
#include "text_table.h"

namespace {

constexpr const char* DEFAULT_NAME = "Google";
constexpr unsigned MAX_ACCOUNT_ID = 100;
// A pass works on groups of 16 bits. Contacts of a higher group would belong to no group, and be made anew each time.
constexpr uint32_t HIGHEST_GROUP = 0x8000;
constexpr uint32_t FIRST_USER_GROUP = CONTACT_GROUP_STANDARD << 1U;

// Reads a refresh token, white space around it left out. A longer one than the account's row holds would be cut there.
bool readToken(const char* path, char (&token)[GOOGLE_CONF_TEXT_SIZE]) {
    constexpr size_t READ_SIZE = 4096;
    constexpr const char* WHITE_SPACE = " \t\r\n";
    const bool fromInput = strcmp(path, "-") == 0;
    const File file(fromInput ? nullptr : fopen(path, "re"));
    FILE* source = fromInput ? stdin : file.get();
    if (source == nullptr) {
        account_error("the token cannot be read from %s: %s", path, strerror(errno));
        return false;
    }
    std::array<char, READ_SIZE> content{};
    std::string_view text(content.data(), fread(content.data(), 1, content.size() - 1, source));
    text = text.substr(0, text.find_last_not_of(WHITE_SPACE) + 1);
    text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
    const bool isWord = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    if (text.empty() || !isWord || text.size() >= sizeof(token)) {
        account_error("what %s holds is no refresh token of at most %zu characters",
                      fromInput ? "the standard input" : path, sizeof(token) - 1);
        return false;
    }
    text.copy(token, text.size());
    return true;
}

// Whether the synchroniser can fill this group at all.
bool isFillable(uint32_t group) {
    if (!std::has_single_bit(group)) {
        account_error("add: 0x%X is more than one group: a group is a single bit", group);
    } else if ((group & ORINDB_SYSTEM_GROUPS) != 0) {
        account_error("add: 0x%X is a system group, its contacts are objects of the PBX", group);
    } else if (group > HIGHEST_GROUP) {
        account_error("add: group 0x%X cannot be filled, only 0x%X to 0x%X can", group, CONTACT_GROUP_STANDARD,
                      HIGHEST_GROUP);
    } else {
        return true;
    }
    return false;
}

const GoogleServerConf* findAccountOf(const std::vector<GoogleServerConf>& accounts, uint32_t group) {
    const auto found = std::find_if(accounts.begin(), accounts.end(), [group](const GoogleServerConf& account) {
        return (static_cast<uint32_t>(account.contactGroupId) & group) != 0;
    });
    return found != accounts.end() ? &*found : nullptr;
}

// Takes the first group without an account that does not exist yet, or else the first that holds no contact, such as
// removed accounts leave behind. False: there is none, or it cannot be told; the user has been told.
bool findFreeGroup(DbContext* databases, const std::vector<GoogleServerConf>& accounts, uint32_t& group) {
    for (uint32_t bit = FIRST_USER_GROUP; bit <= HIGHEST_GROUP; bit <<= 1U) {
        std::optional<ContactGroup> row;
        std::vector<Contact> contacts;
        if (findAccountOf(accounts, bit) != nullptr) {
            continue;
        }
        if (!account_readGroup(databases, bit, row) || !account_readContacts(databases, bit, contacts)) {
            return false;
        }
        if (!row) {
            group = bit;
            return true;
        }
        if (group == 0 && contacts.empty()) {
            group = bit;
        }
    }
    if (group == 0) {
        account_error("there is no free contact group");
    }
    return group != 0;
}

// Leaves the group that was asked for, or takes a free one. False: there is none, or it has an account.
bool chooseGroup(DbContext* databases, const std::vector<GoogleServerConf>& accounts, uint32_t& group) {
    if (group != 0) {
        const GoogleServerConf* existing = findAccountOf(accounts, group);
        if (existing != nullptr) {
            account_error("contact group %u already has account %u \"%s\"", group, existing->googleAccountId,
                          account_printable(existing->accountname).c_str());
        }
        return existing == nullptr;
    }
    return findFreeGroup(databases, accounts, group);
}

bool chooseAccountId(const std::vector<GoogleServerConf>& accounts, uint8_t& id) {
    for (unsigned candidate = 1; candidate <= MAX_ACCOUNT_ID; ++candidate) {
        if (std::none_of(accounts.begin(), accounts.end(), [candidate](const GoogleServerConf& account) {
                return account.googleAccountId == candidate;
            })) {
            id = static_cast<uint8_t>(candidate);
            return true;
        }
    }
    account_error("there are %u accounts already", MAX_ACCOUNT_ID);
    return false;
}

bool createGroupIfMissing(DbContext* databases, uint32_t bit, const char* name) {
    std::optional<ContactGroup> existing;
    if (!account_readGroup(databases, bit, existing)) {
        return false;
    }
    ContactGroup group{bit, 0, ""};
    orin_strncpy(group.name, name);
    return existing ||
           account_succeeded(orindb_saveContactGroup(databases, &group), "the contact group cannot be created");
}

// Group and account are created together or not at all.
bool store(DbContext* databases, uint32_t wantedGroup, GoogleServerConf& account) {
    Transaction transaction(databases, ORINDB_KONFIG);
    std::vector<GoogleServerConf> accounts;
    uint32_t group = wantedGroup;
    if (!account_succeeded(transaction.begun(), "the database cannot be written") ||
        !account_readAll(databases, accounts) || !chooseGroup(databases, accounts, group) ||
        !chooseAccountId(accounts, account.googleAccountId) ||
        !createGroupIfMissing(databases, group, account.accountname)) {
        return false;
    }
    account.contactGroupId = static_cast<int32_t>(group);
    return account_succeeded(transaction.end(db_saveGoogleServerConf(databases, &account)),
                             "the account cannot be stored");
}

void tellAdded(DbContext* databases, const GoogleServerConf& account) {
    const auto group = static_cast<uint32_t>(account.contactGroupId);
    printf("account %u \"%s\" fills contact group %u (0x%X) \"%s\"\n", account.googleAccountId,
           account_printable(account.accountname).c_str(), group, group,
           account_printable(account_groupName(databases, group)).c_str());
    std::vector<Contact> contacts;
    if (account_readContacts(databases, group, contacts) && !contacts.empty()) {
        printf(
            "the group holds %zu contacts: the synchronisation removes those that the Google account does not have\n",
            contacts.size());
    }
    if (account.needsNewAuth != 0) {
        printf("it needs an authorisation: ct_account authorise --group %u\n", group);
    }
}

// What became of the contacts of an account that is gone.
struct Fates {
    unsigned removed = 0;
    unsigned elsewhere = 0;  // in other groups still
    unsigned stayed = 0;     // entered on the PBX
};

Fates followUp(DbContext* databases, uint32_t group, const std::vector<Contact>& before) {
    Fates fates;
    for (const Contact& old : before) {
        Contact now{};
        if (orindb_getKontakt(databases, old.contactId, &now) == ORINDB_NOT_FOUND) {
            ++fates.removed;
        } else if ((now.contactGrpBitfield & group) != 0) {
            ++fates.stayed;
        } else {
            ++fates.elsewhere;
        }
    }
    return fates;
}

// Reads the account that is to go, which no synchroniser may be at work for, and the contacts of its group.
bool readRemovable(DbContext* databases, uint32_t group, GoogleServerConf& account, std::vector<Contact>& contacts) {
    return account_readOfGroup(databases, group, account) && account_readContacts(databases, group, contacts) &&
           account_isIdle(account.contactGroupId);
}

// Returns ACCOUNT_OK when the group's account, whose id *accountId gets, may go. The set is closed again before its
// user is asked, who may take his time.
int confirmRemoval(uint32_t group, uint8_t* accountId) {
    constexpr size_t ANSWER_SIZE = 16;
    GoogleServerConf account{};
    std::vector<Contact> contacts;
    {
        Databases databases(DatabaseUse::show);
        if (!databases.isOpen() || !readRemovable(databases.context(), group, account, contacts)) {
            return ACCOUNT_FAILED;
        }
    }
    if (isatty(STDIN_FILENO) == 0) {
        account_error("remove: there is no terminal to ask on: --yes is needed");
        return ACCOUNT_USAGE;
    }
    printf("Remove account %u \"%s\" and what it brought into contact group %u (%zu contacts)? [y/N] ",
           account.googleAccountId, account_printable(account.accountname).c_str(), group, contacts.size());
    fflush(stdout);
    char answer[ANSWER_SIZE] = "";
    if (fgets(answer, sizeof(answer), stdin) == nullptr || (answer[0] != 'y' && answer[0] != 'Y')) {
        account_error("nothing is removed");
        return ACCOUNT_FAILED;
    }
    *accountId = account.googleAccountId;
    return ACCOUNT_OK;
}

}  // namespace

int account_add(const Options& options) {
    GoogleServerConf account{};
    if (options.group != 0 && !isFillable(options.group)) {
        return ACCOUNT_USAGE;
    }
    if (options.has(Option::token) && !readToken(options.tokenFile, account.refreshToken)) {
        return ACCOUNT_FAILED;
    }
    orin_strncpy(account.accountname, *options.name != '\0' ? options.name : DEFAULT_NAME);
    orin_strncpy(account.serverusername, options.user);
    orin_strncpy(account.googleGroup, options.googleGroup);
    account.updateinterval = options.interval;
    account.serveractiv = options.has(Option::active) ? 1 : 0;

    Databases databases(DatabaseUse::change);
    if (!databases.isOpen() || !store(databases.context(), options.group, account)) {
        return ACCOUNT_FAILED;
    }
    tellAdded(databases.context(), account);
    return ACCOUNT_OK;
}

int account_remove(const Options& options) {
    uint8_t accountId = 0;
    const int confirmed = options.has(Option::yes) ? ACCOUNT_OK : confirmRemoval(options.group, &accountId);
    if (confirmed != ACCOUNT_OK) {
        return confirmed;
    }
    // Read anew: a run that began while the user was asked would write the account back at its end.
    Databases databases(DatabaseUse::change);
    GoogleServerConf account{};
    std::vector<Contact> contacts;
    if (!databases.isOpen() || !readRemovable(databases.context(), options.group, account, contacts)) {
        return ACCOUNT_FAILED;
    }
    if (accountId != 0 && accountId != account.googleAccountId) {
        account_error("contact group %u has another account by now: nothing is removed", options.group);
        return ACCOUNT_FAILED;
    }
    if (!account_succeeded(db_removeDbGoogleServerConf(databases.context(), account.googleAccountId),
                           "the account cannot be removed")) {
        return ACCOUNT_FAILED;
    }
    // What they tell is the account's: the next one of the group shall not show it.
    orin_ctsync_removeErrorFile(account.contactGroupId);
    orin_ctsync_removeSyncFile(account.contactGroupId);
    const Fates fates = followUp(databases.context(), options.group, contacts);
    printf(
        "account %u is removed; of %zu contacts %u are removed, %u left the group and stay in others, %u that were "
        "entered on the PBX stay in it; the group itself stays\n",
        account.googleAccountId, contacts.size(), fates.removed, fates.elsewhere, fates.stayed);
    return ACCOUNT_OK;
}
