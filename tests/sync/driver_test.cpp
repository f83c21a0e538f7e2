// One run from its arguments to its exit: what it takes, what it leaves behind and what it says of itself.
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "sync_world.h"

namespace {

using testing::ElementsAre;

using Driver = SyncWorld;

TEST_F(Driver, ArgumentsComeInAnyOrderAndAUsageErrorIsOneLine) {
    // The arguments, and the group and the settings that are read from them. An early error is one without.
    const std::string nice = "  nice=" + std::to_string(std::min(19, getpriority(PRIO_PROCESS, 0) + 20));
    const std::string defaults = "  retryLimit=1  retryWait=0  deviceCode=(null)...  expiresIn=1800  interval=5" + nice;
    const std::vector<std::array<std::string, 3>> calls{
        {"", "", ""},
        {"|ctGrpId=4", "", ""},
        {"foo=1|ctGrpId=4|ctGrpId=16", "16", defaults},
        {"ctGrpId|ctGrpid=4| ctGrpId=4|xctGrpId=4", "0", defaults},
        {"ctGrpId=-4", "-4", defaults},
        {"ctGrpId=2147483648", "-2147483648", defaults},
        {"interval=70000|expiresIn=-1|deviceCode=0123456789abc|retryWait=65535|retryLimit=65537|ctGrpId=64z", "64",
         "  retryLimit=1  retryWait=65535  deviceCode=0123456789...  expiresIn=65535  interval=4464" + nice},
        {"deviceCode=a|deviceCode=|retryLimit=7|retryLimit=|expiresIn=x|ctGrpId=x4", "0",
         "  retryLimit=0  retryWait=0  deviceCode=...  expiresIn=0  interval=5" + nice}};
    std::map<std::string, std::string> reasons{
        {"", "main illegal parameter: contactGroupId missing (usage: ct_synchronizer ctGrpId=<ContactGroupID> )"},
        {"0",
         "main illegal parameter: contactGroupId is 0 (usage: ct_synchronizer ctGrpId=<a valid ContactGroupID> )"}};
    for (const auto& [joined, group, settings] : calls) {
        std::vector<std::string> arguments;
        std::istringstream words(joined);
        for (std::string argument; std::getline(words, argument, '|');) {
            arguments.push_back(argument);
        }
        reasons.try_emplace(group, "main: db_getDbGoogleServerConfCatId failed, invalid contactGroupId=" + group);
        log.clear();
        EXPECT_EQ(run(arguments), 1);
        EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre(reasons[group]));
        const std::string read = group + settings;
        EXPECT_EQ(lines(ORINLOG_INFO, "ct_synchronizer  contactGroupId=" + read), group.empty() ? 0U : 1U) << log;
    }
    std::filesystem::rename("/data/db", "/data/elsewhere");
    EXPECT_EQ(run({"ctGrpId=4"}), 1);
    EXPECT_TRUE(errors("main: orindb_openAllDbsWithDefaultNames failed")) << log;
    std::filesystem::rename("/data/elsewhere", "/data/db");
    EXPECT_TRUE(std::filesystem::is_empty("/data/etc"));
}

TEST_F(Driver, ARunShowsThatItIsUnderWayAndHowItEnded) {
    writeFile("/data/etc/googleclient_4.err", "4,8121\n");
    writeFile("/data/etc/googleclient_8.err", "8,8128\n");
    std::string during;
    atAnswer(Endpoint::Connections, 1, [&] { during = status() + readFile("/data/etc/googlesync_4.syn"); });
    execute("UPDATE GoogleServerConfig SET needsNewAuth=1, updatestarttime='7', serveractiv=0");
    const std::string now = "strftime('%Y-%m-%d %H:%M','now','localtime')";
    const std::string before = account(now);
    EXPECT_EQ(sync(), "0 contacts, updated");
    EXPECT_EQ(readFile("/data/etc/googleclient_8.err"), "8,8128\n");
    EXPECT_EQ(during, "running unauthorised " + std::to_string(pid) + " \n");
    EXPECT_EQ(account("lastupdatetime BETWEEN '" + before + "' AND " + now), "1") << account("lastupdatetime");
    EXPECT_EQ(account("serverusername||'|'||refreshToken||'|'||updatestarttime||'|'||serveractiv||'|'||updateinterval"),
              "ada@example.test|" + GoogleAccount{}.refreshToken + "|7|0|60");
}

