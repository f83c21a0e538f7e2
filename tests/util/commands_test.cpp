// Commands and how their ends are reported, files, digests and time.
#include <gtest/gtest.h>
#include <sys/wait.h>

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
#include "orin_stdio.h"
#include "orin_stringbuffer.h"
#include "orin_systemcalls.h"
#include "orin_tools.h"
#include "orinlog.h"
#include "signal_storm.h"

namespace {

// What time() says to the code under test; 0 is the real time.
time_t pretendedTime = 0;

std::string md5(const std::string& text) {
    char digest[ORIN_MD5_TEXT_SIZE] = "";
    EXPECT_EQ(orin_MD5_GetHashOfString(text.c_str(), digest), 0);
    return digest;
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(Commands, AShellCommandSucceedsWithExitStatusZeroOnly) {
    LogCapture log;
    const char* const path = "/tmp/command_test";
    writeFile(path, "x");
    EXPECT_EQ(orin_systemf_insecure("rm %s", path), 1);
    EXPECT_FALSE(orin_fileExists(path));
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_DEBUG, "run shell cmd: rm /tmp/command_test"));
    EXPECT_FALSE(log.has(ORINLOG_CAT_SHELL, ORINLOG_WARNING, ""));
    EXPECT_EQ(orin_systemf_insecure("exit %d", 3), 0);
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_WARNING, "exited with status 3: exit 3"));
    EXPECT_EQ(orin_systemf_insecure("kill -TERM $$"), 0);
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_ERROR, "terminated with signal Terminated=15: kill -TERM $$"));
    // The cut falls behind the comment sign.
    EXPECT_EQ(orin_systemf_insecure("exit 0 #%s", std::string(ORIN_COMMAND_SIZE, 'x').c_str()), 1);
}

TEST(Commands, OtherEndsAreNamedToo) {
    LogCapture log;
    LogErrors(SIGSTOP << 8 | 0x7F, "stopped");
    LogErrors(-1, "lost");
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_ERROR, "stopped with signal Stopped (signal)=19: stopped"));
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_WARNING, "system() exited with status -1: lost"));
}

TEST(Commands, AProgramGetsItsArgumentsUntouchedByAnyShell) {
    LogCapture log;
    EXPECT_EQ(orin_systemf_returncode("test", "$HOME; x", "=", "$HOME; x"), 0);
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_DEBUG, "run shell cmd: test $HOME; x = $HOME; x"));
    EXPECT_EQ(_orin_systemf_returncode(3, "sh", "-c", "exit 7", "not counted"), 7);
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_WARNING, "exited with status 7: sh -c exit 7"));
    EXPECT_EQ(orin_systemf_returncode("sh", "-c", "kill -KILL $$"), ORIN_COMMAND_FAILED);
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_ERROR, "terminated with signal Killed=9: sh -c kill -KILL $$"));
    EXPECT_EQ(orin_systemf_returncode("no-such-program", "-x"), ORIN_COMMAND_FAILED);
    EXPECT_TRUE(
        log.has(ORINLOG_CAT_SHELL, ORINLOG_ERROR, "posix_spawn() failed with error=2! cmd: no-such-program -x"));
}

