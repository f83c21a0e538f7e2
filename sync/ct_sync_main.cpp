// ct_synchronizer: synchronises one contact group of the PBX's phone book with its Google account, tells the web
// configuration how that went (status files, account row), and exits. Started by the web configuration.

#include <curl/curl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "ct_google_web_ets_interface.h"
#include "ct_sync_google.h"
#include "db_googleserverconf.h"
#include "google_connector.h"
#include "google_guards.h"
#include "json_loader.h"
#include "orin_stringutils.h"
#include "orin_tools.h"
#include "orin_wget.h"
#include "orindb_dbaccess.h"
#include "orinlog.h"
#include "orinlog_backtrace.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "ct_sync_main.c"};
// The steps of the run log under its name.
constexpr const char* MAIN = "main";

// The signal handler needs these two. One byte, written only with 1 and polled, needs no lock.
int32_t contactGroupId = 0;
volatile uint8_t abortFlag = 0;

constexpr int PRIORITY_STEP = 20;
constexpr int32_t LOW_16_BITS = 0xFFFF;

struct Arguments {
    uint16_t retryLimit = 1;
    uint16_t retryWait = 0;            // seconds
    const char* deviceCode = nullptr;  // points into the argument
    uint16_t expiresIn = 1800;         // seconds
    uint16_t interval = 5;             // seconds
};

// Everything of one run. It lives in main's frame, so that an early exit leaves nothing unreachable.
struct Run {
    Arguments arguments;
    DbContext databases;
    GoogleConnector* connector;
    GoogleServerConf account;
    uint16_t lastError;
};

void logBanner(const char* function, const char* text) {
    constexpr const char* RULE = "#################";
    ORINLOG_RECORD(ORINLOG_CAT_CT_SYNC, ORINLOG_DEBUG, function, "%s", RULE);
    ORINLOG_RECORD(ORINLOG_CAT_CT_SYNC, ORINLOG_DEBUG, function, "%s", text);
    ORINLOG_RECORD(ORINLOG_CAT_CT_SYNC, ORINLOG_DEBUG, function, "%s", RULE);
}

void signalHandler(int signal) {
    switch (signal) {
        case SIGTERM:
        case SIGUSR2:
            abortFlag = 1;
            break;
        case SIGSEGV:
            // The process is lost anyway: what its files and log can still say is worth the risk.
            orin_ctsync_writeError(contactGroupId, CT_SYNC_KILLED);
            orin_ctsync_removeSyncFile(contactGroupId);
            logBanner(__func__, "## ct_sync_main aborted ####");
            exit(EXIT_FAILURE);
        default:
            break;
    }
}

void installSignalHandler() {
    struct sigaction action {};
    action.sa_handler = signalHandler;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGSEGV, SIGTERM, SIGUSR2}) {
        sigaction(signal, &action, nullptr);
    }
    // Without it SIGQUIT ends the process as usual.
    static_cast<void>(orinlog_registerBacktrace(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR));
}

// 64 bits, so that a group bit and a mask come out alike on every machine.
int64_t toNumber(const char* text) {
    constexpr int BASE = 10;
    return strtoll(text, nullptr, BASE);
}

uint16_t toNumber16(const char* text) {
    return static_cast<uint16_t>(toNumber(text) & LOW_16_BITS);
}

struct ArgumentRule {
    std::string_view prefix;
    void (*apply)(Arguments& arguments, const char* value);
};
constexpr std::array ARGUMENT_RULES{
    ArgumentRule{"ctGrpId=",
                 [](Arguments&, const char* value) { contactGroupId = static_cast<int32_t>(toNumber(value)); }},
    ArgumentRule{"retryLimit=", [](Arguments& to, const char* value) { to.retryLimit = toNumber16(value); }},
    ArgumentRule{"retryWait=", [](Arguments& to, const char* value) { to.retryWait = toNumber16(value); }},
    ArgumentRule{"deviceCode=", [](Arguments& to, const char* value) { to.deviceCode = value; }},
    ArgumentRule{"expiresIn=", [](Arguments& to, const char* value) { to.expiresIn = toNumber16(value); }},
    ArgumentRule{"interval=", [](Arguments& to, const char* value) { to.interval = toNumber16(value); }},
};

// An argument that no rule knows is ignored, a repeated one overrides the earlier one.
void parseArguments(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        for (const ArgumentRule& rule : ARGUMENT_RULES) {
            if (std::string_view(argv[i]).starts_with(rule.prefix)) {
                rule.apply(arguments, argv[i] + rule.prefix.size());
                break;
            }
        }
    }
}

// Returns false on a usage error, which is logged.
bool readCommandLine(int argc, char** argv, int niceResult, Arguments& arguments) {
    if (argc < 2 || argv[1][0] == '\0') {
        ORINLOG_RECORD(
            ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, MAIN,
            "%s illegal parameter: contactGroupId missing (usage: ct_synchronizer ctGrpId=<ContactGroupID> )", MAIN);
        return false;
    }
    parseArguments(argc, argv, arguments);
    ORINLOG_RECORD(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, MAIN,
                   "ct_synchronizer  contactGroupId=%d  retryLimit=%d  retryWait=%d  deviceCode=%.10s...  "
                   "expiresIn=%d  interval=%d  nice=%d",
                   contactGroupId, arguments.retryLimit, arguments.retryWait, arguments.deviceCode, arguments.expiresIn,
                   arguments.interval, niceResult);
    if (contactGroupId == 0) {
        ORINLOG_RECORD(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, MAIN,
                       "%s illegal parameter: contactGroupId is 0 (usage: ct_synchronizer ctGrpId=<a valid "
                       "ContactGroupID> )",
                       MAIN);
        return false;
    }
    return true;
}

