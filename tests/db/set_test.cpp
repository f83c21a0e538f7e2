// Opening the set: creation, several processes at once, what cannot be opened.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "env_var.h"
#include "file_tools.h"
#include "orindb_version.h"
#include "set_world.h"
#include "temp_dir.h"

namespace {

namespace fs = std::filesystem;

constexpr char LOCK_FILE[] = "/tmp/dblockfile~";

class NewSet : public NewMachine {
  protected:
    ~NewSet() override {
        orindb_closeAllDbs(&db);
    }
    int open(int flags = ORINDB_NOTIFY_CHANGES, const char* directory = nullptr) {
        orindb_closeAllDbs(&db);
        return orindb_openAllDbsWithDefaultNames(&db, directory, flags);
    }
    // All schema texts and rows of a file.
    static std::string content(const char* file) {
        std::string all;
        for (const auto& object : sqlitePeek(file, "SELECT name, sql, type FROM sqlite_master ORDER BY name")) {
            all += object[1] + '\n';
            if (object[2] == "table") {
                all += testing::PrintToString(sqlitePeek(file, "SELECT * FROM " + object[0])) + '\n';
            }
        }
        return all;
    }
    static std::array<std::string, 3> contents() {
        return {content(KONFIG_FILE), content(CALL_RECORDS_FILE), content(PBX_FILE)};
    }
    // What shows that anything was written.
    static std::pair<std::string, fs::file_time_type> bytesAndTime() {
        return {readFile(KONFIG_FILE) + readFile(CALL_RECORDS_FILE) + readFile(PBX_FILE),
                fs::last_write_time(KONFIG_FILE)};
    }

    DbContext db{};
};

TEST_F(NewSet, MissingFilesAreCreatedWithTheirTablesAndDefaultRows) {
    ASSERT_EQ(open(), ORINDB_OK);
    const auto [konfig, callRecords, pbx] = contents();
    const std::string all = konfig + callRecords + pbx;
    for (const char* text :
         {"CREATE TABLE Contact\n(\n    contactId           INTEGER(1),\n    contactGrpBitfield  INTEGER(1),\n    "
          "PRIMARY KEY(contactId))\n",
          "CREATE TABLE ContactDetail\n(\n    contactId           INTEGER(1),\n    key                 INTEGER(1),\n"
          "    value               VARCHAR(1),\n    PRIMARY KEY(contactId, key))\n",
          "CREATE INDEX ContactDetail_Index_Value ON ContactDetail (value DESC)\n",
          "CREATE INDEX ContactDetail_Index_ContactId ON ContactDetail (contactId DESC)\n",
          "CREATE TABLE GoogleServerConfig\n(\n    googleAccountId INTEGER(1),\n    contactGroupId  BIGINT(1),\n    "
          "accountname     VARCHAR(1),\n    serverusername  VARCHAR(1),\n    refreshToken    VARCHAR(1),\n    "
          "needsNewAuth    INTEGER(1),\n    googleGroup     VARCHAR(1),\n    updateinterval  INTEGER(1),\n    "
          "lastupdatetime  VARCHAR(1),\n    serveractiv     INTEGER(1),\n    updatestarttime\tVARCHAR(1),\n    "
          "updatetime  \tVARCHAR(1),\n    PRIMARY KEY(googleAccountId))\n",
          "CREATE TABLE DbFileVersion\n(\n    key              INTEGER(1),\n    version          INTEGER(1),\n    "
          "device           VARCHAR(1),\n    minorVersion     INTEGER(1),\n    PRIMARY KEY(key)\n)\n",
          R"({ "1", "1987", "KV7200", "6" })", R"({ "1", "11", "KV7200", "0" })", R"({ "1", "6", "KV7200", "0" })",
          R"({ "1", "0", "Telefonbuch Standard" })", R"({ "268435456", "0", "T&uuml;rstation" })",
          R"({ "2147483648", "5", "CSV-Import" })", R"({ "TkLand", "49" })"}) {
        EXPECT_THAT(all, testing::HasSubstr(text));
    }
    EXPECT_EQ(errors(), 0U) << log;
}

TEST_F(NewSet, ASecondOpeningWritesNothingAndLeavesNothingOpen) {
    ASSERT_EQ(open(), ORINDB_OK);
    orindb_closeAllDbs(&db);
    const auto before = bytesAndTime();
    const auto openFiles = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    const auto filesBefore = openFiles();
    ASSERT_EQ(open(), ORINDB_OK);
    orindb_closeAllDbs(&db);
    EXPECT_EQ(bytesAndTime(), before);
    EXPECT_EQ(openFiles(), filesBefore);
}

TEST_F(NewSet, ACreationThatFailsAnywhereIsDoneByTheNextStart) {
    ASSERT_EQ(open(), ORINDB_OK);
    const auto whole = contents();
    for (int allowed = 0;; ++allowed) {
        orindb_closeAllDbs(&db);
        for (const char* file : {KONFIG_FILE, CALL_RECORDS_FILE, PBX_FILE}) {
            fs::remove(file);
        }
        {
            const FailingSql full(allowed, SQLITE_FULL);
            const int result = open();
            if (!FailingSql::hasFailed()) {
                EXPECT_EQ(result, ORINDB_OK);
                EXPECT_GT(allowed, 40);
                return;
            }
            EXPECT_TRUE(result == ORINDB_OK || db.handles[ORINDB_KONFIG].connection == nullptr);
        }
        const auto partly = contents();
        for (size_t i = 0; i < whole.size(); ++i) {
            EXPECT_TRUE(partly[i].empty() || partly[i] == whole[i]) << "file " << i << " after call " << allowed;
        }
        ASSERT_EQ(open(), ORINDB_OK) << "after call " << allowed;
        ASSERT_EQ(contents(), whole) << "after call " << allowed;
    }
}

TEST_F(NewSet, EightProcessesThatStartAtOnceCreateItOnce) {
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(fork());
        if (children.back() == 0) {
            alarm(60);
            ::close(gate[1]);
            char byte = 0;
            _exit(read(gate[0], &byte, 1) == 0 && open() == ORINDB_OK ? 0 : 1);
        }
    }
    ::close(gate[0]);
    ::close(gate[1]);
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_EDEBUG, "db_exec(): CREATE TABLE Contact\n"), 1U);
    EXPECT_EQ(errors(), 0U) << log;
}

