// Change counters and messages, as other processes see them.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/time.h>

#include <csignal>
#include <future>

#include "orindb_autor.h"
#include "orindb_catalogue.h"
#include "set_world.h"

namespace {

// The shared change area as another process finds it.
class ChangeArea {
  public:
    ChangeArea() : id_(shmget(16967, 644, 0)), bytes_(static_cast<uint8_t*>(shmat(id_, nullptr, 0))) {}
    ~ChangeArea() {
        shmdt(bytes_);
    }
    ChangeArea(const ChangeArea&) = delete;
    ChangeArea& operator=(const ChangeArea&) = delete;
    [[nodiscard]] uint16_t& counter(int table) const {
        return reinterpret_cast<uint16_t*>(bytes_)[table];
    }
    [[nodiscard]] int flags() const {
        return bytes_[640] + 10 * bytes_[641] + 100 * bytes_[642];
    }
    // The tables whose counters have gone up since the last call, each as often as it has.
    std::vector<int> changed() {
        std::vector<int> tables;
        for (int table = 0; table < 320; ++table) {
            tables.insert(tables.end(), static_cast<uint16_t>(counter(table) - seen_[table]), table);
            seen_[table] = counter(table);
        }
        return tables;
    }

  private:
    int id_;
    uint8_t* bytes_;
    uint16_t seen_[320]{};
};

class Changes : public OpenSet {
  protected:
    // How many messages 1000 have come since the last call.
    size_t announced() {
        const auto messages = queue.messages();
        queue.clear();
        EXPECT_THAT(messages, testing::Each(QueueMessage{1000, std::string(1, '\0')}));
        return messages.size();
    }
    int transaction(int mode) {
        return orindb_transaction(&db, ORINDB_KONFIG, mode);
    }
};

TEST_F(Changes, CountersAndQueueAreOpenToEveryProcess) {
    const ChangeArea area;
    EXPECT_EQ(area.flags(), 11) << "a new configuration was created";
    orindb_set_HttpsSwitchesDiffer(&db, 1);
    EXPECT_EQ(area.flags(), 111);
    EXPECT_EQ(orindb_get_HttpsSwitchesDiffer(&db), 1);
    shmid_ds memory{};
    shmctl(shmget(16967, 644, 0), IPC_STAT, &memory);
    EXPECT_EQ(memory.shm_segsz, 644U);
    EXPECT_EQ(memory.shm_perm.mode & 0777, 0666);
    EXPECT_GE(semget(16968, 1, 0), 0);
    EXPECT_EQ(orindb_get_HttpsSwitchesDiffer(nullptr), 0);
    EXPECT_TRUE(
        hasLine(ORINLOG_ERROR, "orindb_get_HttpsSwitchesDiffer: dbContext or dbContext->innerDbCachePtr is null!"));
    EXPECT_EQ(orindb_callAfterCommit(&db, 3, [] {}), 0);
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "orindb_callAfterCommit: dbContext is null or dbType is invalid!"));
}

