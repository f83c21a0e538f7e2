// Which records are wanted, and what they hold when they reach the logger device.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "file_tools.h"
#include "log_capture.h"
#include "orinlog.h"

namespace {

using testing::ElementsAre;

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "records_test.c"};

// The highest levels that are enabled for some categories: with an entry, without, the one for the log itself, beyond
// those that have entries, and no category.
std::vector<uint32_t> enabledLevels(OrinlogLevelMem* memory) {
    std::vector<uint32_t> levels;
    for (const uint32_t category : {ORINLOG_CAT_DB, ORINLOG_CAT_CT_SYNC, ORINLOG_CAT_ORINLOG, 625U, 700U}) {
        uint32_t level = 0;
        while (level < 20 && orinlog_levelEnabled(memory, category, level + 1)) {
            ++level;
        }
        levels.push_back(level);
    }
    return levels;
}

// A level memory of the test's own, beside the process's.
struct OwnLevels {
    OrinlogSharedLevels shared{};
    OrinlogLevelMem memory{{1}, {0}, PTHREAD_MUTEX_INITIALIZER, &shared};
};

TEST(Levels, areACategorysOwnElseTheDefaultAndWithoutAMemoryThoseOfErrors) {
    OwnLevels own;
    orinlog_setLevel(&own.memory, ORINLOG_CAT_OTHER, ORINLOG_INFO);
    orinlog_setLevel(&own.memory, ORINLOG_CAT_DB, 9);
    EXPECT_THAT(enabledLevels(&own.memory), ElementsAre(ORINLOG_EDEBUG, ORINLOG_INFO, ORINLOG_INFO, 0, 0));
    EXPECT_FALSE(orinlog_levelEnabled(&own.memory, 700, ORINLOG_NONE));
    EXPECT_EQ(orinlog_getLevel(&own.memory, ORINLOG_CAT_DB), 9U);
    EXPECT_EQ(orinlog_getLevel(&own.memory, ORINLOG_CAT_CT_SYNC), 0U);
    EXPECT_EQ(orinlog_getEffectiveLevel(&own.memory, ORINLOG_CAT_CT_SYNC), ORINLOG_INFO);

    OwnLevels copy;
    OrinlogLevelMem absent{{0}, {0}, PTHREAD_MUTEX_INITIALIZER, nullptr};
    orinlog_copyLevels(&copy.memory, &own.memory);
    orinlog_copyLevels(&copy.memory, &absent);
    EXPECT_THAT(copy.shared.levels, testing::ElementsAreArray(own.shared.levels));
    orinlog_setAllLevels(&copy.memory, ORINLOG_WARNING);
    EXPECT_THAT(enabledLevels(&copy.memory), ElementsAre(ORINLOG_WARNING, ORINLOG_WARNING, ORINLOG_WARNING, 0, 0));

    orinlog_setAllLevels(&absent, ORINLOG_EDEBUG);
    EXPECT_THAT(enabledLevels(&absent), testing::Each(ORINLOG_ERROR));
    EXPECT_EQ(orinlog_getLevel(&absent, ORINLOG_CAT_OTHER), ORINLOG_ERROR);
}

TEST(Levels, thatTheAdministratorSetsHoldAtOnceAndAnUnwantedRecordCostsNothing) {
    const LogCapture log;
    int evaluated = 0;
    orinlog_setLevel(&orinlog_level_mem, ORINLOG_CAT_CT_SYNC, ORINLOG_DEBUG);
    ORINLOG(ORINLOG_DEBUG, "%d", ++evaluated);
    std::string levels = readFile(loggerFile("levels"));
    levels.at(8 + 4 * 109) = ORINLOG_INFO;
    writeFile(loggerFile("levels"), levels);
    ORINLOG(ORINLOG_DEBUG, "%d", ++evaluated);
    ORINLOG_FN(ORINLOG_INFO, "%d", ++evaluated);
    EXPECT_THAT(log.texts(ORINLOG_DEBUG), ElementsAre("1"));
    EXPECT_EQ(log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "TestBody: 2"), 1U);
    orinlog_setAllLevels(&orinlog_level_mem, ORINLOG_EDEBUG);
}

void emit(const std::string& file, const std::string& function, const std::string& text) {
    orinlog_message(ORINLOG_CAT_DB, ORINLOG_WARNING, file.c_str(), orinlog_nameLength(file.c_str()), function.c_str(),
                    orinlog_nameLength(function.c_str()), 4711, 0, "%s", text.c_str());
}

