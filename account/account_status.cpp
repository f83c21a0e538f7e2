#include "account_status.h"

#include <json-c/json.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "account_database.h"
#include "ct_google_web_ets_interface.h"
#include "json_members.h"
#include "message.h"
#include "orin_guards.h"
#include "orin_memory.h"
#include "orindb_codes.h"
#include "text_table.h"

namespace {

// Whether a process of this id lives and is a synchroniser: ids are used again.
bool isSynchroniser(pid_t processId) {
    constexpr size_t NAME_SIZE = 32;
    const std::string path = "/proc/" + std::to_string(processId) + "/comm";
    const File file(fopen(path.c_str(), "re"));
    char name[NAME_SIZE] = "";
    return file != nullptr && fgets(name, sizeof(name), file.get()) != nullptr &&
           strcmp(name, "ct_synchronizer\n") == 0;
}

// Whether the synchroniser is at work for a group; *processId gets what the sync file names, or 0.
SyncRun findRun(int32_t group, pid_t* processId) {
    constexpr int BASE = 10;
    const Malloced<char> text(orin_ctsync_readSyncPid(group));
    *processId = text != nullptr ? static_cast<pid_t>(strtol(text.get(), nullptr, BASE)) : 0;
    if (orin_ctsync_fileExists(group, CTSYNC_SYNC_FILE) == 0) {
        return SyncRun::none;
    }
    return *processId > 0 && isSynchroniser(*processId) ? SyncRun::running : SyncRun::leftBehind;
}

std::string runText(const AccountStatus& status) {
    switch (status.run) {
        case SyncRun::running:
            return "yes, process " + std::to_string(status.processId);
        case SyncRun::leftBehind:
            return "no, but process " + std::to_string(status.processId) + " was killed and left its sync file behind";
        default:
            return "no";
    }
}

// A run deletes the error file at its start and writes it when it fails. On a full disk that file stays empty, so that
// it tells of a failure without a code.
void findOutcome(AccountStatus& status) {
    const int32_t group = status.account.contactGroupId;
    if (status.run == SyncRun::running) {
        status.outcome = Outcome::running;
    } else if (orin_ctsync_fileExists(group, CTSYNC_ERROR_FILE) != 0) {
        status.outcome = Outcome::failed;
        const int32_t code = orin_ctsync_readError(group);
        status.lastResult = code != 0 ? std::optional(code) : std::nullopt;
    } else if (status.run == SyncRun::leftBehind) {
        status.outcome = Outcome::killed;
    } else if (status.account.lastupdatetime[0] == '\0') {
        status.outcome = Outcome::none;
    } else {
        status.outcome = Outcome::success;
        status.lastResult = ORINDB_OK;
    }
}

const char* resultWords(const AccountStatus& status) {
    if (status.lastResult) {
        return account_resultWords(*status.lastResult);
    }
    switch (status.outcome) {
        case Outcome::running:
            return "the synchronisation is under way";
        case Outcome::killed:
            return "the synchronisation was killed";
        case Outcome::failed:
            return "a failure whose code could not be stored";
        default:
            return "none yet";
    }
}

const char* outcomeName(Outcome outcome) {
    constexpr std::array NAMES{"none", "running", "killed", "failed", "success"};
    return NAMES[static_cast<size_t>(outcome)];
}

void printLine(const char* label, const std::string& text) {
    printf("  %-20s %s\n", label, account_printable(text).c_str());
}

}  // namespace

bool account_isIdle(int32_t group) {
    pid_t processId = 0;
    if (findRun(group, &processId) != SyncRun::running) {
        return true;
    }
    account_error("contact group %u is being synchronised by process %d", static_cast<uint32_t>(group), processId);
    return false;
}

bool account_readStatus(DbContext* databases, const GoogleServerConf& account, AccountStatus& status) {
    const auto group = static_cast<uint32_t>(account.contactGroupId);
    std::vector<Contact> contacts;
    if (!account_readContacts(databases, group, contacts)) {
        return false;
    }
    status.account = account;
    status.groupName = account_groupName(databases, group);
    status.run = findRun(account.contactGroupId, &status.processId);
    findOutcome(status);
    status.contacts = static_cast<uint32_t>(contacts.size());
    return true;
}

std::string account_resultText(const AccountStatus& status) {
    const char* words = resultWords(status);
    return status.lastResult ? std::to_string(*status.lastResult) + " (" + words + ")" : words;
}

void account_printStatus(const AccountStatus& status) {
    const GoogleServerConf& account = status.account;
    const auto group = static_cast<uint32_t>(account.contactGroupId);
    printf("account %u \"%s\", contact group %u (0x%X) \"%s\"\n", account.googleAccountId,
           account_printable(account.accountname).c_str(), group, group, account_printable(status.groupName).c_str());
    printLine("Google user", account.serverusername);
    printLine("Google group", account.googleGroup[0] != '\0' ? account.googleGroup : "all contacts");
    printLine("active", account.serveractiv != 0 ? "yes, interval " + std::to_string(account.updateinterval) : "no");
    printLine("authorisation", account.needsNewAuth != 0 ? "needed anew" : "stored");
    printLine("running", runText(status));
    printLine("last result", account_resultText(status));
    printLine("last update", account.lastupdatetime[0] != '\0' ? account.lastupdatetime : "never");
    printLine("contacts", std::to_string(status.contacts));
}

json_object* account_statusToJson(const AccountStatus& status) {
    const GoogleServerConf& account = status.account;
    json_object* object = json_object_new_object();
    account_addNumber(object, "account", account.googleAccountId);
    account_addText(object, "name", account.accountname);
    account_addNumber(object, "group", static_cast<uint32_t>(account.contactGroupId));
    account_addText(object, "groupName", status.groupName);
    account_addText(object, "user", account.serverusername);
    account_addText(object, "googleGroup", account.googleGroup);
    account_addTruth(object, "active", account.serveractiv != 0);
    account_addNumber(object, "interval", account.updateinterval);
    account_addTruth(object, "needsNewAuthorisation", account.needsNewAuth != 0);
    account_addTruth(object, "running", status.run == SyncRun::running);
    account_addTruth(object, "syncFileLeftBehind", status.run == SyncRun::leftBehind);
    account_addNumber(object, "process", status.processId);
    account_addText(object, "outcome", outcomeName(status.outcome));
    account_addNumber(object, "lastResult", status.lastResult);
    account_addText(object, "lastResultText", resultWords(status));
    account_addText(object, "lastUpdate", account.lastupdatetime);
    account_addNumber(object, "contacts", status.contacts);
    return object;
}