TEST_F(Changes, EveryWriteCountsForItsTable) {
    ChangeArea area;
    area.counter(11) = 65535;
    static_cast<void>(area.changed());
    const std::vector<std::tuple<const char*, int, size_t>> statements{
        {"REPLACE INTO Autor VALUES(1,0)", 11, 1},
        {"INSERT INTO  teilnehmer VALUES(7,1)", 84, 1},
        {"UPDATE Sonstiges\nSET ortVorwahl='30'", 75, 1},
        {"DELETE FROM GOOGLESERVERCONFIG WHERE 0", 37, 1},
        {"REPLACE INTO Contact VALUES(1,1)", 16, 0},
        {"DELETE FROM ContactDetail WHERE 0", 17, 0},
        {"UPDATE ContactGroup SET type=0 WHERE 0", 18, 0},
        {"SELECT * FROM Autor", 0, 0},
        {"REINDEX Autor", 0, 0},
        {"INSERT OR REPLACE INTO Autor VALUES(1,0)", 0, 0},
        {"replace INTO Autor VALUES(1,0)", 0, 0},
        {"UPDATE sqlite_sequence SET x=1", 0, 0},
        {"REPLACE INTO Autor VALUES(1,0,0)", 0, 0},
        {"CREATE TABLE Gruppe(x)", 0, 0},
    };
    for (const auto& [sql, table, messages] : statements) {
        static_cast<void>(exec(sql));
        EXPECT_EQ(area.changed(), table != 0 ? std::vector{table} : std::vector<int>{}) << sql;
        EXPECT_EQ(announced(), messages) << sql;
    }
    EXPECT_EQ(area.counter(11), 0) << "the counter wraps";
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "increaseChangeCounter: Tabelle 11 = 'Autor' wurde geaendert auf 0."));
    EXPECT_TRUE(hasLine(ORINLOG_ERROR, "_orindb_execDb failed, Aufrufer: test"));
    const Autor autor{1, 1};
    EXPECT_EQ(orindb_saveRecord(&db, ORINDB_AUTOR_TABLE, &autor), ORINDB_OK);
    EXPECT_EQ(area.changed(), std::vector{11}) << "a record that is saved counts, too";
    EXPECT_EQ(announced(), 1U);
    EXPECT_EQ(orindb_tableIndex("Freigabewerk"), 32) << "the first of three";
    EXPECT_EQ(orindb_tableIndex("PbxMisc"), 106);
    EXPECT_EQ(orindb_tableIndex(""), 0);
}

TEST_F(Changes, ACommitAnnouncesAllItsChangesOnce) {
    const auto write = [this] {
        EXPECT_EQ(transaction(DB_BEGIN), 0);
        EXPECT_EQ(transaction(DB_BEGIN), 0);
        EXPECT_EQ(exec("REPLACE INTO Autor VALUES(1,0)") + exec("REPLACE INTO Autor VALUES(1,1)"), 0);
        EXPECT_EQ(transaction(DB_COMMIT), 0);
        EXPECT_EQ(announced(), 0U);
    };
    write();
    EXPECT_EQ(transaction(DB_COMMIT), 0);
    EXPECT_EQ(announced(), 1U);
    EXPECT_EQ(transaction(DB_BEGIN) + exec("REPLACE INTO Contact VALUES(1,1)") + transaction(DB_COMMIT), 0);
    EXPECT_EQ(announced(), 0U);
    write();
    EXPECT_EQ(transaction(DB_ROLLBACK), 0);
    EXPECT_EQ(announced(), 0U);
    write();
    {
        const FailingSql full(0, SQLITE_FULL);
        EXPECT_EQ(transaction(DB_COMMIT), ORINDB_FAILED);
    }
    EXPECT_EQ(announced(), 0U);
    EXPECT_EQ(orindb_transaction(nullptr, 0, DB_BEGIN), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(orindb_writeToMsgQueue(&db, nullptr), ORINDB_INVALID_PARAMETER);
}

TEST_F(NewMachine, AFullQueueHoldsAWriterUntilSomebodyReadsOrASignalComes) {
    DbContext db;
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    const DbMessage message{4, ""};
    while (msgsnd(db.messageQueueId, &message, 1, IPC_NOWAIT) == 0) {
    }
    const auto write = [&db] {
        return _orindb_execDb(&db, ORINDB_KONFIG, "REPLACE INTO Autor VALUES(1,0)", nullptr, nullptr, "test");
    };
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval everyTenMs{{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &everyTenMs, nullptr);
    EXPECT_EQ(write(), ORINDB_OK) << "a signal ends the wait";
    const int number = errno;
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(number, EINTR);
    EXPECT_TRUE(log.has(ORINLOG_CAT_DB_MSG, ORINLOG_ERROR,
                        "notifyBecauseChanges(...): msgsnd failed: Interrupted system call (4)"));

    auto writing = std::async(std::launch::async, write);
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    QueueReader reader;
    EXPECT_EQ(writing.get(), ORINDB_OK);
    EXPECT_THAT(reader.messages(), testing::Contains(QueueMessage{1000, std::string(1, '\0')}));
    orindb_closeAllDbs(&db);
}

}  // namespace
