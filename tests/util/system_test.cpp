// Commands and how their ends are reported, files, digests, time, and memory that processes share.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "file_tools.h"
#include "log_capture.h"
#include "orin_datei_tools.h"
#include "orin_md5c.h"
#include "orin_sharedmem.h"
#include "orin_stdio.h"
#include "orin_stringbuffer.h"
#include "orin_systemcalls.h"
#include "orin_tools.h"
#include "orinlog.h"

// The time of the code under test: 5 March 2024, 08:07 UTC.
extern "C" time_t time(time_t* result) {
    const time_t told = 1709626020;
    return result != nullptr ? *result = told : told;
}

namespace {

using testing::ElementsAre;

// While it lives, a signal interrupts every 10 milliseconds what waits.
struct SignalStorm {
    SignalStorm() {
        signal(SIGALRM, [](int) {});
        const itimerval everyTenMs{{0, 10000}, {0, 10000}};
        setitimer(ITIMER_REAL, &everyTenMs, nullptr);
    }
    ~SignalStorm() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
};

TEST(Commands, EveryEndButSuccessIsTold) {
    const LogCapture log;
    writeFile("/tmp/command_test", "x");
    EXPECT_EQ(orin_systemf_insecure("rm %s", "/tmp/command_test"), 1);
    EXPECT_FALSE(orin_fileExists("/tmp/command_test"));
    EXPECT_EQ(orin_systemf_insecure("exit %d", 3), 0);
    EXPECT_EQ(orin_systemf_insecure("kill -TERM $$"), 0);
    EXPECT_EQ(orin_systemf_insecure("exit 0 #%s", std::string(ORIN_COMMAND_SIZE, 'x').c_str()), 1);  // is cut
    // A program gets its arguments untouched by any shell.
    EXPECT_EQ(orin_systemf_returncode("test", "$HOME; x", "=", "$HOME; x"), 0);
    EXPECT_EQ(_orin_systemf_returncode(3, "sh", "-c", "exit 7", "not counted"), 7);
    EXPECT_EQ(orin_systemf_returncode("sh", "-c", "kill -KILL $$"), ORIN_COMMAND_FAILED);
    EXPECT_EQ(orin_systemf_returncode("no-such-program", "-x"), ORIN_COMMAND_FAILED);
    LogErrors(SIGSTOP << 8 | 0x7F, "stopped");
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_DEBUG, "run shell cmd: test $HOME; x = $HOME; x"));
    EXPECT_THAT(log.texts(ORINLOG_WARNING),
                ElementsAre("exited with status 3: exit 3", "exited with status 7: sh -c exit 7"));
    EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre("terminated with signal Terminated=15: kill -TERM $$",
                                                      "terminated with signal Killed=9: sh -c kill -KILL $$",
                                                      "posix_spawn() failed with error=2! cmd: no-such-program -x",
                                                      "stopped with signal Stopped (signal)=19: stopped"));
}

