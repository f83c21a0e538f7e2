// The Google accounts and what their removal does to the phone book.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstring>
#include <ctime>

#include "db_googleserverconf.h"
#include "orin_memory.h"
#include "set_world.h"

namespace {

class Accounts : public OpenSet {
  protected:
    static GoogleServerConf account(uint8_t id, int32_t group) {
        return {id, group, "Name", "user", "token", 0, "", 60, "then", 1, "5", "17"};
    }
    void store(GoogleServerConf record) {
        EXPECT_EQ(db_replaceGoogleServerConf(&db, &record), ORINDB_OK);
    }
    static std::string stored(const std::string& column, int id = 3) {
        return sqliteValue(KONFIG_FILE,
                           "SELECT " + column + " FROM GoogleServerConfig WHERE googleAccountId=" + std::to_string(id));
    }
    static std::string currentHour() {
        const time_t now = time(nullptr);
        return std::to_string(localtime(&now)->tm_hour);
    }
    // A contact with these groups; those with a resource name came from Google.
    void contact(int id, int64_t groups, const char* resourceName) {
        const std::string number = std::to_string(id);
        EXPECT_EQ(exec("INSERT INTO Contact VALUES(" + number + ',' + std::to_string(groups) + ')'), ORINDB_OK);
        EXPECT_EQ(exec("INSERT INTO ContactDetail VALUES(" + number + ",3,'x')"), ORINDB_OK);
        if (resourceName != nullptr) {
            EXPECT_EQ(exec("INSERT INTO ContactDetail VALUES(" + number + ",51,'" + resourceName + "')"), ORINDB_OK);
        }
    }
    static std::string contacts() {
        return testing::PrintToString(sqlitePeek(KONFIG_FILE, "SELECT * FROM Contact ORDER BY 1"));
    }
};

TEST_F(Accounts, AnAccountIsReadAsItWasStoredAndAMissingOneLeavesTheRecord) {
    store(account(3, 4));
    store(account(7, 4));
    GoogleServerConf record{};
    EXPECT_EQ(db_getDbGoogleServerConfCatId(&db, 4, &record), ORINDB_OK);
    EXPECT_EQ(record.googleAccountId, 7) << "the last one";
    const std::string columns =
        "googleAccountId,contactGroupId,accountname,serverusername,refreshToken,needsNewAuth,googleGroup,"
        "updateinterval,lastupdatetime,serveractiv,updatestarttime,updatetime";
    EXPECT_EQ(lastSelect(), "SELECT " + columns + " FROM GoogleServerConfig WHERE contactGroupId=4 ");
    EXPECT_STREQ(ORINDB_GOOGLE_SERVER_CONF_TABLE.saveText,
                 "REPLACE INTO GoogleServerConfig VALUES (?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12)");
    EXPECT_EQ(db_getDbGoogleServerConf(&db, 3, &record), ORINDB_OK);
    EXPECT_EQ(record.updateinterval + record.serveractiv, 61);
    EXPECT_EQ(std::string(record.accountname) + record.serverusername + record.refreshToken, "Nameusertoken");
    EXPECT_EQ(std::string(record.lastupdatetime) + record.updatestarttime + record.updatetime, "then517");
    EXPECT_EQ(db_getDbGoogleServerConfCatId(&db, 8, &record), ORINDB_OK);
    EXPECT_EQ(record.googleAccountId, 3);
    EXPECT_EQ(db_initGoogleServerConf(&record), ORINDB_OK);
    EXPECT_EQ(record.googleAccountId + record.accountname[0] + record.updatetime[1], 0);
    EXPECT_EQ(db_initGoogleServerConf(nullptr), ORINDB_INVALID_PARAMETER);
}

TEST_F(Accounts, AWrittenRecordKeepsTheRulesOfTheTable) {
    GoogleServerConf record = account(3, 4);
    strcpy(record.googleGroup, "00");
    store(record);
    EXPECT_EQ(stored("googleGroup || needsNewAuth"), "000");
    strcpy(record.googleGroup, "0");
    record.refreshToken[0] = '\0';
    store(record);
    EXPECT_EQ(stored("googleGroup || '-' || needsNewAuth"), "-1");
    record = account(0, 4);
    const std::string before = content();
    EXPECT_EQ(db_replaceGoogleServerConf(&db, &record), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(db_saveGoogleServerConf(&db, nullptr), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(content(), before);
    const std::string longText(300, 'x');
    const char* text = longText.c_str();
    EXPECT_EQ(db_setGoogleServerConf(&db, text, text, text, 3, -2147483647 - 1, text, 5, text, 1, &record), ORINDB_OK);
    EXPECT_EQ(stored("length(accountname) || length(serverusername) || length(refreshToken) || length(googleGroup)"),
              "255255255255");
    EXPECT_EQ(stored("length(lastupdatetime) || length(updatetime) || updatestarttime"), "31315");
    EXPECT_EQ(stored("contactGroupId"), "-2147483648");
    EXPECT_EQ(db_setNeedsNewAuth(&db, 3, 1), ORINDB_OK);
    EXPECT_EQ(stored("needsNewAuth"), "1");
}

TEST_F(Accounts, SavingForAnotherUserLosesTheTokenAndActivatingNotesTheHour) {
    GoogleServerConf record = account(3, 4);
    record.serveractiv = 0;
    store(record);
    strcpy(record.serverusername, "other");
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_EQ(stored("refreshToken || '-' || needsNewAuth || updatestarttime"), "-15");
    strcpy(record.serverusername, "third");
    strcpy(record.refreshToken, "new");
    record.needsNewAuth = 0;
    record.serveractiv = 1;
    const std::string hourBefore = currentHour();
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_THAT(stored("updatestarttime"), testing::AnyOf(hourBefore, currentHour()));
    EXPECT_EQ(stored("refreshToken || needsNewAuth"), "new0");
    strcpy(record.updatestarttime, "99");
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_EQ(stored("updatestarttime"), "99");
    const FailingSql full(0, SQLITE_FULL);
    strcpy(record.serverusername, "fourth");
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK) << "written as it is when the old one is unreadable";
    EXPECT_EQ(stored("refreshToken"), "new");
}

TEST_F(Accounts, AnAddedAccountTakesTheFirstIdDrawnAndAllOrNothingIsStored) {
    GoogleServerConf record = account(9, 16);
    {
        const DrawnNumbers numbers{0, 2147483647, 0};
        for (const char* name : {"first", "second", "third"}) {
            EXPECT_EQ(db_addGoogleServerConf(&db, name, "u", "t", 1, &record), ORINDB_OK);
        }
    }
    EXPECT_EQ(stored("accountname", 1) + stored("accountname", 100) + stored("contactGroupId", 1), "thirdsecond16");
    const DrawnNumbers numbers{};
    failEachCall([&] { return db_addGoogleServerConf(&db, "n", "u", "t", 1, &record); });
    failEachCall([&] { return db_setGoogleServerConf(&db, "n", "u", "t", 1, 4, "g", 5, "x", 1, &record); });
}

TEST_F(Accounts, ASummaryTellsTheSchedule) {
    GoogleServerConfSummary* block = nullptr;
    uint16_t count = 1;
    EXPECT_EQ(db_getGoogleServerConfSummaries(&db, &block, &count), ORINDB_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(block, nullptr);
    store(account(3, 4));
    store(account(7, 8));
    EXPECT_EQ(db_getGoogleServerConfSummaries(&db, &block, &count), ORINDB_OK);
    const Malloced<GoogleServerConfSummary> summaries(block);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(block[1].googleAccountId + block[1].contactGroupId + block[1].updateinterval, 7 + 8 + 60);
    EXPECT_EQ(block[1].serveractiv * 10000 + block[1].updatetime * 100 + block[1].updatestarttime, 11705);
}

TEST_F(Accounts, WithAnAccountGoesWhatItBrought) {
    store(account(3, 6));
    store(account(7, 8));
    contact(1, 6, "people/c1");
    contact(2, 6 + 0x80000000, "people/c2");
    contact(3, 2, nullptr);
    contact(4, 8, "people/c4");
    EXPECT_EQ(db_removeDbGoogleServerConf(&db, 3), ORINDB_OK);
    EXPECT_EQ(contacts(), testing::PrintToString(SqliteRows{{"2", "2147483648"}, {"3", "2"}, {"4", "8"}}));
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT group_concat(googleAccountId) FROM GoogleServerConfig"), "7");
    EXPECT_EQ(db_removeDbGoogleServerConf(&db, 50), ORINDB_OK) << "no such account";
    contact(5, 8 + 16, "people/c5");
    EXPECT_EQ(exec("UPDATE Contact SET contactGrpBitfield=24"), ORINDB_OK);
    failEachCall([&] { return db_removeDbGoogleServerConf(&db, 7); });
}

TEST_F(Accounts, WithAGroupGoAllContactsThatAreInIt) {
    store(account(3, 4));
    store(account(5, 4));
    store(account(7, 8));
    contact(1, 4, "people/c1");
    contact(2, 4 + 8 + 16, nullptr);
    contact(3, 8, nullptr);
    EXPECT_EQ(db_removeDbGoogleServerConfCtg(&db, 4), ORINDB_OK);
    EXPECT_EQ(contacts(), testing::PrintToString(SqliteRows{{"3", "8"}}));
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT group_concat(googleAccountId) FROM GoogleServerConfig"), "7");
    const auto messages = queue.messages();
    EXPECT_THAT(messages, testing::Contains(QueueMessage{1000, std::string(1, '\0')}));
    EXPECT_THAT(messages, testing::Contains(QueueMessage{1101, std::string("3;2;28") + '\0'}));
    EXPECT_EQ(exec("DELETE FROM ContactGroup WHERE contactGroupId=8") + orindb_repairGoogleServerConf(&db), ORINDB_OK);
    EXPECT_EQ(sqliteValue(KONFIG_FILE, "SELECT COUNT(*) FROM GoogleServerConfig"), "0");
}

}  // namespace
