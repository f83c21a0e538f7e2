// Opening the set: creation, take-over and conversion of other versions' files, and what kills, full disks, damage and
// other processes make of it.
#include <sys/file.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>

#include "env_var.h"
#include "file_tools.h"
#include "set_world.h"
#include "temp_dir.h"

namespace {

namespace fs = std::filesystem;

constexpr char OLD_KONFIG[] = "/data/db/konfig8.db";
constexpr char OLD_PBX[] = "/data/db/pbx3.db";

// What makes an old file of a new one: another version, a table in another form, and one that only other programs know.
constexpr char AGE[] =
    "UPDATE DbFileVersion SET version=1800, minorVersion=1, device='KV7000'; DROP TABLE Contact;"
    "CREATE TABLE Contact(contactId INTEGER PRIMARY KEY, oldName TEXT, contactGrpBitfield); "
    "CREATE TABLE Gruppe(id INTEGER PRIMARY KEY AUTOINCREMENT, name); CREATE INDEX GruppeName ON Gruppe(name);"
    "INSERT INTO Contact VALUES(17,'Anna',2),(4,'Bert',268435456); INSERT INTO Gruppe VALUES(9,'Büro'),(3,NULL);";

class Set : public NewMachine {
  protected:
    ~Set() override {
        orindb_closeAllDbs(&db);
    }
    int open(int flags = 0, const char* directory = nullptr) {
        orindb_closeAllDbs(&db);
        return orindb_openAllDbsWithDefaultNames(&db, directory, flags);
    }
    // A directory with older files only.
    void makeOldFiles() {
        ASSERT_EQ(open(), ORINDB_OK);
        orindb_closeAllDbs(&db);
        sqliteChange(KONFIG_FILE, AGE);
        sqliteChange(PBX_FILE,
                     "UPDATE DbFileVersion SET version=5; CREATE TABLE Other(a); INSERT INTO Other VALUES(x'00')");
        fs::rename(KONFIG_FILE, OLD_KONFIG);
        fs::rename(PBX_FILE, OLD_PBX);
        clean();
    }
    // Leaves only what was there before the first start of the new program.
    static void clean() {
        for (const auto& entry : fs::directory_iterator("/data/db")) {
            if (entry.path() != OLD_KONFIG && entry.path() != OLD_PBX) {
                fs::remove_all(entry.path());
            }
        }
    }
    // What each file holds; a missing one nothing.
    static std::vector<std::string> dumps(std::initializer_list<const char*> files) {
        std::vector<std::string> all;
        for (const char* file : files) {
            all.push_back(fileExists(file) ? dumpFile(file) : "");
        }
        return all;
    }
    // Runs the starter in a process of its own.
    static pid_t startChild(const std::function<int()>& starter) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            _exit(starter());
        }
        return child;
    }
    // Its exit status, or minus the signal that ended it.
    static int waitFor(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    static void writeProgram(const std::string& path, const std::string& commands) {
        writeFile(path, "#!/bin/sh\n" + commands + '\n');
        fs::permissions(path, fs::perms::owner_all);
    }
    // A fault at the first call, then at the second and so on, until a start needs no more calls: each time every file
    // is missing, empty, as it was or as it shall be, and the next start finishes the job.
    void faultAtEachCall(Fault::Kind kind) {
        const auto old = dumps({OLD_KONFIG, OLD_PBX, "no predecessor"});
        ASSERT_EQ(open(), ORINDB_OK);
        const auto whole = dumps({KONFIG_FILE, PBX_FILE, CALL_RECORDS_FILE});
        int status = 1;
        for (int allowed = 0; status != 0; ++allowed) {
            orindb_closeAllDbs(&db);
            clean();
            log.clear();
            status = waitFor(startChild([&] {
                const Fault fault(kind, allowed);
                const bool isOpen = open() == ORINDB_OK;
                return isOpen && Fault::hasFailed() ? 2 : isOpen ? 0 : 1;
            }));
            EXPECT_TRUE(status == 0 || kind == Fault::sql || (kind == Fault::killed && status == -SIGKILL) ||
                        (kind == Fault::fullDisk && status == 1 && errors() > 0))
                << status;
            const int lock = ::open(LOCK_FILE, O_RDWR | O_CREAT, 0666);
            flock(lock, LOCK_EX);  // a killed program's copy may still be at work
            ::close(lock);
            const auto now = dumps({KONFIG_FILE, PBX_FILE, CALL_RECORDS_FILE});
            for (size_t i = 0; i < now.size(); ++i) {
                EXPECT_TRUE(now[i].empty() || now[i] == old[i] || now[i] == whole[i]) << difference(whole[i], now[i]);
            }
            EXPECT_EQ(open(), ORINDB_OK) << log;
            EXPECT_EQ(dumps({KONFIG_FILE, PBX_FILE, CALL_RECORDS_FILE}), whole);
            ASSERT_FALSE(HasFailure()) << "call " << allowed;
            EXPECT_TRUE(status != 0 || allowed > 40) << allowed;
        }
        EXPECT_EQ(dumps({OLD_KONFIG, OLD_PBX, "no predecessor"}), old);
    }
};

