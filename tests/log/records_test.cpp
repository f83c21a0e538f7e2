// What a record holds when it reaches the logger device.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "file_tools.h"
#include "log_capture.h"
#include "orinlog.h"

#ifdef __SANITIZE_ADDRESS__
// The compiler comes without the header of its runtime's allocator.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));
#endif

namespace {

using testing::ElementsAre;

int emit(const std::string& file, const std::string& function, const std::string& text) {
    return orinlog_message(ORINLOG_CAT_DB, ORINLOG_WARNING, file.c_str(), orinlog_nameLength(file.c_str()),
                           function.c_str(), orinlog_nameLength(function.c_str()), 4711, 0, "%s", text.c_str());
}

std::string recordedFile(const std::string& file) {
    const LogCapture log;
    emit(file, "f", "t");
    return log.records().at(0).file;
}

TEST(Records, aRecordHasItsWireFormat) {
    const LogCapture log;
    EXPECT_EQ(emit("some.c", "someFunction", "text"), 0);
    ASSERT_EQ(log.records().size(), 1U) << log;
    const std::string all = readFile(loggerFile("records"));
    const std::string bytes = all.substr(all.size() - (ORINLOG_RECORD_HEADER_SIZE + 5));
    std::string expected(ORINLOG_RECORD_HEADER_SIZE, '\0');
    expected.replace(8, 4, "\xFF\xFF\xFF\xFF");
    expected[52] = ORINLOG_CAT_DB;
    expected[56] = ORINLOG_WARNING;
    expected.replace(60, 6, "some.c");
    expected.replace(92, 12, "someFunction");
    expected.replace(124, 2, "\x67\x12");
    expected[180] = 4;
    EXPECT_EQ(bytes, expected + "text" + '\0');
}

TEST(Records, aTextThatDoesNotFitIsCutAndMarked) {
    const LogCapture log;
    emit("f.c", "f", std::string(3911, 'x'));
    emit("f.c", "f", std::string(3912, 'x'));
    emit("f.c", "f", std::string(5000, 'x'));
    const auto records = log.records();
    ASSERT_EQ(records.size(), 3U);
    for (const auto& record : records) {
        EXPECT_EQ(record.text, std::string(3911, 'x'));
    }
    EXPECT_EQ(records[0].flags, 0U);
    EXPECT_EQ(records[1].flags, ORINLOG_RECORD_TRUNCATED);
    EXPECT_EQ(records[2].flags, ORINLOG_RECORD_TRUNCATED);
}

TEST(Records, aLongPathIsRecordedAsTheNameBehindItsLastSlash) {
    const std::string of31 = "a/b/c/" + std::string(23, 'n') + ".c";
    EXPECT_EQ(recordedFile(of31), of31);
    EXPECT_EQ(recordedFile("a" + of31), std::string(23, 'n') + ".c");
    EXPECT_EQ(recordedFile(std::string(40, 'd') + "/x.c"), "x.c");
    EXPECT_EQ(recordedFile(std::string(40, 'n')), std::string(32, 'n'));
    EXPECT_EQ(recordedFile("d/" + std::string(40, 'n')), std::string(32, 'n'));
}

TEST(Records, aLongFunctionNameIsCut) {
    const LogCapture log;
    emit("f.c", std::string(32, 'f'), "t");
    emit("f.c", std::string(40, 'g'), "t");
    EXPECT_EQ(log.records().at(0).function, std::string(32, 'f'));
    EXPECT_EQ(log.records().at(1).function, std::string(32, 'g'));
}

TEST(Records, aBufferIsLoggedPieceByPiece) {
    const LogCapture log;
    const std::string buffer = "one;;" + std::string(4000, 'x') + ";last;beyond";
    errno = EXDEV;
    EXPECT_EQ(orinlog_message_split_by_delim(ORINLOG_CAT_WGET, ORINLOG_DEBUG, ORINLOG_RECORD_SHOW_NUMBER, buffer.data(),
                                             buffer.size() - strlen("beyond"), ';', "<%d> ", 7),
              0);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_THAT(log.texts(ORINLOG_DEBUG), ElementsAre("<7> one", "<7> ", "<7> " + std::string(3907, 'x'), "<7> last"));
    const auto records = log.records();
    EXPECT_EQ(records.at(2).flags, ORINLOG_RECORD_SHOW_NUMBER | ORINLOG_RECORD_TRUNCATED);
    EXPECT_EQ(records.at(3).flags, ORINLOG_RECORD_SHOW_NUMBER);
    EXPECT_EQ(records.at(3).category, ORINLOG_CAT_WGET);
    EXPECT_EQ(records.at(3).file, "common/orinlog_message_common");
    EXPECT_EQ(records.at(3).line, 69U);
}

TEST(Records, aLineOfTheTlsLibraryIsLoggedForItsPlace) {
    const LogCapture log;
    OrinlogOpensslContext place{ORINLOG_CAT_WGET, ORINLOG_ERROR, "wget.c", 12, "fetch"};
    EXPECT_EQ(orinlog_openssl_cb("bad certificate\n", 16, &place), 0);
    EXPECT_EQ(orinlog_openssl_cb(nullptr, 0, &place), 0);
    EXPECT_EQ(orinlog_openssl_cb("x", 1, nullptr), 0);
    EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre("wget.c:12:fetch(): bad certificate"));
    EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "")) << log;
}

TEST(Records, aDisabledDeviceGetsNothing) {
    const LogCapture log;
    orinlog_disableDevice(&orinlog_device_orinlog);
    emit("f.c", "f", "lost");
    orinlog_enableDevice(&orinlog_device_orinlog);
    emit("f.c", "f", "kept");
    EXPECT_THAT(log.texts(ORINLOG_WARNING), ElementsAre("kept"));
}

#ifdef __SANITIZE_ADDRESS__
size_t allocations = 0;

TEST(Records, loggingAllocatesNothing) {
    const std::string text(5000, 'x');
    ASSERT_NE(__sanitizer_install_malloc_and_free_hooks([](const volatile void*, size_t) { ++allocations; },
                                                        [](const volatile void*) {}),
              0);
    delete new char;
    ASSERT_EQ(allocations, 1U);
    orinlog_message(ORINLOG_CAT_DB, ORINLOG_ERROR, "f.c", 4, "f", 2, 1, 0, "%s %d", text.c_str(), 5);
    orinlog_message_split_by_delim(ORINLOG_CAT_DB, ORINLOG_ERROR, 0, text.c_str(), 100, ';', "%s", text.c_str());
    EXPECT_EQ(allocations, 1U);
}
#endif

}  // namespace