TEST_F(Driver, FailedAttemptsAreRepeatedAfterTheWaitAndNoneCountsAsSuccess) {
    google.misbehave({.endpoint = Endpoint::Connections, .count = 5, .status = 503});
    serve(persons(1));
    EXPECT_EQ(sync({"retryLimit=3"}), "0 contacts, 4,8128\n");
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sync({"retryWait=1", "retryLimit=4"}), "1 contacts, updated");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(google.count(Endpoint::Connections), 6U);
    EXPECT_EQ(errors("main: orin_google_sync failed lastError=8128"), 5U);

    execute("UPDATE GoogleServerConfig SET lastupdatetime=''");
    EXPECT_EQ(sync({"retryLimit=65536"}), "1 contacts, updated");
    EXPECT_EQ(google.count(Endpoint::Connections), 6U);
}

TEST_F(Driver, TheLogTellsTheRunUnderTheNamesOfItsModules) {
    serve({named("people/c1", "Ada"), person("", {})});
    EXPECT_EQ(sync(), "1 contacts, 4,8128\n");
    std::set<std::string> places;
    for (const LogRecord& record : log.records()) {
        if (record.category == ORINLOG_CAT_CT_SYNC) {
            places.insert(record.file + " " + record.function);
        }
    }
    EXPECT_EQ(lines(ORINLOG_DEBUG, "## ct_sync_main started ##"), 1U);
    EXPECT_EQ(lines(ORINLOG_DEBUG, "## ct_sync_main ended ####"), 1U);
    EXPECT_EQ(lines(ORINLOG_DEBUG, "#################"), 4U);
    EXPECT_THAT(places,
                ElementsAre("ct_sync_google.c orin_google_sync", "ct_sync_google.c orin_google_syncOneContact",
                            "ct_sync_google.c orin_google_syncOneContactDetail", "ct_sync_main.c main",
                            "google_connector.c orin_renewAccessToken", "json_loader.c orin_requestJsonObject"));
}

// The shortest wait between two polls is two seconds.
TEST_F(Driver, TheTokenOfAConfirmedCodeIsStoredBeforeItIsUsed) {
    const std::vector<std::string> withCode{"interval=2", "deviceCode=" + GoogleAccount{}.device.deviceCode};
    google.update([](GoogleAccount& account) {
        account.refreshToken = "1//new";
        account.device.pendingAnswers = 1;
    });
    google.misbehave({.endpoint = Endpoint::Token, .first = 2, .status = 502, .content = Content::Html});
    execute("UPDATE GoogleServerConfig SET refreshToken='', needsNewAuth=1");
    std::string stored;
    atAnswer(Endpoint::Connections, 1,
             [&] { stored = account("refreshToken||'|'||serverusername||'|'||needsNewAuth"); });
    serve(persons(1));
    EXPECT_EQ(sync(withCode), "1 contacts, updated");
    EXPECT_EQ(stored, "1//new||0");
    EXPECT_EQ(google.count(Endpoint::Token), 3U);
    EXPECT_EQ(lines(ORINLOG_INFO, "waiting for google authorization "), 1U);

    // A token that was stored already is lost with its user, but serves this run.
    google.update([](GoogleAccount& account) { account.device.redeemed = false; });
    execute("UPDATE GoogleServerConfig SET serverusername='ada'");
    EXPECT_EQ(sync(withCode), "1 contacts, unauthorised updated");
    EXPECT_EQ(account("refreshToken"), "");
}

TEST_F(Driver, WithoutATokenTheRunGoesOnWithTheStoredOne) {
    google.misbehave({.endpoint = Endpoint::Token, .content = Content::Text, .text = R"({"refresh_token":5})"});
    EXPECT_EQ(sync({"deviceCode=x", "interval=2"}), "0 contacts, updated");
    EXPECT_EQ(account("refreshToken||'|'||serverusername"), GoogleAccount{}.refreshToken + "|ada@example.test");
}

}  // namespace