TEST_F(Set, AfterAKillOrAFullDiskAtAnyWriteTheNextStartFinishes) {
    makeOldFiles();
    faultAtEachCall(Fault::killed);
    faultAtEachCall(Fault::fullDisk);
}

TEST_F(Set, ACreationWithAFailingStatementIsDoneByTheNextStart) {
    faultAtEachCall(Fault::sql);
}

TEST_F(Set, MissingFilesGetTheirDefaultRowsAndAreNotWrittenAgain) {
    ASSERT_EQ(open(ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    EXPECT_EQ(rows("SELECT group_concat(contactGroupId||' '||type||' '||name) FROM ContactGroup"),
              "1 0 Telefonbuch Standard,67108864 0 Teilnehmer,134217728 0 Gruppe,268435456 0 T&uuml;rstation,"
              "536870912 0 Ansageausgang,1073741824 0 Notruf,2147483648 5 CSV-Import;");
    EXPECT_EQ(rows("SELECT value FROM PbxMisc WHERE key='TkLand'", PBX_FILE), "49;");
    orindb_closeAllDbs(&db);
    const auto state = [] {
        return std::tuple(readFile(KONFIG_FILE), readFile(PBX_FILE), fs::last_write_time(KONFIG_FILE),
                          std::distance(fs::directory_iterator("/proc/self/fd"), {}));
    };
    const auto before = state();
    ASSERT_EQ(open(ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    orindb_closeAllDbs(&db);
    EXPECT_EQ(state(), before) << "nothing is written or left open";
    EXPECT_EQ(errors(), 0U) << log;
}

TEST_F(Set, TheFilesAreTouchedOnlyUnderTheLock) {
    const int lock = ::open(LOCK_FILE, O_RDWR | O_CREAT, 0666);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    auto opening = std::async(std::launch::async, [this] { return open(); });
    EXPECT_EQ(opening.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_TRUE(fs::is_empty("/data/db"));
    ASSERT_EQ(flock(lock, LOCK_UN), 0);
    EXPECT_EQ(opening.get(), ORINDB_OK);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    ::close(lock);
    clean();
    fs::remove(LOCK_FILE);
    EXPECT_EQ(open(ORINDB_READONLY), ORINDB_OK) << "a reader neither locks nor fills files";
    EXPECT_FALSE(fileExists(LOCK_FILE));
    EXPECT_EQ(readFile(KONFIG_FILE), "");
}

TEST_F(Set, WithoutADataDirectoryNothingIsOpened) {
    const TempDir home;
    const EnvVar variable("HOME", home.path().c_str());
    const std::string fallback = home.file("rootfs-kv7200/data/db");
    fs::remove("/data/db");
    EXPECT_EQ(open(ORINDB_NOTIFY_CHANGES, ""), ORINDB_NO_DATA_DIRECTORY);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_openDbWithDefaultNames(): path=" + fallback + " existiert nicht"));
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orindb_unlock: unlocked"));
    fs::create_directories(fallback);
    EXPECT_EQ(open(0, (fallback + std::string(DB_FILE_NAME_SIZE, '/')).c_str()), ORINDB_NO_DATA_DIRECTORY) << "not cut";
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_TRUE(fileExists(fallback + "/konfig9.db"));
}

TEST_F(Set, ACopyThatFailsLeavesNoFile) {
    makeOldFiles();
    const EnvVar path("PATH", "/tmp/failing:/bin:/usr/bin");
    for (const std::string copied : {"0", "8192"}) {
        writeProgram("/tmp/failing/cp", "head -c " + copied + " \"$2\" >\"$3\"; exit 1");
        EXPECT_EQ(open(), ORINDB_FAILED);
        EXPECT_FALSE(fileExists(KONFIG_FILE) || fileExists(CALL_RECORDS_FILE)) << "nothing is created";
    }
}

TEST_F(Set, ACopyThatOutlivesItsStarterIsWaitedFor) {
    makeOldFiles();
    writeProgram("/tmp/slow/cp", "read nothing </tmp/slow/go; sleep 0.2; /bin/cp \"$@\"; : >/tmp/slow/done");
    mkfifo("/tmp/slow/go", 0666);
    const pid_t starter = startChild([&] {
        setenv("PATH", "/tmp/slow:/bin:/usr/bin", 1);
        return open();
    });
    std::ofstream held("/tmp/slow/go");  // is open when the copy has begun, which goes on when it is closed
    kill(starter, SIGKILL);
    EXPECT_EQ(waitFor(starter), -SIGKILL);
    EXPECT_FALSE(fileExists(KONFIG_FILE));
    log.clear();
    const auto go = atLine(ORINLOG_DEBUG, "orindb_lock: will lock", [&held] { held.close(); });
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_TRUE(fileExists("/tmp/slow/done"));
    EXPECT_EQ(rows("SELECT COUNT(*) FROM Gruppe"), "2;");
}

TEST_F(Set, TheNewestOlderFileIsTakenOverItsRowsAreKeptAndSoAreTenExports) {
    makeOldFiles();
    for (int round = 1; round <= 12; ++round) {
        sqliteChange(OLD_KONFIG, "UPDATE DbFileVersion SET device='round " + std::to_string(round) + "'");
        const std::string bytes = readFile(OLD_KONFIG);
        const std::string older = "/data/db/konfig" + std::to_string(3 + round % 6) + ".db";
        fs::rename(OLD_KONFIG, older);
        fs::remove(KONFIG_FILE);
        if (round == 6) {
            writeFile(KONFIG_FILE, "");
        }
        ASSERT_EQ(open(), ORINDB_OK) << log;
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "DB-File-Version=1800:1 != DB-Client-Version=1987:6"));
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "orindb_openDb...(): copying older db from " + older + " to " + KONFIG_FILE));
        EXPECT_EQ(readFile(older), bytes);
        fs::rename(older, OLD_KONFIG);
    }
    for (int i = 1; i <= 10; ++i) {
        EXPECT_THAT(readFile("/data/db/konfig9.dbbackup_" + std::to_string(i)),
                    testing::HasSubstr("<device>round " + std::to_string(13 - i) + "<"));
    }
    EXPECT_FALSE(fileExists("/data/db/konfig9.dbbackup_0") || fileExists("/data/db/konfig9.dbbackup_11"));
    EXPECT_EQ(rows("SELECT * FROM Contact ORDER BY 1"), "4|268435456;17|2;");
    EXPECT_EQ(rows("SELECT * FROM Gruppe"), "3|NULL;9|Büro;");
    EXPECT_EQ(rows("SELECT * FROM DbFileVersion"), "1|1987|KV7200|6;");
    EXPECT_EQ(rows("SELECT hex(a) FROM Other", PBX_FILE), "00;");
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_DEBUG,
                        "run shell cmd: rm -rf/data/lighttpd/statics/* /data/log/coredump/*"));
}

