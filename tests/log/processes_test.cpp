// What depends on how a process starts: no logger, another logger, a terminal, a signal from outside.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <thread>

#include "env_var.h"
#include "file_tools.h"
#include "log_capture.h"
#include "orinlog.h"
#include "process.h"
#include "temp_dir.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

int enabled(const char* category, const char* level) {
    return run({programPath("log_probe"), "enabled", category, level}).exitStatus;
}

TEST(Processes, withoutALoggerOnlyErrorsAreEnabledAndRecordsVanish) {
    const EnvVar noLogger("ORIN_LOGGER_DIR", nullptr);
    EXPECT_EQ(enabled("109", "1"), 0);
    EXPECT_EQ(enabled("109", "2"), 1);
    EXPECT_EQ(enabled("700", "1"), 0);
    const ProcessResult result = run({programPath("log_probe"), "say", "unheard"});
    EXPECT_EQ(result.exitStatus, 0) << "errno was changed";
    EXPECT_EQ(result.out + result.err, "");
}

TEST(Processes, aLoggerThatTakesNoRecordGoesUnnoticed) {
    const TempDir logger;
    const EnvVar folder("ORIN_LOGGER_DIR", logger.path().c_str());
    std::filesystem::create_directory(logger.file("records"));
    EXPECT_EQ(enabled("109", "5"), 0);
    EXPECT_EQ(run({programPath("log_probe"), "say", "refused"}).exitStatus, 0) << "errno was changed";
}

std::string sayWithHeader(uint32_t layoutId, uint32_t listId) {
    const TempDir logger;
    OrinlogSharedLevels levels{layoutId, listId, {}};
    levels.levels[ORINLOG_CAT_OTHER] = ORINLOG_ERROR;
    writeFile(logger.file("levels"), {reinterpret_cast<const char*>(&levels), sizeof(levels)});
    const EnvVar folder("ORIN_LOGGER_DIR", logger.path().c_str());
    EXPECT_EQ(run({programPath("log_probe"), "say", "heard"}).exitStatus, 0);
    EXPECT_EQ(enabled("109", "2"), 1) << "the table was not used";

    const auto records = readLogRecords(logger.file("records"), 0);
    EXPECT_GE(records.size(), 2U);
    if (records.size() < 2) {
        return {};
    }
    EXPECT_EQ(records[0].category, ORINLOG_CAT_ORINLOG);
    EXPECT_EQ(records[0].level, ORINLOG_ERROR);
    EXPECT_EQ(records[1].text, "heard");
    return records[0].text;
}

TEST(Processes, anotherLayoutOrListIsReportedAndUsed) {
    EXPECT_EQ(sayWithHeader(0x19068202, 1),
              "log_probe: Shared-Memory-Layout des Logger-Kernelmoduls ist inkompatibel (Layout-ID ist 0x19068202, "
              "erwartet wurde 0x19068201).\nlog_probe: Das Kernelmodul oder das Programm selbst muss aktualisiert "
              "werden.");
    EXPECT_EQ(sayWithHeader(ORINLOG_LAYOUT_ID, 1),
              "log_probe: Logger-Kategorieliste des Logger-Kernelmoduls ist inkompatibel (Listen-ID ist 0x1, erwartet "
              "wurde 0x903cadc6).\nlog_probe: Das Kernelmodul oder das Programm selbst muss aktualisiert werden.");
}

// What a process without a logger writes to its controlling terminal.
std::string onTerminal(std::vector<const char*> arguments) {
    const EnvVar noLogger("ORIN_LOGGER_DIR", nullptr);
    const std::string program = programPath("log_probe");
    arguments.insert(arguments.begin(), program.c_str());
    arguments.push_back(nullptr);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execv(program.c_str(), const_cast<char**>(arguments.data()));
        _exit(127);
    }
    std::string text;
    char buffer[4096];
    for (ssize_t length; (length = read(terminal, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(length));
    }
    close(terminal);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return text;
}

TEST(Processes, withoutALoggerTheTerminalShowsEachLineBehindThePrefix) {
    const char* timeAndPlace = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} 20[0-9]{2} ";
    const std::string prefix = timeAndPlace + std::string("\\[CT_SYNC-Error [0-9]+\\] ");
    EXPECT_THAT(onTerminal({"say", "first\n\nthird"}),
                MatchesRegex(prefix + "first\r\n" + prefix + "\r\n" + prefix + "third\r\n"));
    EXPECT_THAT(
        onTerminal({"say", "a|b", "8"}),
        MatchesRegex(std::string(timeAndPlace) + "\\[EVENT_SECURITY_WARNING [0-9]+/00000\\] part a\r\n.*part b\r\n"));

    const std::string tooLong = "short\n" + std::string(4000, 'x');
    const std::string shown = onTerminal({"say", tooLong.c_str()});
    EXPECT_THAT(shown, HasSubstr("] short\r\n"));
    EXPECT_THAT(shown, HasSubstr("] " + std::string(3911 - strlen("short\n"), 'x') + "[...]\r\n"));
}

// Sends the signal and waits until the log holds this many heads of threads.
void quit(const Process& process, const LogCapture& log, size_t heads) {
    process.send(SIGQUIT);
    for (int tries = 0; tries < 2000 && log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "pid=") < heads; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(Processes, aQuitSignalLogsWhereEveryThreadStandsOnce) {
    const LogCapture log;
    Process process({programPath("log_probe"), "threads"});
    ASSERT_TRUE(process.waitForOutput("ready"));
    quit(process, log, 4);
    quit(process, log, 8);

    std::map<std::string, int> heads;
    int separators = 0;
    int frames = 0;
    for (const auto& record : log.records()) {
        EXPECT_EQ(record.level, ORINLOG_INFO) << record;
        separators += record.text.starts_with("====") ? 1 : 0;
        frames += testing::Value(record.text, MatchesRegex("    [0-9]+: 0x[0-9a-f]+")) ? 1 : 0;
        if (record.text.starts_with("pid=")) {
            ++heads[record.text];
        }
    }
    const std::string head = "pid=" + std::to_string(process.pid()) + " tid=[0-9]+ \\[log_probe\\] \\[log_probe\\]:";
    EXPECT_THAT(heads, testing::SizeIs(4));
    EXPECT_THAT(heads, testing::Each(testing::Pair(MatchesRegex(head), 2))) << log;
    EXPECT_EQ(separators, 2);
    EXPECT_GE(frames, 14) << log;
    EXPECT_EQ(process.out(), "ready\n");
}

}  // namespace