// Opens databases and connector and reads the account. Returns false (logged) when one of them is missing.
bool openAccount(Run& run) {
    if (orindb_openAllDbsWithDefaultNames(&run.databases, nullptr, ORINDB_NOTIFY_CHANGES) != ORINDB_OK) {
        ORINLOG_FOR(MAIN, ORINLOG_ERROR, "orindb_openAllDbsWithDefaultNames failed");
        return false;
    }
    run.connector = orin_createGoogleConnector();
    db_initGoogleServerConf(&run.account);
    // A group without an account leaves the record cleared.
    if (db_getDbGoogleServerConfCatId(&run.databases, contactGroupId, &run.account) != ORINDB_OK ||
        run.account.googleAccountId == 0) {
        ORINLOG_FOR(MAIN, ORINLOG_ERROR, "db_getDbGoogleServerConfCatId failed, invalid contactGroupId=%d",
                    contactGroupId);
        return false;
    }
    return true;
}

// Waits for the user to confirm the device code; without a token the run goes on with the stored one.
void finishDeviceAuthorisation(Run& run) {
    const Arguments& arguments = run.arguments;
    const JsonObject tokens(
        orin_pollForTokens(run.connector, arguments.deviceCode, arguments.expiresIn, arguments.interval, &abortFlag));
    const char* refreshToken = orin_jsonObjectGetString(tokens.get(), "refresh_token");
    if (refreshToken == nullptr) {
        return;
    }
    orin_strncpy(run.account.refreshToken, refreshToken);
    run.account.serverusername[0] = '\0';
    run.account.needsNewAuth = 0;
    if (db_saveGoogleServerConf(&run.databases, &run.account) != ORINDB_OK) {
        ORINLOG_FOR(MAIN, ORINLOG_ERROR, "db_saveGoogleServerConf failed");
    }
}

// After CT_SYNC_CAPACITY: whether the phone book has room by now.
bool hasRoomAgain(DbContext* databases) {
    uint32_t count = 0;
    if (orindb_getNumberofallContact(databases, &count, 0) != ORINDB_OK || count >= ORINDB_MAX_CONTACTS) {
        return false;
    }
    ORINLOG_FOR(MAIN, ORINLOG_INFO, "lastError=%d count=%d  => repeat", CT_SYNC_CAPACITY, static_cast<int>(count));
    return true;
}

// Synchronises until it succeeds, the attempts are used up, or an abort is asked for. A repetition for want of room
// does not count as an attempt. The group goes in as its low 16 bits, as wide as the pass works on groups.
void synchronise(Run& run) {
    uint16_t attempts = 0;
    do {
        run.lastError =
            orin_google_sync(run.connector, &run.databases, static_cast<uint16_t>(contactGroupId & LOW_16_BITS),
                             run.account.googleGroup, &abortFlag);
        if (run.lastError == 0) {
            return;
        }
        if (run.lastError == CT_SYNC_CAPACITY) {
            if (hasRoomAgain(&run.databases)) {
                continue;
            }
        } else {
            ORINLOG_FOR(MAIN, ORINLOG_ERROR, "orin_google_sync failed lastError=%d", run.lastError);
            orin_sleep(run.arguments.retryWait, 0);
        }
        ++attempts;
    } while (attempts < run.arguments.retryLimit && abortFlag == 0);
}

// Storing the outcome is the last thing a run does: whether it can be stored changes nothing any more.
void finishSuccess(Run& run) {
    orin_getLocalTimeString(run.account.lastupdatetime, sizeof(run.account.lastupdatetime));
    run.account.needsNewAuth = 0;
    static_cast<void>(db_saveGoogleServerConf(&run.databases, &run.account));
}

void finishFailure(Run& run) {
    orin_ctsync_writeError(contactGroupId, run.lastError);
    if (orin_hasAuthentificationFailed(run.connector) != 0) {
        run.account.needsNewAuth = 1;
        static_cast<void>(db_saveGoogleServerConf(&run.databases, &run.account));
    }
}

void runAccount(Run& run) {
    orin_ctsync_removeErrorFile(contactGroupId);
    orin_ctsync_startet(getpid(), contactGroupId);
    if (run.arguments.deviceCode != nullptr) {
        finishDeviceAuthorisation(run);
    }
    orin_setRefreshToken(run.connector, run.account.refreshToken);
    if (run.arguments.retryLimit != 0 && abortFlag == 0) {
        synchronise(run);
    }
    orin_ctsync_removeSyncFile(contactGroupId);
    if (run.lastError == 0) {
        finishSuccess(run);
    } else {
        finishFailure(run);
    }
}

}  // namespace

int main(int argc, char** argv) {
    logBanner(MAIN, "## ct_sync_main started ##");
    const int niceResult = nice(PRIORITY_STEP);
    installSignalHandler();
    curl_global_init(CURL_GLOBAL_ALL);

    Run run{};
    if (!readCommandLine(argc, argv, niceResult, run.arguments) || !openAccount(run)) {
        exit(EXIT_FAILURE);
    }
    runAccount(run);

    orin_destroyGoogleConnector(run.connector);
    orindb_closeAllDbs(&run.databases);
    orin_curl_closeConnections();
    curl_global_cleanup();
    logBanner(MAIN, "## ct_sync_main ended ####");
    return EXIT_SUCCESS;
}