TEST_F(Set, EightProcessesThatStartAtOnceConvertOnce) {
    makeOldFiles();
    log.clear();
    const int gate = ::open(LOCK_FILE, O_RDWR);
    ASSERT_EQ(flock(gate, LOCK_EX), 0);
    std::vector<pid_t> children(8);
    std::generate(children.begin(), children.end(), [&] {
        return startChild([&] {
            ::close(gate);
            return open();
        });
    });
    ::close(gate);
    for (const pid_t child : children) {
        EXPECT_EQ(waitFor(child), 0) << log;
    }
    EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_INFO, "Converting DB-File ..."), 2U) << "two files";
    EXPECT_EQ(errors(), 0U) << log;
}

TEST_F(Set, ADamagedFileFailsTheStartAndStaysAsItIsUnlessItIsChecked) {
    makeOldFiles();
    sqliteChange(OLD_KONFIG, "INSERT INTO Gruppe(name) SELECT hex(randomblob(3000)) FROM pragma_function_list");
    const std::string whole = readFile(OLD_KONFIG);
    std::string damaged = whole;
    const size_t page = std::stoul(rows("SELECT rootpage FROM sqlite_master WHERE name='Gruppe'", OLD_KONFIG));
    damaged.replace((page - 1) * 4096, 4096, std::string(4096, '\xa5'));
    for (const std::string& file : {std::string(9000, 'x'), whole.substr(0, 8192), whole.substr(0, 50000), damaged}) {
        writeFile(KONFIG_FILE, file);
        log.clear();
        EXPECT_NE(open(), ORINDB_OK);
        EXPECT_GE(errors(), 1U);
        EXPECT_TRUE(readFile(KONFIG_FILE) == file);
        EXPECT_NE(open(ORINDB_INTEGRITY_CHECK), ORINDB_OK);
        EXPECT_EQ(fileExists(KONFIG_FILE), file == damaged) << "the check's rows are not looked at, only its code";
        EXPECT_EQ(open(ORINDB_INTEGRITY_CHECK), file == damaged ? ORINDB_FAILED : ORINDB_OK) << "taken over again";
    }
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "Converting DB-File failed"));
}

