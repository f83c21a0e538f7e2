// What needs Google: its contact groups, an authorisation, a synchronisation.
#include <curl/curl.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "account_database.h"
#include "account_status.h"
#include "commands.h"
#include "google_connector.h"
#include "google_guards.h"
#include "google_people_api.h"
#include "json_loader.h"
#include "message.h"
#include "orin_tools.h"
#include "queue_keeper.h"
#include "synchroniser.h"
#include "text_table.h"

namespace {

// A connector, with libcurl for as long as it lives.
class GoogleClient {
  public:
    GoogleClient() {
        curl_global_init(CURL_GLOBAL_ALL);
        connector_ = orin_createGoogleConnector();
    }
    ~GoogleClient() {
        orin_destroyGoogleConnector(connector_);
        curl_global_cleanup();
    }
    GoogleClient(const GoogleClient&) = delete;
    GoogleClient& operator=(const GoogleClient&) = delete;

    [[nodiscard]] GoogleConnector* connector() const {
        return connector_;
    }
    // The status of the last request of any kind.
    [[nodiscard]] unsigned httpCode() const {
        return orin_getJsonloaderHttpCode(connector_ != nullptr ? connector_->jlContext : nullptr);
    }

  private:
    GoogleConnector* connector_;
};

void tellUnanswered(const GoogleClient& google) {
    const char* words = "Google gives no usable answer";
    if (google.httpCode() == HTTP_SERVICE_UNAVAILABLE) {
        words = "Google cannot be reached";
    } else if (orin_hasAuthentificationFailed(google.connector()) != 0) {
        words = "Google does not accept the account's authorisation";
    }
    account_error("%s (HTTP status %u)", words, google.httpCode());
}

void tellUnauthorised(const GoogleServerConf& account) {
    account_error("the account needs an authorisation: ct_account authorise --group %u",
                  static_cast<uint32_t>(account.contactGroupId));
}

struct DeviceCode {
    std::string deviceCode;
    std::string userCode;
    std::string address;
    int32_t expiresIn;  // seconds
    int32_t interval;   // seconds
};

std::string textOf(json_object* object, const char* member, const char* otherMember = nullptr) {
    const char* text = orin_jsonObjectGetString(object, member);
    if (text == nullptr && otherMember != nullptr) {
        text = orin_jsonObjectGetString(object, otherMember);
    }
    return text != nullptr ? text : "";
}

// Shows Google's own words: only they tell its user, or its administrator, what to change.
void tellRefusal(json_object* answer, unsigned httpCode) {
    account_error("Google gives no device code (HTTP status %u)", httpCode);
    const std::string error = textOf(answer, "error", "error_code");
    if (error.empty()) {
        account_error("answer: %s", account_printable(json_object_to_json_string(answer)).c_str());
        return;
    }
    account_error("error: %s", account_printable(error).c_str());
    const char* description = orin_jsonObjectGetString(answer, "error_description");
    if (description != nullptr) {
        account_error("error_description: %s", account_printable(description).c_str());
    }
}

bool requestDeviceCode(DeviceCode& code) {
    constexpr int32_t DEFAULT_EXPIRY = 1800;
    constexpr int32_t DEFAULT_INTERVAL = 5;
    const GoogleClient google;
    const JsonObject answer(orin_requestDeviceCode(google.connector()));
    if (answer == nullptr) {
        tellUnanswered(google);
        return false;
    }
    code = {textOf(answer.get(), "device_code"), textOf(answer.get(), "user_code"),
            textOf(answer.get(), "verification_url", "verification_uri"),
            orin_jsonObjectGetInteger(answer.get(), "expires_in", DEFAULT_EXPIRY),
            orin_jsonObjectGetInteger(answer.get(), "interval", DEFAULT_INTERVAL)};
    if (google.httpCode() != HTTP_OK || code.deviceCode.empty() || code.userCode.empty() || code.address.empty()) {
        tellRefusal(answer.get(), google.httpCode());
        return false;
    }
    return true;
}

// Reads a group's account, which no synchroniser may be at work for.
bool readIdleAccount(uint32_t group, GoogleServerConf& account) {
    Databases databases(DatabaseUse::show);
    return databases.isOpen() && account_readOfGroup(databases.context(), group, account) &&
           account_isIdle(account.contactGroupId);
}

// Whether the synchroniser came to its own end, so that the status files and the account's row tell the outcome.
bool hasFinished(const SynchroniserEnd& end) {
    if (end.signal != 0) {
        account_error("the synchroniser was killed by signal %d", end.signal);
    } else if (end.exitStatus != 0) {
        account_error("the synchroniser ended with exit status %d: the log tells more", end.exitStatus);
    } else {
        return !end.interrupted;
    }
    return false;
}

// What an outcome is compared with: the account as it stood before the run, and when that began.
struct RunStart {
    std::string lastUpdate;
    std::optional<std::string> token;  // where the run authorises
    char time[ORIN_LOCAL_TIME_SIZE] = "";
};

// Whether the run that ended has left a success behind. It stores its time then; when not even an error file could be
// written nothing else shows that it did not. By now the web configuration may have started the next run.
bool hasSucceeded(const RunStart& start, const AccountStatus& status) {
    if (status.outcome == Outcome::failed) {
        account_error("the synchronisation failed: %s", account_resultText(status).c_str());
        return false;
    }
    const bool isStored = start.lastUpdate != status.account.lastupdatetime || start.lastUpdate == start.time;
    if (!isStored || (status.outcome != Outcome::success && status.outcome != Outcome::running)) {
        account_error("the synchronisation left no result: the log tells more");
        return false;
    }
    return true;
}

int showOutcome(uint32_t group, const RunStart& start, const SynchroniserEnd& end) {
    const bool finished = hasFinished(end);
    Databases databases(DatabaseUse::show);
    AccountStatus status{};
    GoogleServerConf account{};
    if (!databases.isOpen() || !account_readOfGroup(databases.context(), group, account) ||
        !account_readStatus(databases.context(), account, status)) {
        return ACCOUNT_FAILED;
    }
    account_printStatus(status);
    if (!finished || !hasSucceeded(start, status)) {
        return ACCOUNT_FAILED;
    }
    if (account.needsNewAuth != 0) {
        tellUnauthorised(account);
        return ACCOUNT_FAILED;
    }
    if (start.token == account.refreshToken) {
        account_error("Google gave no new authorisation: the one from before is in use");
        return ACCOUNT_FAILED;
    }
    return ACCOUNT_OK;
}

int synchronise(const Options& options, std::vector<std::string> arguments, RunStart start) {
    arguments.insert(arguments.begin(), "ctGrpId=" + std::to_string(static_cast<int32_t>(options.group)));
    orin_getLocalTimeString(start.time, sizeof(start.time));
    SynchroniserEnd end;
    {
        const QueueKeeper keeper(options.has(Option::notifications) ? QueueMessages::showAll : QueueMessages::makeRoom);
        if (!account_runSynchroniser(arguments, &end)) {
            return ACCOUNT_FAILED;
        }
    }
    return showOutcome(options.group, start, end);
}

}  // namespace

