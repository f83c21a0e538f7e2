// Signals, and runs that end at the wrong moment.
#include <sys/msg.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "sync_world.h"

namespace {

using Clock = std::chrono::steady_clock;

class Signals : public SyncWorld {
  protected:
    void signalAt(Endpoint endpoint, unsigned n, int signal) {
        atAnswer(endpoint, n, [this, signal] { send(signal); });
    }
    // Until the started process has said this at level 1.
    void waitForError(const std::string& text) const {
        const auto end = Clock::now() + Process::DEADLINE;
        while (!hasError(text)) {
            ASSERT_LT(Clock::now(), end) << log;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    void expectSuccess() {
        EXPECT_EQ(status(), "");
        EXPECT_STRNE(account().lastupdatetime, "");
    }
};

TEST_F(Signals, AnAbortEndsThePollingAndTheRunThroughItsNormalFinish) {
    google.update([](GoogleAccount& account) { account.device.pendingAnswers = 100; });
    signalAt(Endpoint::Token, 1, SIGTERM);
    EXPECT_EQ(sync({"interval=2", "deviceCode=" + GoogleAccount{}.device.deviceCode}), 0);
    EXPECT_EQ(google.count(), 1U);
    expectSuccess();
}

TEST_F(Signals, AnEmptyDeviceCodeIsPolledWithoutARequest) {
    start({"ctGrpId=4", "interval=2", "deviceCode="});
    waitForError("orin_requestTokens: illegal parameter, deviceCode == NULL or empty");
    send(SIGUSR2);
    EXPECT_EQ(finish(), 0);
    EXPECT_EQ(google.count(), 0U);
    expectSuccess();
}

TEST_F(Signals, AnAbortWhilePagingKeepsThePagesAndRemovesNobody) {
    serve({named("people/old", "Old")});
    ASSERT_EQ(sync(), 0);
    serve(persons(150));
    signalAt(Endpoint::Connections, 2, SIGUSR2);
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook().size(), 101U);
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(countErrors("orin_google_sync: abort sync by user contactGrpId=4"), 1U);
    expectSuccess();
    // On the last page, too.
    serve({named("people/new", "New")});
    signalAt(Endpoint::Connections, 1, SIGTERM);
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook().size(), 102U);
}

TEST_F(Signals, AnAbortDuringTheRetryWaitTakesEffectAfterIt) {
    google.misbehave({.endpoint = Endpoint::Connections, .status = 500});
    const auto begin = Clock::now();
    start({"ctGrpId=4", "retryLimit=3", "retryWait=3"});
    waitForError("main: orin_google_sync failed lastError=8128");
    send(SIGTERM);
    send(SIGUSR2);
    EXPECT_EQ(finish(), 0);
    EXPECT_GE(Clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(google.count(Endpoint::Connections), 1U);
    EXPECT_EQ(status(), "4,8128\n");
}

TEST_F(Signals, AnEndlessRateLimitEndsWithAnAbort) {
    serve(persons(60));
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 0, .status = 429});
    signalAt(Endpoint::Connections, 2, SIGTERM);
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(google.count(Endpoint::Connections), 2U);
    EXPECT_EQ(phoneBook().size(), 50U);
    expectSuccess();
}

TEST_F(Signals, AFatalSignalIsRecordedAndTheNextRunCleansUp) {
    serve(persons(60));
    signalAt(Endpoint::Connections, 2, SIGSEGV);
    EXPECT_EQ(sync(), 1);
    EXPECT_EQ(status(), "4,8121\n");
    const std::vector<LogRecord> records = log.records();
    const LogRecord& last = records.at(records.size() - 2);
    EXPECT_EQ(last.text, "## ct_sync_main aborted ####");
    EXPECT_EQ(last.file + " " + last.function, "ct_sync_main.c signalHandler");
    EXPECT_EQ(last.level, uint32_t{ORINLOG_DEBUG});
    EXPECT_EQ(phoneBook().size(), 50U);
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook().size(), 60U);
    expectSuccess();
}

TEST_F(Signals, AQuitSignalWritesWhereTheRunStandsAndLetsItGoOn) {
    serve(persons(60));
    signalAt(Endpoint::Connections, 1, SIGQUIT);
    start({"ctGrpId=4"});
    const std::string pid = std::to_string(startedPid());
    EXPECT_EQ(finish(), 0);
    EXPECT_EQ(phoneBook().size(), 60U);
    expectSuccess();
    EXPECT_TRUE(hasError("======================"));
    EXPECT_TRUE(hasError("pid=" + pid + " tid=" + pid + " [ct_synchronizer] [ct_synchronizer]:")) << log;
    EXPECT_TRUE(hasError("    0: 0x"));
}

TEST_F(Signals, AKilledRunLeavesWholeContactsAndIsMadeGoodByTheNext) {
    google.update([](GoogleAccount& account) { account = generateAccount(110); });
    addAccount(2, 8);
    ASSERT_EQ(run({"ctGrpId=8"}), 0);
    const PhoneBook whole = phoneBook(8);
    ASSERT_EQ(whole.size(), 110U);

    struct Kill {
        Endpoint endpoint;
        unsigned answer;
        size_t stored;
    };
    // Before anything is stored, within the first page, behind it, within the second and behind that.
    for (const Kill& kill :
         {Kill{Endpoint::Token, 1, 0}, Kill{Endpoint::Connections, 1, 0}, Kill{Endpoint::Photo, 7, 0},
          Kill{Endpoint::Connections, 2, 50}, Kill{Endpoint::Photo, 7, 50}, Kill{Endpoint::Connections, 3, 100}}) {
        signalAt(kill.endpoint, kill.answer, SIGKILL);
        EXPECT_EQ(sync(), -1);
        EXPECT_EQ(status(), "running");
        const PhoneBook part = phoneBook();
        EXPECT_EQ(part.size(), kill.stored);
        for (const auto& [name, details] : part) {
            EXPECT_EQ(details, whole.at(name));
        }
    }
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook(), whole);
    expectSuccess();
    for (const auto& photo : std::filesystem::directory_iterator("/data/img")) {
        EXPECT_GT(photo.file_size(), 0U) << photo.path();
    }
}

TEST_F(Signals, AQueueThatNobodyReadsHoldsTheRunUntilItIsAborted) {
    queue.reset();
    const int id = msgget(QueueReader::KEY, 0);
    const struct {
        long type = 1;
        char text[64] = "";
    } filler;
    while (msgsnd(id, &filler, sizeof(filler.text), IPC_NOWAIT) == 0 || msgsnd(id, &filler, 0, IPC_NOWAIT) == 0) {
    }
    serve(persons(3));
    start({"ctGrpId=4"});
    ASSERT_TRUE(google.waitFor(Endpoint::Connections, 1, Process::DEADLINE));
    // Each signal ends one wait.
    std::jthread signals([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            send(SIGTERM);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    EXPECT_EQ(finish(), 0);
    signals.request_stop();
    signals.join();
    queue.emplace();
    queue->clear();
    EXPECT_EQ(log.count(ORINLOG_CAT_DB_MSG, ORINLOG_ERROR, ": msgsnd failed: Interrupted system call (4)"), 4U) << log;
    EXPECT_TRUE(log.has(ORINLOG_CAT_DB_MSG, ORINLOG_ERROR, "notifyBecauseChanges(...): msgsnd failed"));
    EXPECT_EQ(phoneBook().size(), 3U);
    expectSuccess();
}

}  // namespace