TEST_F(Set, WhatOtherProcessesHoldOrRefuseDoesNotStopIt) {
    makeOldFiles();
    shmctl(shmget(16967, 0, 0), IPC_RMID, nullptr);
    ASSERT_GE(shmget(16967, 100, IPC_CREAT | 0666), 0);
    ASSERT_TRUE(fs::remove(LOCK_FILE) && fs::create_directory(LOCK_FILE));
    fs::copy_file(OLD_KONFIG, KONFIG_FILE);
    const std::jthread held = holdFile(KONFIG_FILE);
    EXPECT_EQ(open(ORINDB_NOTIFY_CHANGES), ORINDB_OK) << log;
    EXPECT_EQ(db.innerDbCachePtr, nullptr);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_lock: open(/tmp/dblockfile~) failed: Is a directory (21)"));
    EXPECT_EQ(_orindb_execDb(&db, ORINDB_KONFIG, "DELETE FROM Gruppe", nullptr, nullptr, "test"), ORINDB_OK);
}

TEST_F(Set, TheCheckOfTheFilesIsFollowedByTheirRepair) {
    makeOldFiles();
    sqliteChange(
        OLD_KONFIG,
        "INSERT INTO ContactDetail VALUES(99,3,'without contact'),(4,3,'65535$0'),(4,4,'5$5'),(4,9,'12$3'),(4,5,''),"
        "(17,9,'65535$0'),(17,8,'gone.jpg'); INSERT INTO "
        "GoogleServerConfig(googleAccountId,contactGroupId,refreshToken) "
        "VALUES(1,1,'t'),(2,424242,'t')");
    ASSERT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM ContactDetail ORDER BY 1,2"), "4|3|65535$0;4|4|5$5;4|9|12;");
    EXPECT_EQ(rows("SELECT googleAccountId FROM GoogleServerConfig"), "1;");
    sqliteChange(KONFIG_FILE, "INSERT INTO ContactDetail VALUES(98,3,'x'); DROP TABLE GoogleServerConfig");
    EXPECT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_FAILED);
    EXPECT_EQ(rows("SELECT COUNT(*) FROM ContactDetail"), "4;") << "all of the repair or nothing";
}

TEST_F(Set, ALargeFileWithHundredsOfUnknownTablesIsConverted) {
    makeOldFiles();
    std::string sql = "BEGIN;";
    for (int table = 0; table < 300; ++table) {
        const std::string name = "Other" + std::to_string(table);
        sql.append("CREATE TABLE ").append(name).append("(a, b TEXT, c REAL, d BLOB); INSERT INTO ");
        sql.append(name).append(
            " WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i+1 FROM n) SELECT random(), "
            "char(1+i%200,8364,128512), i/7.0, randomblob(i%40) FROM n LIMIT ");
        sql.append(table < 100 ? "500;" : "0;");
    }
    sqliteChange(OLD_KONFIG, sql + "COMMIT");
    const auto others = [](const std::string& dump) {
        const size_t schema = dump.find("table|Other0|");
        return dump.substr(schema, dump.find("table|Sonstiges|") - schema) + dump.substr(dump.find(";Other0:"));
    };
    const std::string before = others(dumpFile(OLD_KONFIG));
    EXPECT_GT(before.size(), 4500000U);
    ASSERT_EQ(open(), ORINDB_OK);
    EXPECT_EQ(difference(before, others(dumpFile(KONFIG_FILE))), "");
}

}  // namespace