TEST(Commands, OutputOfAnySizeIsCollectedAndNothingIsLeftBehind) {
    const auto openDescriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = openDescriptors();
    orinStringBuffer output{};
    const orinStringBufferData release(&output);
    EXPECT_EQ(orin_systemf_echo(&output, "head", "-c", "1048576", "/dev/zero"), 0);
    EXPECT_EQ(orin_systemf_echo(&output, "sh", "-c", "echo behind; exit 4"), 4);
    EXPECT_EQ(orin_systemf_echo(&output, "no-such-program"), ORIN_COMMAND_FAILED);
    EXPECT_EQ(std::string(output.data, output.length), std::string(1048576, '\0') + "behind\n");
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(Files, AreOpenedClosedRemovedAndDigested) {
    FILE* file = nullptr;
    ASSERT_EQ(orin_fopen(&file, "/tmp/files_test", "w"), 1);
    fputs(std::string(10000, 'a').c_str(), file);
    orin_fclose(&file);
    EXPECT_TRUE(orin_isRegularFile("/tmp/files_test") && !orin_isRegularFile("/tmp"));
    char digest[ORIN_MD5_TEXT_SIZE] = "";
    EXPECT_EQ(orin_MD5_GetHashOfString("abc", digest), 0);
    EXPECT_STREQ(digest, "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(orin_MD5_GetHashOfFile("/tmp/files_test", digest), 0);
    EXPECT_STREQ(digest, "0d0c9c4db6953fee9e03f528cafd7d3e");
    const LogCapture log;
    EXPECT_EQ(orin_MD5_GetHashOfFile("/tmp", digest), -1);
    EXPECT_EQ(orin_MD5_GetHashOfString("abc", nullptr), -1);
    EXPECT_STREQ(digest, "");
    EXPECT_EQ(log.texts(ORINLOG_ERROR).size(), 2U) << log;
    EXPECT_EQ(orin_remove("/tmp/files_test"), 1);
    EXPECT_EQ(orin_remove("/tmp/files_test"), 0);
}

TEST(Time, IsLocalTextAndAShiftedClockAndASleepIsNotShortenedBySignals) {
    setenv("TZ", "UTC-1", 1);
    tzset();
    char text[ORIN_LOCAL_TIME_SIZE] = "";
    orin_getLocalTimeString(text, sizeof(text));
    EXPECT_STREQ(text, "2024-03-05 09:07");

    const SignalStorm storm;
    const int64_t before = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
    orin_sleep(0, 1100000000);
    const int64_t slept = get_monotonic_systemtime_in_ms() + ORIN_MONOTONIC_SHIFT_MS - before;
    EXPECT_TRUE(1100 <= slept && slept < 10000) << slept;
    EXPECT_EQ(get_diff_monotonic_in_ms(-100, 150), 250);
    EXPECT_EQ(get_diff_monotonic_in_ms(101, 100), 0);
}

struct Content {
    volatile int counter;
    volatile bool inside;  // set by the process that has entered for the last time
};

void countUp(OrinSharedMem* memory) {
    auto* content = static_cast<Content*>(memory->data);
    for (int i = 0; i < 5000; ++i) {
        EXPECT_EQ(orin_lockSharedMem(memory), 0);
        const int seen = content->counter;
        sched_yield();
        content->counter = seen + 1;
        EXPECT_EQ(orin_unlockSharedMem(memory), 0);
    }
}

TEST(SharedMem, KeepsProcessesApartUntilTheOneInsideLeavesOrDies) {
    OrinSharedMem memory;
    ASSERT_EQ(orin_attachSharedMem(&memory, 4711, 4712, sizeof(Content)), 0);
    auto* content = static_cast<Content*>(memory.data);
    const pid_t child = fork();
    countUp(&memory);
    if (child == 0) {
        alarm(10);
        while (content->counter < 10000) {
            sched_yield();
        }
        EXPECT_EQ(orin_lockSharedMem(&memory), 0);
        content->inside = true;
        orin_sleep(0, 200000000);
        content->counter = 0;
        raise(SIGKILL);
    }
    while (!content->inside && waitpid(child, nullptr, WNOHANG) == 0) {
        sched_yield();
    }
    EXPECT_TRUE(content->inside) << "a turn has been lost: " << content->counter;
    const SignalStorm storm;
    EXPECT_EQ(orin_lockSharedMem(&memory), 0);
    EXPECT_EQ(content->counter, 0) << "a signal has ended the wait";
    EXPECT_EQ(orin_unlockSharedMem(&memory), 0);
    EXPECT_EQ(orin_unlockSharedMem(&memory), -1) << "nobody is inside";
    waitpid(child, nullptr, 0);

    OrinSharedMem larger;
    EXPECT_EQ(orin_attachSharedMem(&larger, 4711, 4712, sizeof(Content) + 1), -1);
    shmctl(memory.memoryId, IPC_RMID, nullptr);
    semctl(memory.semaphoreId, 0, IPC_RMID);
    orin_detachSharedMem(&memory);
}

}  // namespace
