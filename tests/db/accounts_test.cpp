// The Google accounts and what their removal does to the phone book.
#include <cstring>

#include "db_googleserverconf.h"
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
    static std::string stored(const std::string& expression) {
        return rows("SELECT " + expression + " FROM GoogleServerConfig ORDER BY googleAccountId");
    }
    // Contacts with their groups; those with an odd id came from Google.
    void addContacts(const std::vector<std::pair<uint16_t, int64_t>>& contacts) {
        for (const auto& [id, groups] : contacts) {
            EXPECT_EQ(exec("INSERT INTO Contact VALUES(" + std::to_string(id) + ',' + std::to_string(groups) + ')'), 0);
            EXPECT_THAT(Codes({put(id, 3, "x"), put(id, 51, id % 2 != 0 ? "people/c" : "")}), testing::Each(ORINDB_OK));
        }
    }
};

TEST_F(Accounts, AnAccountIsReadAsItWasStoredAndAMissingOneLeavesTheRecord) {
    store(account(3, 4));
    store(account(7, 4));
    GoogleServerConf record{};
    EXPECT_EQ(db_getDbGoogleServerConfCatId(&db, 4, &record), ORINDB_OK);
    EXPECT_EQ(record.googleAccountId, 7) << "the last one";
    EXPECT_EQ(db_getDbGoogleServerConf(&db, 3, &record), ORINDB_OK);
    EXPECT_EQ(db_getDbGoogleServerConfCatId(&db, 8, &record), ORINDB_OK);
    EXPECT_EQ(record.googleAccountId, 3);
    const std::vector<std::string> texts{record.accountname,    record.serverusername,  record.refreshToken,
                                         record.lastupdatetime, record.updatestarttime, record.updatetime};
    EXPECT_THAT(texts, testing::ElementsAre("Name", "user", "token", "then", "5", "17"));
}

TEST_F(Accounts, AWrittenRecordKeepsTheRulesOfTheTable) {
    GoogleServerConf record = account(3, 4);
    strcpy(record.googleGroup, "00");
    store(record);
    EXPECT_EQ(stored("googleGroup, needsNewAuth"), "00|0;");
    strcpy(record.googleGroup, "0");
    record.refreshToken[0] = '\0';
    store(record);
    EXPECT_EQ(stored("googleGroup, needsNewAuth"), "|1;");
    const std::string longText(300, 'x');
    const char* text = longText.c_str();
    EXPECT_EQ(db_setGoogleServerConf(&db, text, text, text, 3, -2147483647 - 1, text, 5, text, 1, &record), ORINDB_OK);
    EXPECT_EQ(stored("length(accountname), length(serverusername), length(refreshToken), length(googleGroup), "
                     "length(lastupdatetime), length(updatetime), updatestarttime, contactGroupId"),
              "255|255|255|255|31|31|5|-2147483648;");
    EXPECT_EQ(db_setNeedsNewAuth(&db, 3, 7), ORINDB_OK);
    record = account(0, 4);
    EXPECT_EQ(db_replaceGoogleServerConf(&db, &record), ORINDB_INVALID_PARAMETER);
    EXPECT_EQ(stored("googleAccountId, needsNewAuth"), "3|7;");
}

TEST_F(Accounts, SavingForAnotherUserLosesTheTokenAndActivatingNotesTheHour) {
    const std::string state = "refreshToken, needsNewAuth, updatestarttime";
    const std::string hour = "CAST(strftime('%H','now','localtime')+0 AS TEXT)";
    GoogleServerConf record = account(3, 4);
    record.serveractiv = 0;
    store(record);
    strcpy(record.serverusername, "other");
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_EQ(stored(state), "|1|5;");
    record = account(3, 4);
    const std::string before = sqliteValue(KONFIG_FILE, "SELECT " + hour);
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_EQ(stored("refreshToken, needsNewAuth, updatestarttime IN ('" + before + "'," + hour + ")"), "token|0|1;");
    record = account(3, 4);
    EXPECT_EQ(db_saveGoogleServerConf(&db, &record), ORINDB_OK);
    EXPECT_EQ(stored(state), "token|0|5;") << "it was active before";
}

TEST_F(Accounts, AnAddedAccountTakesTheFirstIdDrawnAndAllOrNothingIsStored) {
    GoogleServerConf record = account(9, 16);
    drawNumbers({0, 2147483647, 0});
    for (const char* name : {"first", "second", "third"}) {
        EXPECT_EQ(db_addGoogleServerConf(&db, name, "u", "t", 1, &record), ORINDB_OK);
    }
    EXPECT_EQ(stored("googleAccountId, accountname, contactGroupId"), "1|third|16;100|second|16;");
    failEachCall([&] { return db_addGoogleServerConf(&db, "n", "u", "t", 1, &record); });
    failEachCall([&] { return db_setGoogleServerConf(&db, "n", "u", "t", 1, 4, "g", 5, "x", 1, &record); });
}

TEST_F(Accounts, WithAnAccountGoesWhatItBrought) {
    store(account(3, 6));
    store(account(7, 8));
    addContacts({{1, 6}, {2, 2}, {3, 6 + 0x80000000}, {5, 8}});
    EXPECT_EQ(db_removeDbGoogleServerConf(&db, 3), ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM Contact ORDER BY 1"), "2|2;3|2147483648;5|8;");
    EXPECT_EQ(stored("googleAccountId"), "7;");
    addContacts({{7, 8 + 16}});
    failEachCall([&] { return db_removeDbGoogleServerConf(&db, 7); });
}

TEST_F(Accounts, WithAGroupGoAllContactsThatAreInIt) {
    store(account(3, 4));
    store(account(5, 4));
    store(account(7, 8));
    addContacts({{1, 4}, {2, 4 + 8 + 16}, {4, 8}});
    EXPECT_EQ(db_removeDbGoogleServerConfCtg(&db, 4), ORINDB_OK);
    EXPECT_EQ(rows("SELECT * FROM Contact"), "4|8;");
    EXPECT_EQ(stored("googleAccountId"), "7;");
    EXPECT_THAT(queue.messages(), testing::Contains(QueueMessage{1101, std::string("3;2;28") + '\0'}));
}

}  // namespace