TEST(Records, aRecordHasItsWireFormat) {
    emit("some.c", "someFunction", "text");
    std::string expected(ORINLOG_RECORD_HEADER_SIZE, '\0');
    expected.replace(8, 4, "\xFF\xFF\xFF\xFF");
    expected[52] = ORINLOG_CAT_DB;
    expected[56] = ORINLOG_WARNING;
    expected.replace(60, 6, "some.c");
    expected.replace(92, 12, "someFunction");
    expected.replace(124, 2, "\x67\x12");
    expected[180] = 4;
    EXPECT_THAT(readFile(loggerFile("records")), testing::EndsWith(expected + "text" + '\0'));
}

TEST(Records, whatDoesNotFitIsCutAndALongPathIsTheNameBehindItsLastSlash) {
    const LogCapture log;
    const std::string name(23, 'n');
    const std::string path = "a/b/c/" + name + ".c";
    emit(path, std::string(32, 'f'), std::string(3911, 'x'));
    emit("a" + path, std::string(40, 'f'), std::string(3912, 'x'));
    emit("d/" + std::string(40, 'n'), "f", std::string(5000, 'x'));
    emit(std::string(40, 'n'), "f", "");
    std::vector<std::string> shown;
    for (const auto& record : log.records()) {
        shown.push_back(record.file + ' ' + record.function + ' ' + std::to_string(record.text.size()) +
                        (record.flags == ORINLOG_RECORD_TRUNCATED ? " cut" : ""));
    }
    const std::string function(32, 'f');
    EXPECT_THAT(shown, ElementsAre(path + ' ' + function + " 3911", name + ".c " + function + " 3911 cut",
                                   std::string(32, 'n') + " f 3911 cut", std::string(32, 'n') + " f 0"));
}

TEST(Records, aBufferIsLoggedPieceByPiece) {
    const LogCapture log;
    const std::string buffer = "one;;" + std::string(4000, 'x') + ";last;beyond";
    errno = EXDEV;
    orinlog_message_split_by_delim(ORINLOG_CAT_WGET, ORINLOG_DEBUG, ORINLOG_RECORD_SHOW_NUMBER, buffer.data(),
                                   buffer.size() - strlen("beyond"), ';', "<%d> ", 7);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_THAT(log.texts(ORINLOG_DEBUG), ElementsAre("<7> one", "<7> ", "<7> " + std::string(3907, 'x'), "<7> last"));
    EXPECT_EQ(log.records().at(2).flags, ORINLOG_RECORD_SHOW_NUMBER | ORINLOG_RECORD_TRUNCATED);
    EXPECT_THAT(testing::PrintToString(log.records().back()),
                testing::MatchesRegex("616-4 common/orinlog_message_common .*:69 <7> last \\[flagged\\]"));
}

TEST(Records, aLineOfTheTlsLibraryIsLoggedForItsPlaceUnlessTheDeviceIsDisabled) {
    const LogCapture log;
    OrinlogOpensslContext place{ORINLOG_CAT_WGET, ORINLOG_ERROR, "wget.c", 12, "fetch"};
    orinlog_disableDevice(&orinlog_device_orinlog);
    orinlog_openssl_cb("lost", 4, &place);
    orinlog_enableDevice(&orinlog_device_orinlog);
    EXPECT_EQ(orinlog_openssl_cb("bad certificate\n", 16, &place), 0);
    EXPECT_EQ(orinlog_openssl_cb(nullptr, 0, &place), 0);
    EXPECT_EQ(orinlog_openssl_cb("x", 1, nullptr), 0);
    OrinlogOpensslContext nowhere{ORINLOG_CAT_WGET, ORINLOG_ERROR, nullptr, 0, nullptr};
    EXPECT_EQ(orinlog_openssl_cb("x", 1, &nowhere), 0);
    orinlog_disableDevice(nullptr);
    EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre("wget.c:12:fetch(): bad certificate", "(null):0:(null)(): x"));
    EXPECT_EQ(log.count(ORINLOG_CAT_WGET, ORINLOG_ERROR), 2U);
}

}  // namespace

#ifdef __SANITIZE_ADDRESS__
// The compiler comes without the header of its runtime's allocator.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));

TEST(Records, needNoMemory) {
    static int allocations = 0;
    const std::string text(5000, 'x');
    __sanitizer_install_malloc_and_free_hooks([](const volatile void*, size_t) { ++allocations; },
                                              [](const volatile void*) {});
    delete new char;
    ASSERT_EQ(allocations, 1);
    orinlog_message(ORINLOG_CAT_DB, ORINLOG_ERROR, "f.c", 4, "f", 2, 1, 0, "%s %d", text.c_str(), 5);
    orinlog_message_split_by_delim(ORINLOG_CAT_DB, ORINLOG_ERROR, 0, text.c_str(), 100, ';', "%s", text.c_str());
    EXPECT_EQ(allocations, 1);
}
#endif
