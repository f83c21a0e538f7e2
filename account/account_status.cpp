#include "account_status.h"

#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "account_database.h"
#include "ct_google_web_ets_interface.h"
#include "message.h"
#include "orin_guards.h"
#include "orin_memory.h"
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

std::string resultText(const AccountStatus& status) {
    if (status.lastResult == 0 && status.account.lastupdatetime[0] == '\0') {
        return "none yet";
    }
    return std::to_string(status.lastResult) + " (" + account_resultWords(status.lastResult) + ")";
}

void printLine(const char* label, const std::string& text) {
    printf("  %-20s %s\n", label, account_printable(text).c_str());
}

void addText(json_object* object, const char* name, const char* text) {
    json_object_object_add(object, name, json_object_new_string(text));
}

void addTruth(json_object* object, const char* name, bool truth) {
    json_object_object_add(object, name, json_object_new_boolean(truth ? 1 : 0));
}

void addNumber(json_object* object, const char* name, int64_t number) {
    json_object_object_add(object, name, json_object_new_int64(number));
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
    status.lastResult = orin_ctsync_readError(account.contactGroupId);
    status.contacts = static_cast<uint32_t>(contacts.size());
    return true;
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
    printLine("last result", resultText(status));
    printLine("last update", account.lastupdatetime[0] != '\0' ? account.lastupdatetime : "never");
    printLine("contacts", std::to_string(status.contacts));
}

json_object* account_statusToJson(const AccountStatus& status) {
    const GoogleServerConf& account = status.account;
    json_object* object = json_object_new_object();
    addNumber(object, "account", account.googleAccountId);
    addText(object, "name", account.accountname);
    addNumber(object, "group", static_cast<uint32_t>(account.contactGroupId));
    addText(object, "groupName", status.groupName.c_str());
    addText(object, "user", account.serverusername);
    addText(object, "googleGroup", account.googleGroup);
    addTruth(object, "active", account.serveractiv != 0);
    addNumber(object, "interval", account.updateinterval);
    addTruth(object, "needsNewAuthorisation", account.needsNewAuth != 0);
    addTruth(object, "running", status.run == SyncRun::running);
    addTruth(object, "syncFileLeftBehind", status.run == SyncRun::leftBehind);
    addNumber(object, "process", status.processId);
    addNumber(object, "lastResult", status.lastResult);
    addText(object, "lastResultText", account_resultWords(status.lastResult));
    addText(object, "lastUpdate", account.lastupdatetime);
    addNumber(object, "contacts", status.contacts);
    return object;
}
