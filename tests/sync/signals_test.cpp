// Signals, and runs that end at the wrong moment.
#include <csignal>
#include <filesystem>

#include "sync_world.h"

namespace {

using Signals = SyncWorld;

TEST_F(Signals, AnAbortEndsThePollingAndTheRunThroughItsNormalFinish) {
    google.update([](GoogleAccount& account) { account.device.pendingAnswers = 100; });
    signalAt(Endpoint::Token, 1, SIGTERM);
    EXPECT_EQ(sync({"interval=2", "deviceCode=" + GoogleAccount{}.device.deviceCode}), "0 contacts, updated");
    EXPECT_EQ(google.count(), 1U);
}

TEST_F(Signals, AnAbortWhilePagingKeepsThePagesAndRemovesNobody) {
    serve({named("people/old", "Old")});
    ASSERT_EQ(sync(), "1 contacts, updated");
    serve(persons(150));
    signalAt(Endpoint::Connections, 2, SIGUSR2);
    EXPECT_EQ(sync(), "101 contacts, updated");
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(errors("orin_google_sync: abort sync by user contactGrpId=4"), 1U);
}

TEST_F(Signals, AnAbortEndsTheRetriesAfterTheWait) {
    google.misbehave({.endpoint = Endpoint::Connections, .count = 0, .status = 500});
    signalAt(Endpoint::Connections, 1, SIGTERM);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sync({"retryLimit=3", "retryWait=2"}), "0 contacts, 4,8128\n");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(google.count(Endpoint::Connections), 1U);
}

TEST_F(Signals, AFatalSignalIsRecordedAndTheNextRunCleansUp) {
    serve(persons(60));
    signalAt(Endpoint::Connections, 2, SIGSEGV);
    EXPECT_EQ(run({"ctGrpId=4"}), 1);
    EXPECT_EQ(status(), "4,8121\n");
    EXPECT_THAT(testing::PrintToString(log.records().end()[-2]),
                testing::ContainsRegex("-4 ct_sync_main.c signalHandler:[0-9]+ ## ct_sync_main aborted ####"));
    EXPECT_EQ(phoneBook().size(), 50U);
    EXPECT_EQ(sync(), "60 contacts, updated");
}

TEST_F(Signals, AQuitSignalWritesWhereTheRunStandsAndLetsItGoOn) {
    serve(persons(60));
    signalAt(Endpoint::Connections, 1, SIGQUIT);
    EXPECT_EQ(sync(), "60 contacts, updated");
    const std::string number = std::to_string(pid);
    EXPECT_TRUE(errors("pid=" + number + " tid=" + number + " [ct_synchronizer] [ct_synchronizer]:")) << log;
    EXPECT_TRUE(errors("    0: 0x"));
}

TEST_F(Signals, AKilledRunLeavesWholeContactsAndIsMadeGoodByTheNext) {
    google.update([](GoogleAccount& account) { account = generateAccount(110); });
    addAccount(2, 8);
    ASSERT_EQ(run({"ctGrpId=8"}), 0);
    const PhoneBook whole = phoneBook(8);

    // Before anything is stored, within the first page, behind it, within the second and behind that.
    using Kill = std::tuple<Endpoint, unsigned, size_t>;
    for (const auto& [endpoint, answer, stored] :
         {Kill{Endpoint::Token, 1, 0}, Kill{Endpoint::Connections, 1, 0}, Kill{Endpoint::Photo, 7, 0},
          Kill{Endpoint::Connections, 2, 50}, Kill{Endpoint::Photo, 7, 50}, Kill{Endpoint::Connections, 3, 100}}) {
        signalAt(endpoint, answer, SIGKILL);
        EXPECT_EQ(run({"ctGrpId=4"}), -1);
        EXPECT_EQ(status(), "running ");
        const PhoneBook part = phoneBook();
        EXPECT_EQ(part.size(), stored);
        for (const auto& [name, details] : part) {
            EXPECT_EQ(details, whole.at(name));
        }
    }
    EXPECT_EQ(sync(), "110 contacts, updated");
    EXPECT_EQ(phoneBook(), whole);
    for (const auto& photo : std::filesystem::directory_iterator("/data/img")) {
        EXPECT_GT(photo.file_size(), 0U) << photo.path();
    }
}

}  // namespace
