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

namespace fs = std::filesystem;

constexpr int32_t GROUP = 4;

class StatusFiles : public ::testing::Test {
  protected:
    ~StatusFiles() override {
        fs::remove(syncFile);
        fs::remove(errorFile);
    }
    static std::string syncPid() {
        const Malloced<char> text(orin_ctsync_readSyncPid(GROUP));
        return text != nullptr ? text.get() : "none";
    }

    const std::string syncFile = "/data/etc/googlesync_4.syn";
    const std::string errorFile = "/data/etc/googleclient_4.err";
};

TEST_F(StatusFiles, ARunIsVisibleFromItsStartToItsEnd) {
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_SYNC_FILE), 0);
    EXPECT_EQ(orin_ctsync_startet(4711001, GROUP), 1);
    EXPECT_EQ(orin_ctsync_startet(1234, GROUP), 1);
    EXPECT_EQ(readFile(syncFile), "1234 \n");
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_SYNC_FILE), 1);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_ERROR_FILE), 0);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, 2), CTSYNC_NO_SUCH_FILE);
    EXPECT_EQ(syncPid(), "1234 ");
    EXPECT_EQ(orin_ctsync_removeSyncFile(GROUP), 1);
    EXPECT_EQ(orin_ctsync_removeSyncFile(GROUP), 0);
    EXPECT_EQ(syncPid(), "none");
}

TEST_F(StatusFiles, AFailedRunLeavesItsCode) {
    orin_ctsync_writeError(GROUP, 8128);
    EXPECT_EQ(readFile(errorFile), "4,8128\n");
    EXPECT_EQ(orin_ctsync_readError(GROUP), 8128);
    EXPECT_EQ(orin_ctsync_startet(1, 65536), 1);
    orin_ctsync_removeAllSyncFiles();
    EXPECT_EQ(orin_ctsync_fileExists(65536, CTSYNC_SYNC_FILE), 0);
    EXPECT_EQ(orin_ctsync_fileExists(GROUP, CTSYNC_ERROR_FILE), 1);
    EXPECT_EQ(orin_ctsync_removeErrorFile(GROUP), 1);
    EXPECT_EQ(orin_ctsync_removeErrorFile(GROUP), 0);
    EXPECT_EQ(orin_ctsync_readError(GROUP), 0);
}

TEST_F(StatusFiles, OddContentIsReadAsFarAsItGoes) {
    const std::pair<const char*, int> errors[] = {
        {"", 0}, {"4", 0}, {"4,", 0}, {"\n4,8128\n", 0}, {"4,8119,1\n", 8119}, {"4,8104", 8104}};
    for (const auto& [content, code] : errors) {
        writeFile(errorFile, content);
        EXPECT_EQ(orin_ctsync_readError(GROUP), code) << content;
    }
    const std::pair<std::string, std::string> pids[] = {
        {"", "none"}, {"77\r\n88\n", "77"}, {std::string(300, '9'), std::string(253, '9')}};
    for (const auto& [content, pid] : pids) {
        writeFile(syncFile, content);
        EXPECT_EQ(syncPid(), pid);
    }
}

TEST_F(StatusFiles, AFileThatCannotBeOpenedIsNotLoggedAndAFullDiskIs) {
    LogCapture log;
    fs::create_directory(syncFile);
    EXPECT_EQ(orin_ctsync_startet(1, GROUP), 0);
    EXPECT_FALSE(log.has(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, "orin_ctsync_startet"));
    fs::remove(syncFile);
    fs::create_symlink("/dev/full", syncFile);
    EXPECT_EQ(orin_ctsync_startet(1, GROUP), 1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(log.has(ORINLOG_CAT_CT_SYNC, ORINLOG_ERROR, "orin_ctsync_startet: No space left on device (28)"));
}

}  // namespace
