// Files of other versions: taken over, converted, kept as backups; and what kills, full disks and damage leave behind.
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/msg.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "db_dump.h"
#include "file_tools.h"
#include "orindb_xml.h"
#include "set_world.h"
#include "write_fault.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr char OLD_KONFIG[] = "/data/db/konfig8.db";
constexpr char OLD_PBX[] = "/data/db/pbx3.db";
constexpr char LOCK_FILE[] = "/tmp/dblockfile~";

// What makes an old file of a new one: another version, a table in another form, and one that only other programs know.
constexpr char AGE[] =
    "UPDATE DbFileVersion SET version=1800, minorVersion=1, device='KV7000'; DROP TABLE Contact;"
    "CREATE TABLE Contact(contactId INTEGER PRIMARY KEY, oldName TEXT, contactGrpBitfield); "
    "CREATE TABLE Gruppe(id INTEGER PRIMARY KEY AUTOINCREMENT, name); CREATE INDEX GruppeName ON Gruppe(name);"
    "INSERT INTO Contact VALUES(17,'Anna',2),(4,'Bert',268435456); INSERT INTO Gruppe VALUES(9,'Büro'),(3,NULL);";
constexpr char AGE_PBX[] = "UPDATE DbFileVersion SET version=5; CREATE TABLE Other(a); INSERT INTO Other VALUES(x'00')";

class Conversion : public NewMachine {
  protected:
    ~Conversion() override {
        orindb_closeAllDbs(&db);
    }
    int open(int flags = 0) {
        orindb_closeAllDbs(&db);
        testing::internal::CaptureStdout();
        const int result = orindb_openAllDbsWithDefaultNames(&db, nullptr, flags);
        printed = testing::internal::GetCapturedStdout();
        return result;
    }
    // A directory with older files only.
    void makeOldFiles() {
        ASSERT_EQ(open(), ORINDB_OK);
        orindb_closeAllDbs(&db);
        sqliteChange(KONFIG_FILE, AGE);
        sqliteChange(PBX_FILE, AGE_PBX);
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
    static std::vector<std::string> dumpAll() {
        std::vector<std::string> dumps;
        for (const char* file : {KONFIG_FILE, PBX_FILE, CALL_RECORDS_FILE}) {
            dumps.push_back(fileExists(file) ? dumpFile(file) : "");
        }
        return dumps;
    }
    // Runs the starter in a process of its own; its exit status, or minus the signal that ended it.
    int inChild(const std::function<int()>& starter) {
        return waitFor(startChild(starter));
    }
    pid_t startChild(const std::function<int()>& starter) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            const int result = starter();
            orindb_closeAllDbs(&db);
            _exit(result == ORINDB_OK ? 0 : 1);
        }
        return child;
    }
    static int waitFor(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    // A fault at the first write, then at the second and so on, until a start needs no more writes: each time every
    // file is missing, empty, as it was or as it shall be, and the next start finishes the job.
    void faultAtEachWrite(const std::function<bool(int allowed)>& start);

    DbContext db{};
    std::string printed;  // by the last start
};

void Conversion::faultAtEachWrite(const std::function<bool(int allowed)>& start) {
    makeOldFiles();
    const std::vector<std::string> old{dumpFile(OLD_KONFIG), dumpFile(OLD_PBX), ""};
    const std::vector<std::string> older{readFile(OLD_KONFIG), readFile(OLD_PBX)};
    ASSERT_EQ(open(), ORINDB_OK);
    const std::vector<std::string> whole = dumpAll();
    bool hasCome = true;
    for (int allowed = 0; hasCome; ++allowed) {
        orindb_closeAllDbs(&db);
        clean();
        hasCome = start(allowed);
        const int lock = ::open(LOCK_FILE, O_RDWR);
        flock(lock, LOCK_EX);
        ::close(lock);
        const std::vector<std::string> now = dumpAll();
        for (size_t i = 0; i < now.size(); ++i) {
            EXPECT_TRUE(now[i].empty() || now[i] == old[i] || now[i] == whole[i]) << difference(whole[i], now[i]);
        }
        EXPECT_EQ(open(), ORINDB_OK) << log;
        EXPECT_EQ(dumpAll(), whole);
        ASSERT_FALSE(HasFailure()) << "write " << allowed;
        log.clear();
        if (!hasCome) {
            std::cout << allowed << " writes\n";
            EXPECT_GT(allowed, 50);
        }
    }
    EXPECT_EQ(older, (std::vector<std::string>{readFile(OLD_KONFIG), readFile(OLD_PBX)}));
}

