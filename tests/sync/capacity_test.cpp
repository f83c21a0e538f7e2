// The phone book holds 2000 contacts, all groups together.
#include "sync_world.h"

namespace {

class Capacity : public SyncWorld {
  protected:
    void addContacts(int count, uint32_t group) {
        execute(
            "INSERT INTO Contact WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<5000) SELECT i," +
            std::to_string(group) + " FROM n WHERE i NOT IN (SELECT contactId FROM Contact) LIMIT " +
            std::to_string(count));
    }
    // Contacts of the default phone book, beside some objects of the PBX, which do not count.
    void addOthers(int count) {
        addContacts(count, 1);
        addContacts(20, 0x04000000);
    }
    void removeOthers(int count) {
        execute(
            "DELETE FROM Contact WHERE contactId IN (SELECT contactId FROM Contact WHERE contactGrpBitfield=1 LIMIT " +
            std::to_string(count) + ")");
    }
};

TEST_F(Capacity, AFullPhoneBookTakesNobodyNewAndKeepsWhoIsKnownUpToDate) {
    serve({named("people/c1", "Ada")});
    ASSERT_EQ(sync(), 0);
    addOthers(1998);
    serve({named("people/new1", "N"), named("people/new2", "N"), named("people/c1", "Ada Maria"),
           named("people/new3", "N")});
    log.clear();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sync({"retryLimit=3", "retryWait=60"}), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_EQ(status(), "4,8104\n");
    EXPECT_EQ(account().needsNewAuth, 0);
    const PhoneBook book = phoneBook();
    EXPECT_EQ(book.size(), 2U);
    EXPECT_TRUE(book.contains("people/new1"));
    EXPECT_EQ(book.at("people/c1").at(1), "Ada Maria");
    EXPECT_EQ(google.count(Endpoint::Connections), 4U);
    EXPECT_EQ(countErrors("orin_google_syncOneContact: to many contacts"), 3U);
    EXPECT_FALSE(hasError("main: orin_google_sync failed"));
    EXPECT_FALSE(hasLine(ORINLOG_INFO, "=> repeat"));
}

TEST_F(Capacity, AnotherErrorOfThePassYieldsToIt) {
    addOthers(2000);
    serve({person("", {}), named("people/c1", "Ada"), person("", {})});
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(status(), "4,8104\n");
    EXPECT_EQ(countErrors("resourceName is NULL"), 2U);
    google.misbehave({.endpoint = Endpoint::Connections, .status = 500});
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(status(), "4,8128\n");
}

TEST_F(Capacity, RoomThatWasMadeMeanwhileIsUsedWithoutCountingTheAttempt) {
    addOthers(1999);
    serve(persons(52));
    atAnswer(Endpoint::Connections, 2, [this] { removeOthers(1000); });
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(status(), "");
    EXPECT_EQ(phoneBook().size(), 52U);
    EXPECT_EQ(google.count(Endpoint::Connections), 4U);
    EXPECT_EQ(countErrors("to many contacts"), 1U);
    EXPECT_TRUE(hasLine(ORINLOG_INFO, "main: lastError=8104 count=1002  => repeat")) << log;
    EXPECT_STRNE(account().lastupdatetime, "");
}

TEST_F(Capacity, WhoeverVanishesMakesRoomForTheNextAttempt) {
    serve({named("people/gone", "Gone")});
    ASSERT_EQ(sync(), 0);
    addOthers(1999);
    serve({named("people/new", "New")});
    EXPECT_EQ(sync(), 0);
    EXPECT_EQ(status(), "");
    EXPECT_EQ(phoneBook(), (PhoneBook{{"people/new", {{1, "New"}, {51, "people/new"}}}}));
    EXPECT_TRUE(hasLine(ORINLOG_INFO, "main: lastError=8104 count=1999  => repeat"));
}

}  // namespace