TEST(Commands, OutputOfAnySizeIsCollectedAndNothingIsLeftBehind) {
    constexpr uint32_t MEGABYTE = 1024 * 1024;
    const auto descriptors = openDescriptors();
    orinStringBuffer output{};
    const orinStringBufferData release(&output);
    EXPECT_EQ(orin_systemf_echo(&output, "head", "-c", "1048576", "/dev/zero"), 0);
    EXPECT_EQ(orin_getStringBufferLength(&output), MEGABYTE);
    EXPECT_EQ(orin_systemf_echo(&output, "sh", "-c", "echo behind; exit 4"), 4);
    EXPECT_STREQ(orin_getStringBuffer(&output) + MEGABYTE, "behind\n");
    EXPECT_EQ(orin_systemf_echo(&output, "no-such-program"), ORIN_COMMAND_FAILED);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST(Files, AreOpenedClosedAndRemoved) {
    auto* file = stdin;
    EXPECT_EQ(orin_fopen(&file, "/tmp/no/such/folder", "w"), 0);
    EXPECT_EQ(file, nullptr);
    ASSERT_EQ(orin_fopen(&file, "/tmp/files_test", "w"), 1);
    orin_fclose(&file);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(orin_remove("/tmp/files_test"), 1);
    EXPECT_EQ(orin_remove("/tmp/files_test"), 0);
    EXPECT_TRUE(orin_fileExists("/dev/null") && orin_isDirectory("/tmp") && orin_isRegularFile("/proc/self/exe"));
    EXPECT_FALSE(orin_fileExists("/tmp/files_test") || orin_isDirectory("/dev/null") || orin_isRegularFile("/tmp"));
    EXPECT_DEATH(orin_fclose(&file), R"(\*ptr != \(\(void \*\)0\))");
}

TEST(Digests, AreTheSameForTextAndFile) {
    EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    const std::string text(10000, 'a');
    writeFile("/tmp/digest_test", text);
    char digest[ORIN_MD5_TEXT_SIZE] = "";
    EXPECT_EQ(orin_MD5_GetHashOfFile("/tmp/digest_test", digest), 0);
    EXPECT_EQ(digest, md5(text));

    LogCapture log;
    EXPECT_EQ(orin_MD5_GetHashOfFile("/tmp/none", digest), -1);
    EXPECT_STREQ(digest, "");
    EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR,
                        "orin_MD5_GetHashOfFile: fopen failed filename=/tmp/none error=No such file or directory"));
    EXPECT_EQ(orin_MD5_GetHashOfFile("/tmp", digest), -1);
    EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "orin_MD5_GetHashOfFile: fread failed err=Is a directory"));
}

TEST(Time, ASleepIsNotShortenedBySignals) {
    using namespace std::chrono_literals;
    const SignalStorm storm;
    const auto start = std::chrono::steady_clock::now();
    orin_sleep(0, 1100000000);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1100ms);
}

TEST(Time, TheLocalTimeIsTextWithTwoDigitsEach) {
    setenv("TZ", "UTC-1", 1);
    tzset();
    pretendedTime = 1709626020;  // 5 March 2024, 08:07 UTC
    char text[ORIN_LOCAL_TIME_SIZE] = "";
    orin_getLocalTimeString(text, sizeof(text));
    EXPECT_STREQ(text, "2024-03-05 09:07");
    orin_getLocalTimeString(text, 8);
    EXPECT_STREQ(text, "2024-03");
    pretendedTime = 0;
    unsetenv("TZ");
    tzset();
}

TEST(Time, TheMillisecondClockIsShiftedAndItsDifferencesArePositive) {
    using namespace std::chrono;
    const auto since = [] { return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count(); };
    const int64_t before = since();
    const int64_t shifted = get_monotonic_systemtime_in_ms() + ORIN_MONOTONIC_SHIFT_MS;
    EXPECT_GE(shifted, before);
    EXPECT_LE(shifted, since());

    LogCapture log;
    EXPECT_EQ(get_diff_monotonic_in_ms(-100, 150), 250);
    EXPECT_FALSE(log.has(ORINLOG_CAT_TIME, ORINLOG_ERROR, ""));
    EXPECT_EQ(get_diff_monotonic_in_ms(100, 100), 0);
    EXPECT_TRUE(log.has(ORINLOG_CAT_TIME, ORINLOG_ERROR, "get_diff_monotonic_in_ms: "));
}

}  // namespace

extern "C" time_t time(time_t* result) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t told = pretendedTime != 0 ? pretendedTime : now.tv_sec;
    if (result != nullptr) {
        *result = told;
    }
    return told;
}