TEST_F(Conversion, AProgramKilledAtAnyWriteIsSucceededByOneThatFinishes) {
    faultAtEachWrite([this](int allowed) {
        const int status = inChild([&] {
            const WriteFault killing(Fault::kill, allowed);
            return open();
        });
        EXPECT_TRUE(status == 0 || status == -SIGKILL) << status;
        return status != 0;
    });
}

TEST_F(Conversion, AFullDiskFailsTheStartAndTheNextOneFinishes) {
    faultAtEachWrite([this](int allowed) {
        const WriteFault full(Fault::fullDisk, allowed);
        const int result = open();
        EXPECT_EQ(result == ORINDB_OK, !WriteFault::hasCome());
        EXPECT_TRUE(result == ORINDB_OK || errors() > 0);
        return WriteFault::hasCome();
    });
}

TEST_F(Conversion, ACopyOrAnExportThatFindsNoRoomLeavesNoFile) {
    makeOldFiles();
    const auto withFilesOf = [&](rlim_t size, const std::function<int()>& action) {
        return inChild([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit small{size, size};
            setrlimit(RLIMIT_FSIZE, &small);
            return action();
        });
    };
    for (const rlim_t size : {rlim_t{0}, rlim_t{8192}}) {
        EXPECT_EQ(withFilesOf(size, [this] { return open(); }), 1);
        EXPECT_FALSE(fileExists(KONFIG_FILE));
        EXPECT_FALSE(fileExists(CALL_RECORDS_FILE)) << "nothing is created";
    }
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT COUNT(*) FROM Gruppe"), "2");
    EXPECT_EQ(withFilesOf(100, [this] { return orindb_xmlExportDb(&db, ORINDB_PBX, "/tmp/export.xml"); }), 1);
    EXPECT_FALSE(fileExists("/tmp/export.xml"));
}

TEST_F(Conversion, ACopyThatOutlivesItsStarterIsWaitedFor) {
    makeOldFiles();
    writeFile("/tmp/slow/cp", "#!/bin/sh\nsleep 0.3\n/bin/cp \"$@\"\n: >/tmp/slow/done\n");
    fs::permissions("/tmp/slow/cp", fs::perms::owner_all);
    const int status = inChild([&] {
        setenv("PATH", "/tmp/slow:/bin:/usr/bin", 1);
        const WriteFault killing(Fault::kill, 1);
        return open();
    });
    EXPECT_EQ(status, -SIGKILL);
    EXPECT_FALSE(fileExists(KONFIG_FILE));
    EXPECT_EQ(open(), ORINDB_OK);
    EXPECT_TRUE(fileExists("/tmp/slow/done"));
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT COUNT(*) FROM Gruppe"), "2");
}

TEST_F(Conversion, TheNewestOlderFileIsTakenOverAndItsRowsAreKept) {
    makeOldFiles();
    const std::string bytes = readFile(OLD_KONFIG);
    writeFile("/data/log/coredump/core", "");
    for (int number = 8; number >= 3; --number) {
        const std::string older = "/data/db/konfig" + std::to_string(number) + ".db";
        writeFile(older, bytes);
        writeFile("/data/db/konfig2.db", "never looked at");
        fs::remove(KONFIG_FILE);
        if (number == 6) {
            writeFile(KONFIG_FILE, "");
        }
        log.clear();
        ASSERT_EQ(open(), ORINDB_OK) << log;
        EXPECT_THAT(printed, HasSubstr("Unterschiedliche Version: DB-File-Version=1800:1 != DB-Client-Version=1987:6\n"
                                       "Converting DB-File ...\nDB-File is now converted\n"));
        EXPECT_TRUE(hasLine(ORINLOG_INFO, "orindb_openDb...(): copying older db from " + older + " to " + KONFIG_FILE));
        EXPECT_EQ(readFile(older), bytes);
        fs::remove(older);
    }
    EXPECT_EQ(sqlitePeek(KONFIG_FILE, "SELECT * FROM Contact ORDER BY 1"),
              (SqliteRows{{"4", "268435456"}, {"17", "2"}}));
    EXPECT_EQ(sqlitePeek(KONFIG_FILE, "SELECT * FROM Gruppe"), (SqliteRows{{"3", "NULL"}, {"9", "Büro"}}));
    EXPECT_EQ(sqlitePeek(KONFIG_FILE, "SELECT * FROM DbFileVersion"), (SqliteRows{{"1", "1987", "KV7200", "6"}}));
    EXPECT_EQ(sqlitePeek(PBX_FILE, "SELECT * FROM Other"), (SqliteRows{{std::string(1, '\0')}}));
    EXPECT_TRUE(log.has(ORINLOG_CAT_SHELL, ORINLOG_DEBUG,
                        "run shell cmd: rm -rf/data/lighttpd/statics/* /data/log/coredump/*"));
    EXPECT_TRUE(fileExists("/data/log/coredump/core"));
}

