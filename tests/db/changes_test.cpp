// Change counters and messages, as other processes see them.
#include <sys/msg.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

#include "orindb_autor.h"
#include "set_world.h"

namespace {

using testing::Each;

const QueueMessage CHANGED{ORINDB_MSG_CHANGED, std::string(1, '\0')};

// The shared change area as another process finds it.
OrindbSharedArea* attachArea() {
    return static_cast<OrindbSharedArea*>(shmat(shmget(16967, 644, 0), nullptr, 0));
}

class Changes : public OpenSet {
  protected:
    // The tables whose counters have gone up since the last call, each as often as it has.
    std::vector<int> changed() {
        std::vector<int> tables;
        for (int table = 0; table < 320; ++table) {
            tables.insert(tables.end(), static_cast<uint16_t>(area->changeCounters[table] - seen[table]), table);
            seen[table] = area->changeCounters[table];
        }
        return tables;
    }
    // How many messages 1000 have come since the last call.
    size_t announced() {
        const auto messages = queue.messages();
        queue.clear();
        EXPECT_THAT(messages, Each(CHANGED));
        return messages.size();
    }
    int transaction(int mode) {
        return orindb_transaction(&db, ORINDB_KONFIG, mode);
    }

    OrindbSharedArea* area = attachArea();
    uint16_t seen[320]{};
};

TEST_F(Changes, EveryWriteCountsForItsTable) {
    area->changeCounters[11] = 65535;
    static_cast<void>(changed());
    const std::vector<std::tuple<const char*, int, size_t>> statements{
        {"REPLACE INTO Autor VALUES(1,0)", 11, 1},          {"INSERT INTO  teilnehmer VALUES(7,1)", 84, 1},
        {"UPDATE Sonstiges\nSET ortVorwahl='30'", 75, 1},   {"DELETE FROM GOOGLESERVERCONFIG WHERE 0", 37, 1},
        {"REPLACE INTO Contact VALUES(1,1)", 16, 0},        {"DELETE FROM ContactDetail WHERE 0", 17, 0},
        {"UPDATE ContactGroup SET type=0 WHERE 0", 18, 0},  {"CREATE TABLE Freigabewerk(x)", 0, 0},
        {"INSERT INTO Freigabewerk VALUES(1)", 32, 1},      {"SELECT * FROM Autor", 0, 0},
        {"INSERT OR REPLACE INTO Autor VALUES(1,0)", 0, 0}, {"replace INTO Autor VALUES(1,0)", 0, 0},
        {"UPDATE sqlite_sequence SET x=1", 0, 0},           {"REPLACE INTO Autor VALUES(1,0,0)", 0, 0},
    };
    for (const auto& [sql, table, messages] : statements) {
        static_cast<void>(exec(sql));
        EXPECT_EQ(changed(), table != 0 ? std::vector{table} : std::vector<int>{}) << sql;
        EXPECT_EQ(announced(), messages) << sql;
    }
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "increaseChangeCounter: Tabelle 11 = 'Autor' wurde geaendert auf 0."));
    const Autor autor{1, 1};
    EXPECT_EQ(orindb_saveRecord(&db, ORINDB_AUTOR_TABLE, &autor), ORINDB_OK);
    EXPECT_EQ(changed(), std::vector{11}) << "a record that is saved counts, too";
    EXPECT_EQ(announced(), 1U);
}

TEST_F(Changes, ACommitAnnouncesAllItsChangesOnce) {
    const auto write = [this] {
        EXPECT_THAT(Codes({transaction(DB_BEGIN), transaction(DB_BEGIN), exec("REPLACE INTO Autor VALUES(1,0)"),
                           exec("REPLACE INTO Autor VALUES(1,1)"), transaction(DB_COMMIT)}),
                    Each(ORINDB_OK));
        EXPECT_EQ(announced(), 0U);
    };
    write();
    EXPECT_EQ(transaction(DB_COMMIT), 0);
    EXPECT_EQ(announced(), 1U);
    write();
    EXPECT_EQ(transaction(DB_ROLLBACK), 0);
    EXPECT_THAT(Codes({transaction(DB_BEGIN), exec("REPLACE INTO Contact VALUES(1,1)"), transaction(DB_COMMIT)}),
                Each(ORINDB_OK));
    write();
    const Fault full(Fault::sql, 0);
    EXPECT_EQ(transaction(DB_COMMIT), ORINDB_FAILED);
    EXPECT_EQ(announced(), 0U) << "neither what was taken back, nor contacts, nor what could not be stored";
}

TEST_F(NewMachine, AnotherProcessSeesWhatIsCountedAndAnnounced) {
    QueueReader queue;
    const pid_t writer = fork();
    if (writer == 0) {
        const int opened = orindb_openAllDbsWithDefaultNames(&db, nullptr, ORINDB_NOTIFY_CHANGES);
        orindb_set_HttpsSwitchesDiffer(&db, 1);
        const Codes codes{opened, orindb_transaction(&db, ORINDB_PBX, DB_BEGIN),
                          _orindb_execDb(&db, ORINDB_PBX, "DELETE FROM PbxMisc", nullptr, nullptr, "test"),
                          orindb_transaction(&db, ORINDB_PBX, DB_COMMIT)};
        _exit(codes == Codes(codes.size(), ORINDB_OK) ? 0 : 1);
    }
    int status = -1;
    waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0) << log;
    EXPECT_THAT(queue.messages(), testing::Contains(CHANGED));
    const OrindbSharedArea* area = attachArea();
    EXPECT_THAT(Codes({area->newConfiguration, area->newConfigurationSeen, area->httpsSwitchesDiffer}), Each(1));
    EXPECT_GE(area->changeCounters[106], 1);
}

TEST_F(NewMachine, AFullQueueHoldsAWriterUntilSomebodyReads) {
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&db, nullptr, ORINDB_NOTIFY_CHANGES), ORINDB_OK);
    const DbMessage message{4, ""};
    while (msgsnd(db.messageQueueId, &message, 1, IPC_NOWAIT) == 0) {
    }
    auto writing = std::async(std::launch::async, [this] {
        return _orindb_execDb(&db, ORINDB_KONFIG, "REPLACE INTO Autor VALUES(1,0)", nullptr, nullptr, "test");
    });
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    QueueReader reader;
    EXPECT_EQ(writing.get(), ORINDB_OK);
    EXPECT_THAT(reader.messages(), testing::Contains(CHANGED));
    orindb_closeAllDbs(&db);
}

}  // namespace