int account_listGroups(const Options& options) {
    GoogleServerConf account{};
    {
        Databases databases(DatabaseUse::show);
        if (!databases.isOpen() || !account_readOfGroup(databases.context(), options.group, account)) {
            return ACCOUNT_FAILED;
        }
    }
    if (account.refreshToken[0] == '\0') {
        tellUnauthorised(account);
        return ACCOUNT_FAILED;
    }
    const GoogleClient google;
    orin_setRefreshToken(google.connector(), account.refreshToken);
    const JsonObject list(orin_requestGroupList(google.connector()));
    if (list == nullptr) {
        tellUnanswered(google);
        return ACCOUNT_FAILED;
    }
    TextTable table({"RESOURCE", "NAME", "MEMBERS"});
    for (size_t i = 0; i < orin_getGroupListSize(list.get()); ++i) {
        json_object* group = orin_getGroup(list.get(), i);
        const char* resource = orin_getGroupResourceName(group);
        const char* name = orin_getGroupFormattedName(group);
        table.addRow({resource != nullptr ? resource : "", name != nullptr ? name : "",
                      std::to_string(orin_getGroupMemberCount(group))});
    }
    table.print(account_outputWidth());
    if (orin_jsonObjectGetString(list.get(), "nextPageToken") != nullptr) {
        account_error("the account has more groups than these %zu", orin_getGroupListSize(list.get()));
    }
    return ACCOUNT_OK;
}

int account_authorise(const Options& options) {
    constexpr int32_t MINUTE = 60;
    GoogleServerConf account{};
    DeviceCode code{};
    if (!readIdleAccount(options.group, account) || !requestDeviceCode(code)) {
        return ACCOUNT_FAILED;
    }
    printf("open   %s\nenter  %s\nwithin %d minutes\n", account_printable(code.address).c_str(),
           account_printable(code.userCode).c_str(), code.expiresIn / MINUTE);
    fflush(stdout);
    return synchronise(options,
                       {"deviceCode=" + code.deviceCode, "expiresIn=" + std::to_string(code.expiresIn),
                        "interval=" + std::to_string(code.interval)},
                       {.lastUpdate = account.lastupdatetime, .token = account.refreshToken});
}

int account_sync(const Options& options) {
    GoogleServerConf account{};
    if (!readIdleAccount(options.group, account)) {
        return ACCOUNT_FAILED;
    }
    std::vector<std::string> arguments;
    if (options.has(Option::retryLimit)) {
        arguments.push_back("retryLimit=" + std::to_string(options.retryLimit));
    }
    if (options.has(Option::retryWait)) {
        arguments.push_back("retryWait=" + std::to_string(options.retryWait));
    }
    return synchronise(options, std::move(arguments), {.lastUpdate = account.lastupdatetime, .token = {}});
}