TEST_F(Conversion, TheLastTenExportsAreKept) {
    makeOldFiles();
    const std::string backup = std::string(KONFIG_FILE) + "backup_";
    for (int i = 1; i <= 12; ++i) {
        ASSERT_EQ(open(), ORINDB_OK);
        sqliteChange(KONFIG_FILE, "UPDATE DbFileVersion SET minorVersion=0, device='after " + std::to_string(i) + "'");
    }
    for (int i = 1; i <= 10; ++i) {
        EXPECT_THAT(readFile(backup + std::to_string(i)), HasSubstr("<device>after " + std::to_string(12 - i) + "<"));
    }
    EXPECT_FALSE(fileExists(backup + "0"));
    EXPECT_FALSE(fileExists(backup + "11"));
}

TEST_F(Conversion, EightProcessesThatStartAtOnceConvertOnce) {
    makeOldFiles();
    std::string before;
    for (const size_t conversions : {size_t{2}, size_t{0}}) {
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        std::vector<pid_t> children;
        children.reserve(8);
        for (int i = 0; i < 8; ++i) {
            children.push_back(startChild([&] {
                ::close(gate[1]);
                char byte = 0;
                return read(gate[0], &byte, 1) == 0 ? open() : ORINDB_FAILED;
            }));
        }
        log.clear();
        ::close(gate[0]);
        ::close(gate[1]);
        for (const pid_t child : children) {
            EXPECT_EQ(waitFor(child), 0) << log;
        }
        EXPECT_EQ(log.count(ORINLOG_CAT_DB, ORINLOG_INFO, "Converting DB-File ..."), conversions);
        EXPECT_EQ(errors(), 0U) << log;
        EXPECT_TRUE(before.empty() || before == readFile(KONFIG_FILE)) << "current files are not written";
        before = readFile(KONFIG_FILE);
    }
}

TEST_F(Conversion, ADamagedFileFailsTheStartAndStaysAsItIs) {
    makeOldFiles();
    sqliteChange(OLD_KONFIG, "INSERT INTO Gruppe(name) SELECT hex(randomblob(3000)) FROM pragma_function_list");
    const std::string whole = readFile(OLD_KONFIG);
    std::string damaged = whole;
    const size_t page = std::stoul(sqliteValue(OLD_KONFIG, "SELECT rootpage FROM sqlite_master WHERE name='Gruppe'"));
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
    EXPECT_FALSE(fileExists(std::string(KONFIG_FILE) + "backup_0"));
}

TEST_F(Conversion, WhatOtherProcessesHoldOrRefuseDoesNotStopIt) {
    makeOldFiles();
    const int area = shmget(16967, 0, 0);
    shmctl(area, IPC_RMID, nullptr);
    ASSERT_GE(shmget(16967, 100, IPC_CREAT | 0666), 0);
    const int queueId = msgget(QueueReader::KEY, IPC_CREAT | 0666);
    msqid_ds closed{};
    msgctl(queueId, IPC_STAT, &closed);
    closed.msg_perm.mode = 0;
    msgctl(queueId, IPC_SET, &closed);
    ASSERT_TRUE(fs::remove(LOCK_FILE));
    ASSERT_TRUE(fs::create_directory(LOCK_FILE));
    fs::copy_file(OLD_KONFIG, KONFIG_FILE);
    const HeldFile held(KONFIG_FILE);
    EXPECT_EQ(open(ORINDB_NOTIFY_CHANGES), ORINDB_OK) << log;
    closed.msg_perm.mode = 0666;
    msgctl(queueId, IPC_SET, &closed);
    EXPECT_EQ(db.innerDbCachePtr, nullptr);
    EXPECT_TRUE(hasLine(ORINLOG_INFO, "is busy or locked"));
    EXPECT_EQ(_orindb_execDb(&db, ORINDB_KONFIG, "DELETE FROM Gruppe", nullptr, nullptr, "test"), ORINDB_OK);
}