TEST_F(NewSet, TheFilesAreTouchedOnlyUnderTheLock) {
    const int lock = ::open(LOCK_FILE, O_RDWR | O_CREAT, 0666);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    auto opening = std::async(std::launch::async, [this] { return open(); });
    EXPECT_EQ(opening.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_TRUE(fs::is_empty("/data/db"));
    ASSERT_EQ(flock(lock, LOCK_UN), 0);
    EXPECT_EQ(opening.get(), ORINDB_OK);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    ::close(lock);
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orindb_lock: locked"));
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orindb_unlock: unlocked"));
}

TEST_F(NewSet, ALockThatCannotBeHadDoesNotStopTheStart) {
    fs::create_directory(LOCK_FILE);
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_lock: open(/tmp/dblockfile~) failed: Is a directory (21)"));
}

TEST_F(NewSet, AReaderNeitherLocksNorFillsFiles) {
    ASSERT_EQ(open(ORINDB_READONLY), ORINDB_OK);
    orindb_closeAllDbs(&db);
    EXPECT_EQ(bytesAndTime().first, "");
    EXPECT_FALSE(fileExists(LOCK_FILE));
    EXPECT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_OK) << "an empty file is filled by the next start";
    EXPECT_FALSE(content(KONFIG_FILE).empty());
}

TEST_F(NewSet, WithoutADataDirectoryNothingIsOpened) {
    const TempDir home;
    const EnvVar variable("HOME", home.path().c_str());
    const std::string fallback = home.file("rootfs-kv7200/data/db");
    fs::remove("/data/db");
    EXPECT_EQ(open(ORINDB_NOTIFY_CHANGES, ""), ORINDB_NO_DATA_DIRECTORY);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_openDbWithDefaultNames(): path=" + fallback + " existiert nicht"));
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orindb_unlock: unlocked"));
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_openAllDbsWithDefaultNames failed: returnCode=8019 konfigDbPath=" +
                                           fallback + "/konfig9.db process=/"));
    EXPECT_EQ(open(0, "/data/nowhere"), ORINDB_NO_DATA_DIRECTORY);
    fs::create_directories(fallback);
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_TRUE(fileExists(fallback + "/konfig9.db"));
    EXPECT_EQ(orindb_openAllDbsWithDefaultNames(nullptr, nullptr, 0), ORINDB_INVALID_PARAMETER);
}

TEST_F(NewSet, WhatIsNoDatabaseFailsTheOpening) {
    fs::create_directory(PBX_FILE);
    EXPECT_EQ(open(), ORINDB_FAILED);
    fs::remove(PBX_FILE);
    writeFile(PBX_FILE, std::string(5000, 'x'));
    EXPECT_EQ(open(), ORINDB_FAILED);
    EXPECT_EQ(readFile(PBX_FILE), std::string(5000, 'x'));
    EXPECT_TRUE(hasLine(ORINLOG_INFO,
                        "sqliteLogCallback: errCode=26 msg=statement aborts at 1: [BEGIN IMMEDIATE TRANSACTION] file"))
        << log;
    EXPECT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_FAILED);
    EXPECT_FALSE(fileExists(PBX_FILE)) << "the check removes a damaged file";
    EXPECT_EQ(open(), ORINDB_OK);
}

TEST_F(NewSet, AFileOfAnotherVersionIsConverted) {
    ASSERT_EQ(open(), ORINDB_OK);
    for (const auto& [change, version] :
         {std::pair{"version=1986", "1986:6"}, {"version=1987, minorVersion=5", "1987:5"}}) {
        sqliteChange(KONFIG_FILE, std::string("UPDATE DbFileVersion SET ") + change);
        EXPECT_EQ(open(), ORINDB_OK);
        EXPECT_EQ(sqlitePeek(KONFIG_FILE, "SELECT version, minorVersion FROM DbFileVersion"),
                  (SqliteRows{{"1987", "6"}}));
        EXPECT_TRUE(hasLine(ORINLOG_INFO, std::string("Unterschiedliche Version: DB-File-Version=") + version +
                                              " != DB-Client-Version=1987:6"));
    }
}

TEST_F(NewSet, AVersionTableThatCannotTakeTheRowIsMadeAnew) {
    ASSERT_EQ(open(), ORINDB_OK);
    sqliteChange(PBX_FILE, "DROP TABLE DbFileVersion; CREATE TABLE DbFileVersion(x)");
    EXPECT_EQ(orindb_setClientVersionInDbFile(&db, ORINDB_PBX, 12, 3), ORINDB_OK);
    EXPECT_EQ(sqlitePeek(PBX_FILE, "SELECT * FROM DbFileVersion"), (SqliteRows{{"1", "12", "KV7200", "3"}}));
    EXPECT_EQ(errors(), 0U);
}

}  // namespace
