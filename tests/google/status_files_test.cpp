// The status files as the web configuration finds them.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "ct_google_web_ets_interface.h"
#include "file_tools.h"
#include "log_capture.h"
#include "orin_memory.h"
#include "orinlog.h"

namespace {

constexpr int32_t GROUP = 4;
constexpr char SYNC_FILE[] = "/data/etc/googlesync_4.syn";
constexpr char ERROR_FILE[] = "/data/etc/googleclient_4.err";

std::string syncPid() {
    const Malloced<char> text(orin_ctsync_readSyncPid(GROUP));
    return text != nullptr ? text.get() : "none";
}

TEST(StatusFiles, ARunIsVisibleFromItsStartToItsEnd) {
    EXPECT_EQ(orin_ctsync_startet(4711001, GROUP), 1);
    EXPECT_EQ(orin_ctsync_startet(1234, GROUP), 1);
    EXPECT_EQ(readFile(SYNC_FILE), "1234 \n");
    EXPECT_EQ(syncPid(), "1234 ");
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_SYNC_FILE), 1);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_ERROR_FILE), 0);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, 2), CTSYNC_NO_SUCH_FILE);
    EXPECT_EQ(orin_ctsync_removeSyncFile(GROUP), 1);
    EXPECT_EQ(orin_ctsync_removeSyncFile(GROUP), 0);
    EXPECT_EQ(syncPid(), "none");

    orin_ctsync_writeError(GROUP, 8128);
    EXPECT_EQ(readFile(ERROR_FILE), "4,8128\n");
    EXPECT_EQ(orin_ctsync_startet(1, 65536), 1);
    orin_ctsync_removeAllSyncFiles();
    EXPECT_EQ(orin_ctsync_fileExists(65536, CTSYNC_SYNC_FILE), 0);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_ERROR_FILE), 1);
    EXPECT_EQ(orin_ctsync_removeErrorFile(GROUP), 1);
    EXPECT_EQ(orin_ctsync_removeErrorFile(GROUP), 0);
    EXPECT_EQ(orin_ctsync_readError(GROUP), 0);
}

TEST(StatusFiles, OddContentIsReadAsFarAsItGoes) {
    const std::pair<const char*, int> errors[] = {
        {"", 0}, {"4", 0}, {"4,", 0}, {"\n4,8128\n", 0}, {"4,8119,1\n", 8119}, {"4,8104", 8104}};
    for (const auto& [content, code] : errors) {
        writeFile(ERROR_FILE, content);
        EXPECT_EQ(orin_ctsync_readError(GROUP), code) << content;
    }
    const std::pair<std::string, std::string> pids[] = {
        {"", "none"}, {"77\r\n88\n", "77"}, {std::string(300, '9'), std::string(253, '9')}};
    for (const auto& [content, pid] : pids) {
        writeFile(SYNC_FILE, content);
        EXPECT_EQ(syncPid(), pid);
    }
    std::filesystem::remove(SYNC_FILE);
    std::filesystem::remove(ERROR_FILE);
}

TEST(StatusFiles, AFileThatCannotBeOpenedIsNotLoggedAndAFullDiskIs) {
    const LogCapture log;
    std::filesystem::create_directory(SYNC_FILE);
    EXPECT_EQ(orin_ctsync_startet(1, GROUP), 0);
    std::filesystem::remove(SYNC_FILE);
    std::filesystem::create_symlink("/dev/full", SYNC_FILE);
    EXPECT_EQ(orin_ctsync_startet(1, GROUP), 1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(log.texts(ORINLOG_ERROR), std::vector<std::string>{"orin_ctsync_startet: No space left on device (28)"});
    std::filesystem::remove(SYNC_FILE);
}

}  // namespace
