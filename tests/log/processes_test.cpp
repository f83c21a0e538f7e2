// What depends on how a process starts: no logger, another logger, a terminal, a signal from outside.
#include <gmock/gmock.h>

#include <csignal>
#include <cstring>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "env_var.h"
#include "file_tools.h"
#include "log_capture.h"
#include "orinlog.h"
#include "process.h"
#include "temp_dir.h"

namespace {

using testing::AnyOf;
using testing::Each;
using testing::MatchesRegex;
using testing::StartsWith;

int enabled(const char* category, const char* level) {
    return run({programPath("log_probe"), "enabled", category, level}).exitStatus;
}

TEST(Processes, withoutALoggerErrorsAreEnabledAndRecordsVanishAsInOneThatTakesNone) {
    const TempDir logger;
    std::filesystem::create_directory(logger.file("records"));
    for (const char* folder : {static_cast<const char*>(nullptr), logger.path().c_str()}) {
        const EnvVar variable("ORIN_LOGGER_DIR", folder);
        EXPECT_EQ(enabled("109", "1"), 0);
        EXPECT_EQ(enabled("109", "2"), folder == nullptr ? 1 : 0);
        EXPECT_EQ(enabled("700", "1"), folder == nullptr ? 0 : 1);
        const ProcessResult result = run({programPath("log_probe"), "say", "unheard"});
        EXPECT_EQ(result.exitStatus, 0) << "errno was changed";
        EXPECT_EQ(result.out + result.err, "");
    }
}

TEST(Processes, aLoggerWithAnotherLayoutOrListIsReportedAndUsed) {
    const std::tuple<uint32_t, uint32_t, std::string> others[] = {
        {0x19068202, 1,
         "Shared-Memory-Layout des Logger-Kernelmoduls ist inkompatibel (Layout-ID ist 0x19068202, erwartet wurde "
         "0x19068201)."},
        {ORINLOG_LAYOUT_ID, 1,
         "Logger-Kategorieliste des Logger-Kernelmoduls ist inkompatibel (Listen-ID ist 0x1, erwartet wurde "
         "0x903cadc6)."}};
    for (const auto& [layoutId, listId, report] : others) {
        const TempDir logger;
        OrinlogSharedLevels levels{layoutId, listId, {}};
        levels.levels[ORINLOG_CAT_OTHER] = ORINLOG_ERROR;
        writeFile(logger.file("levels"), {reinterpret_cast<const char*>(&levels), sizeof(levels)});
        const EnvVar folder("ORIN_LOGGER_DIR", logger.path().c_str());
        EXPECT_EQ(run({programPath("log_probe"), "say", "heard"}).exitStatus, 0);
        std::ostringstream records;
        for (const LogRecord& record : readLogRecords(logger.file("records"), 0)) {
            records << record.category << '-' << record.level << ' ' << record.text << '\n';
        }
        EXPECT_EQ(records.str(), "624-1 log_probe: " + report +
                                     "\nlog_probe: Das Kernelmodul oder das Programm selbst muss aktualisiert werden.\n"
                                     "109-1 heard\n");
        EXPECT_EQ(enabled("109", "2"), 1) << "the table was not used";
    }
}

// What a process without a logger writes to its controlling terminal.
std::string onTerminal(const std::string& arguments) {
    const EnvVar noLogger("ORIN_LOGGER_DIR", nullptr);
    const ProcessResult result = run({"script", "-qec", programPath("log_probe") + ' ' + arguments, "/dev/null"});
    EXPECT_EQ(result.exitStatus, 0) << result;
    return result.out;
}

TEST(Processes, withoutALoggerTheTerminalShowsEachLineBehindThePrefix) {
    const std::string timeAndPlace = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} 20[0-9]{2} ";
    const std::string prefix = timeAndPlace + "\\[CT_SYNC-Error [0-9]+\\] ";
    EXPECT_THAT(onTerminal("say 'first\n\nthird'"),
                MatchesRegex(prefix + "first\r\n" + prefix + "\r\n" + prefix + "third\r\n"));
    EXPECT_THAT(onTerminal("say 'a|b' 8"),
                MatchesRegex(timeAndPlace + "\\[EVENT_SECURITY_WARNING [0-9]+/00000\\] part a\r\n.*part b\r\n"));

    EXPECT_THAT(onTerminal("say 'short\n" + std::string(4000, 'x') + "'"),
                MatchesRegex(prefix + "short\r\n" + prefix + std::string(3911 - strlen("short\n"), 'x') +
                             "\\[\\.\\.\\.\\]\r\n"));
}

TEST(Processes, aQuitSignalLogsWhereEveryThreadStands) {
    const LogCapture log;
    Process process({programPath("log_probe"), "threads"});
    ASSERT_TRUE(process.waitForOutput("ready"));
    for (const size_t heads : {4U, 8U}) {
        process.send(SIGQUIT);
        for (int tries = 0; tries < 2000 && log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "pid=") < heads; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    const auto texts = log.texts(ORINLOG_INFO);
    EXPECT_EQ(log.records().size(), texts.size()) << log;
    EXPECT_THAT(texts, Each(AnyOf(StartsWith("===="), MatchesRegex("    [0-9]+: 0x[0-9a-f]+"),
                                  MatchesRegex("pid=" + std::to_string(process.pid()) +
                                               " tid=[0-9]+ \\[log_probe\\] \\[log_probe\\]:"))));
    std::set<std::string> heads;
    std::copy_if(texts.begin(), texts.end(), std::inserter(heads, heads.end()),
                 [](const std::string& text) { return text.starts_with("pid="); });
    EXPECT_EQ(heads.size(), 4U);
    EXPECT_EQ(log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "===="), 2U);
    EXPECT_GE(log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, ": 0x"), 14U) << log;
    EXPECT_EQ(process.out(), "ready\n");
}

}  // namespace
