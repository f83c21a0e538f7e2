// Shared memory as two processes use it, one of which may die at the worst moment.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "orin_sharedmem.h"
#include "orin_tools.h"
#include "signal_storm.h"

namespace {

constexpr int32_t KEY = 4711;
constexpr int32_t SEMAPHORE_KEY = 4712;

struct Content {
    volatile int counter;
    volatile int inside;  // set by a process that has entered
};

Content& contentOf(const OrinSharedMem& memory) {
    return *static_cast<Content*>(memory.data);
}

void addUnderLock(OrinSharedMem* memory, int times) {
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(orin_lockSharedMem(memory), 0);
        const int seen = contentOf(*memory).counter;
        sched_yield();
        contentOf(*memory).counter = seen + 1;
        EXPECT_EQ(orin_unlockSharedMem(memory), 0);
    }
}

class SharedMem : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(orin_attachSharedMem(&memory_, KEY, SEMAPHORE_KEY, sizeof(Content)), 0);
    }
    void TearDown() override {
        shmctl(memory_.memoryId, IPC_RMID, nullptr);
        semctl(memory_.semaphoreId, 0, IPC_RMID);
        orin_detachSharedMem(&memory_);
    }
    // Runs `story` in another process with an attachment of its own; expectThatItSucceeded() tells how it went.
    static pid_t inAnotherProcess(const std::function<void(OrinSharedMem*)>& story) {
        const pid_t child = fork();
        if (child == 0) {
            OrinSharedMem own;
            EXPECT_EQ(orin_attachSharedMem(&own, KEY, SEMAPHORE_KEY, sizeof(Content)), 0);
            story(&own);
            _exit(HasFailure() ? 1 : 0);
        }
        return child;
    }
    static void expectThatItSucceeded(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    void waitUntilOtherIsInside() const {
        while (contentOf(memory_).inside == 0) {
            sched_yield();
        }
    }

    OrinSharedMem memory_;
};

TEST_F(SharedMem, NoStepOfTwoProcessesIsLost) {
    constexpr int TIMES = 5000;
    const pid_t child = inAnotherProcess([](OrinSharedMem* own) { addUnderLock(own, TIMES); });
    addUnderLock(&memory_, TIMES);
    expectThatItSucceeded(child);
    EXPECT_EQ(contentOf(memory_).counter, 2 * TIMES);
}

TEST_F(SharedMem, AProcessKilledInsideDoesNotBlockTheOthers) {
    const pid_t child = inAnotherProcess([](OrinSharedMem* own) {
        EXPECT_EQ(orin_lockSharedMem(own), 0);
        contentOf(*own).inside = 1;
        pause();
    });
    waitUntilOtherIsInside();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    alarm(20);  // whoever waits for ever is ended
    EXPECT_EQ(orin_lockSharedMem(&memory_), 0);
    alarm(0);
    EXPECT_EQ(orin_unlockSharedMem(&memory_), 0);
}

TEST_F(SharedMem, ASignalDoesNotEndTheWaitForTheLock) {
    const pid_t child = inAnotherProcess([](OrinSharedMem* own) {
        EXPECT_EQ(orin_lockSharedMem(own), 0);
        contentOf(*own).inside = 1;
        orin_sleep(0, 200000000);
        contentOf(*own).counter = 1;
        EXPECT_EQ(orin_unlockSharedMem(own), 0);
    });
    waitUntilOtherIsInside();
    const SignalStorm storm;
    EXPECT_EQ(orin_lockSharedMem(&memory_), 0);
    EXPECT_EQ(contentOf(memory_).counter, 1);
    EXPECT_EQ(orin_unlockSharedMem(&memory_), 0);
    expectThatItSucceeded(child);
}

TEST_F(SharedMem, MisuseFailsCleanly) {
    OrinSharedMem other;
    EXPECT_EQ(orin_attachSharedMem(&other, KEY, SEMAPHORE_KEY, sizeof(Content) + 1), -1) << "larger than what exists";
    EXPECT_EQ(other.data, nullptr);
    EXPECT_EQ(orin_lockSharedMem(&other), -1);
    orin_detachSharedMem(&other);
    EXPECT_EQ(orin_unlockSharedMem(&memory_), -1) << "nobody is inside";
    EXPECT_EQ(orin_lockSharedMem(&memory_), 0);
    EXPECT_EQ(orin_unlockSharedMem(&memory_), 0);
    EXPECT_EQ(orin_lockSharedMem(nullptr), -1);
}

}  // namespace
