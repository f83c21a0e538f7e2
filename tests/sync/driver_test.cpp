// One run from its arguments to its exit: what it takes, what it leaves behind and what it says of itself.
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "orin_tools.h"
#include "sync_world.h"

namespace {

using testing::ElementsAre;

using Driver = SyncWorld;

std::string now() {
    char text[ORIN_LOCAL_TIME_SIZE];
    orin_getLocalTimeString(text, sizeof(text));
    return text;
}

struct Call {
    std::vector<std::string> arguments;
    std::string line;
};

TEST_F(Driver, ArgumentsComeInAnyOrderAndTheLastOneWins) {
    const std::string nice = "  nice=" + std::to_string(std::min(19, getpriority(PRIO_PROCESS, 0) + 20));
    const std::string defaults = "  retryLimit=1  retryWait=0  deviceCode=(null)...  expiresIn=1800  interval=5" + nice;
    const std::vector<Call> calls{
        {{"foo=1", "ctGrpId=4", "ctGrpId=16"}, "16" + defaults},
        {{"ctGrpId", "ctGrpid=4", " ctGrpId=4", "xctGrpId=4"}, "0" + defaults},
        {{"ctGrpId=x4"}, "0" + defaults},
        {{"ctGrpId=-4"}, "-4" + defaults},
        {{"ctGrpId=2147483648"}, "-2147483648" + defaults},
        {{"interval=70000", "expiresIn=-1", "deviceCode=0123456789abc", "retryWait=65535", "retryLimit=65537",
          "ctGrpId=64z"},
         "64  retryLimit=1  retryWait=65535  deviceCode=0123456789...  expiresIn=65535  interval=4464" + nice},
        {{"deviceCode=a", "deviceCode=", "retryLimit=7", "retryLimit=", "expiresIn=x"},
         "0  retryLimit=0  retryWait=0  deviceCode=...  expiresIn=0  interval=5" + nice},
    };
    for (const Call& call : calls) {
        log.clear();
        EXPECT_EQ(run(call.arguments), 1);
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "ct_synchronizer  contactGroupId=" + call.line)) << log;
    }
    EXPECT_EQ(google.count(), 0U);
}

TEST_F(Driver, AUsageErrorIsOneLineAndStatusOne) {
    const std::string missing =
        "main illegal parameter: contactGroupId missing (usage: ct_synchronizer ctGrpId=<ContactGroupID> )";
    const std::vector<Call> calls{
        {{}, missing},
        {{"", "ctGrpId=4"}, missing},
        {{"retryLimit=2"},
         "main illegal parameter: contactGroupId is 0 (usage: ct_synchronizer ctGrpId=<a valid ContactGroupID> )"},
        {{"ctGrpId=16"}, "main: db_getDbGoogleServerConfCatId failed, invalid contactGroupId=16"},
    };
    for (const Call& call : calls) {
        log.clear();
        EXPECT_EQ(run(call.arguments), 1);
        EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre(call.line));
    }
    std::filesystem::rename("/data/db", "/data/elsewhere");
    EXPECT_EQ(sync(), 1);
    EXPECT_TRUE(hasError("main: orindb_openAllDbsWithDefaultNames failed")) << log;
    std::filesystem::rename("/data/elsewhere", "/data/db");
    EXPECT_TRUE(std::filesystem::is_empty("/data/etc"));
}

TEST_F(Driver, ARunShowsThatItIsUnderWayAndHowItEnded) {
    writeFile("/data/etc/googleclient_4.err", "4,8121\n");
    writeFile("/data/etc/googleclient_8.err", "8,8128\n");
    std::string during;
    atAnswer(Endpoint::Connections, 1, [&] { during = status() + readFile("/data/etc/googlesync_4.syn"); });
    serve(persons(1));
    execute("UPDATE GoogleServerConfig SET needsNewAuth=1, updatestarttime='7', serveractiv=0");
    const std::string before = now();
    start({"ctGrpId=4"});
    const std::string pid = std::to_string(startedPid());
    EXPECT_EQ(finish(), 0);
    EXPECT_EQ(during, "running" + pid + " \n");
    EXPECT_EQ(status() + status(8), "8,8128\n");

    const GoogleServerConf row = account();
    EXPECT_THAT(row.lastupdatetime, testing::AnyOf(before, now()));
    EXPECT_EQ(row.needsNewAuth, 0);
    EXPECT_STREQ(row.serverusername, "ada@example.test");
    EXPECT_EQ(row.refreshToken, GoogleAccount{}.refreshToken);
    EXPECT_STREQ(row.updatestarttime, "7");
    EXPECT_EQ(row.updateinterval, 60);
}

TEST_F(Driver, FailedAttemptsAreRepeatedAfterTheWait) {
    google.misbehave({.endpoint = Endpoint::Connections, .count = 5, .status = 503});
    serve(persons(1));
    EXPECT_EQ(sync({"retryLimit=3"}), 0);
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(status(), "4,8128\n");
    EXPECT_STREQ(account().lastupdatetime, "");
    EXPECT_TRUE(announced().empty());

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run({"retryWait=1", "retryLimit=4", "ctGrpId=4"}), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(google.count(Endpoint::Connections), 6U);
    EXPECT_EQ(countErrors("main: orin_google_sync failed lastError=8128"), 5U);
    EXPECT_EQ(status(), "");
    EXPECT_EQ(phoneBook().size(), 1U);
    EXPECT_STRNE(account().lastupdatetime, "");
}

TEST_F(Driver, NoAttemptCountsAsSuccess) {
    for (const char* none : {"retryLimit=0", "retryLimit=65536"}) {
        writeFile("/data/etc/googleclient_4.err", "4,8128\n");
        execute("UPDATE GoogleServerConfig SET lastupdatetime=''");
        EXPECT_EQ(sync({none}), 0);
        EXPECT_STRNE(account().lastupdatetime, "");
        EXPECT_EQ(status(), "");
    }
    EXPECT_EQ(google.count(), 0U);
}

TEST_F(Driver, TheLogTellsTheRunUnderTheNamesOfItsModules) {
    serve({named("people/c1", "Ada"), person("", {})});
    EXPECT_EQ(sync(), 0);
    std::vector<LogRecord> records = log.records();
    std::erase_if(records, [](const LogRecord& record) { return record.category != ORINLOG_CAT_CT_SYNC; });
    ASSERT_GE(records.size(), 7U);
    const auto isBanner = [&](size_t from, const std::string& text) {
        const std::string rule = "#################";
        for (size_t i = from; i < from + 3; ++i) {
            EXPECT_EQ(records[i].text, i == from + 1 ? text : rule);
            EXPECT_EQ(records[i].file + " " + records[i].function, "ct_sync_main.c main");
            EXPECT_EQ(records[i].level, uint32_t{ORINLOG_DEBUG});
        }
    };
    isBanner(0, "## ct_sync_main started ##");
    isBanner(records.size() - 3, "## ct_sync_main ended ####");

    std::set<std::string> places;
    for (const LogRecord& record : records) {
        EXPECT_EQ(record.flags, 0U) << record;
        EXPECT_GT(record.line, 0U) << record;
        places.insert(record.file + " " + record.function);
    }
    EXPECT_THAT(places,
                ElementsAre("ct_sync_google.c orin_google_sync", "ct_sync_google.c orin_google_syncOneContact",
                            "ct_sync_google.c orin_google_syncOneContactDetail", "ct_sync_main.c main",
                            "google_connector.c orin_renewAccessToken", "json_loader.c orin_requestJsonObject"));
    EXPECT_TRUE(hasError("orin_google_syncOneContact: resourceName is NULL"));
}

}  // namespace