TEST_F(Conversion, WhereNothingCanBeWrittenTheFileStaysAsItIs) {
    makeOldFiles();
    for (const char* taken : {"backup_0", "-journal"}) {
        fs::remove(KONFIG_FILE);
        fs::create_directory(std::string(KONFIG_FILE) + taken);
        EXPECT_EQ(open(), ORINDB_FAILED);
        EXPECT_TRUE(readFile(OLD_KONFIG) == readFile(KONFIG_FILE));
        fs::remove(std::string(KONFIG_FILE) + taken);
    }
    EXPECT_TRUE(hasLine(ORINLOG_ERROR,
                        "orindb_xmlExportDb: fopen failed filename=/data/db/konfig9.dbbackup_0 "
                        "error=Is a directory"));
    EXPECT_EQ(open(), ORINDB_OK);
}

TEST_F(Conversion, TheCheckOfTheFilesIsFollowedByTheirRepair) {
    makeOldFiles();
    sqliteChange(OLD_KONFIG,
                 "INSERT INTO ContactDetail VALUES(99,3,'without contact'),(4,3,'Bert'),(4,9,'12$0'),(17,9,'65535$0'),"
                 "(17,8,'gone.jpg'); INSERT INTO GoogleServerConfig(googleAccountId,contactGroupId,refreshToken) "
                 "VALUES(1,1,'t'),(2,424242,'t')");
    ASSERT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_OK);
    EXPECT_EQ(sqlitePeek(KONFIG_FILE, "SELECT * FROM ContactDetail ORDER BY 1,2"),
              (SqliteRows{{"4", "3", "Bert"}, {"4", "9", "12"}}));
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT googleAccountId FROM GoogleServerConfig"), "1");
    sqliteChange(KONFIG_FILE, "INSERT INTO ContactDetail VALUES(98,3,'x'); DROP TABLE GoogleServerConfig");
    EXPECT_EQ(open(ORINDB_INTEGRITY_CHECK), ORINDB_FAILED);
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT COUNT(*) FROM ContactDetail"), "3") << "all of the repair or nothing";
}

TEST_F(Conversion, ALargeFileWithHundredsOfTablesIsConvertedInTime) {
    makeOldFiles();
    std::string sql = "BEGIN;";
    for (int table = 0; table < 300; ++table) {
        const std::string name = "Other" + std::to_string(table);
        sql += "CREATE TABLE " + name + "(a, b TEXT, c REAL, d BLOB, e INTEGER);";
        if (table < 100) {
            sql += "WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i+1 FROM n WHERE i<500) INSERT INTO " + name +
                   " SELECT CASE i%5 WHEN 0 THEN NULL WHEN 1 THEN random() WHEN 2 THEN random()/3.0 WHEN 3 THEN 'text "
                   "'||i "
                   "ELSE randomblob(i%40) END, char(1+i%200,8364,128512), i/7.0, randomblob(20), random() FROM n;";
        }
    }
    sqliteChange(OLD_KONFIG, sql + "COMMIT");
    const auto others = [](const std::string& dump) {
        const size_t from = dump.find("Other0:\n");
        return dump.substr(from, dump.find("\nTeilnehmer:") - from);
    };
    const std::string before = others(dumpFile(OLD_KONFIG));
    EXPECT_GT(before.size(), 4500000U);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(open(), ORINDB_OK);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::cout << "50000 rows converted in " << seconds.count() << " s\n";
    EXPECT_LT(seconds.count(), 20);
    EXPECT_EQ(difference(before, others(dumpFile(KONFIG_FILE))), "");
}

}  // namespace
