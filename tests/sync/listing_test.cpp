// A pass as a whole: pages, groups, who is new, changed or gone, how many fit, and what other processes are told of it.
#include "sync_world.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

using Listing = SyncWorld;

TEST_F(Listing, PagesAreStoredOneByOneAndAnUnchangedAccountWritesAndTellsNothing) {
    serve(generateAccount(120).persons);
    std::string stored;
    atAnswer(Endpoint::Connections, 3, [&] { stored = sqliteValue(KONFIG_PATH, "SELECT COUNT(*) FROM Contact"); });
    EXPECT_EQ(sync(), "120 contacts, updated");
    EXPECT_EQ(stored, "100");
    const PhoneBook book = phoneBook();
    EXPECT_TRUE(lines(ORINLOG_DEBUG, "orin_google_sync: page=0"));
    EXPECT_TRUE(lines(ORINLOG_DEBUG, "orin_google_sync: page=2"));
    EXPECT_EQ(announced().size(), 121U);

    // How often the tables of the contacts and of their details were written.
    const auto changes = [this] {
        return db.innerDbCachePtr->changeCounters[16] + db.innerDbCachePtr->changeCounters[17];
    };
    const int before = changes();
    EXPECT_EQ(sync(), "120 contacts, updated");
    EXPECT_EQ(phoneBook(), book);
    EXPECT_EQ(changes(), before);
    EXPECT_THAT(announced(), ElementsAre("1000 "));
}

TEST_F(Listing, WhatIsNotInTheAccountLeavesTheGroupAndOtherGroupsStay) {
    execute("INSERT INTO Contact VALUES (7,4),(8,5),(9,1),(10,2),(65535,2147483652)");
    execute("INSERT INTO ContactDetail SELECT contactId,2,'Lokal' FROM Contact");
    execute("INSERT INTO ContactDetail SELECT contactId,9,'17' FROM Contact");
    execute("INSERT INTO ContactDetail VALUES (8,51,'people/gone'),(9,51,'people/c1'),(65535,51,'people/c2')");
    serve(persons(2));
    EXPECT_EQ(sync(), "2 contacts, updated");
    EXPECT_THAT(announced(), UnorderedElementsAre("1101 1;" + contactId("people/c1") + ";4", "1101 2;65535;4",
                                                  "1101 3;7;4", "1101 3;8;5", "1000 ", "1000 "));
    // Of a contact that stays, the short number is none of the account's business.
    EXPECT_EQ(phoneBook(), (PhoneBook{{"people/c1", {{1, "Name 1"}, {51, "people/c1"}}},
                                      {"people/c2", {{1, "Name 2"}, {9, "17"}, {51, "people/c2"}}}}));
    EXPECT_EQ(phoneBook(1 | 2), (PhoneBook{{"people/c1", {{2, "Lokal"}, {9, "17"}, {51, "people/c1"}}},
                                           {"#10", {{2, "Lokal"}, {9, "17"}}}}));
    EXPECT_EQ(sqliteValue(KONFIG_PATH, "SELECT contactGrpBitfield FROM Contact WHERE contactId=65535"), "2147483652");
}

TEST_F(Listing, OnlyMembersOfTheAccountsGroupAreTaken) {
    const auto in = [](const std::string& group) {
        return ",{'contactGroupMembership':{'contactGroupResourceName':'contactGroups/" + group + "'}}";
    };
    const auto member = [](const std::string& resourceName, const std::string& memberships) {
        return GooglePerson{resourceName, "", {{"memberships", json(memberships)}}};
    };
    const std::string others = "[7,null,{'contactGroupMembership':[]},{'domainMembership':{}}" + in("4f1") +
                               in("4f1c0") + in("4F1C") + ",{'contactGroupMembership':{'contactGroupResourceName':7}}";
    serve({member("people/c1", others + in("4f1c") + "]"), member("people/c2", others + "]"),
           member("people/c3", "[{}" + in("4f1c") + "]"), member("people/c4", "{}"), member("people/c5", "")});
    addAccount(1, GROUP, "contactGroups/4f1c");
    EXPECT_EQ(sync(), "2 contacts, updated");
    EXPECT_EQ(phoneBook(), (PhoneBook{{"people/c1", {{51, "people/c1"}}}, {"people/c3", {{51, "people/c3"}}}}));
    const std::string leaver = contactId("people/c3");
    announced();
    google.update([&](GoogleAccount& account) { account.persons[2].fields = account.persons[1].fields; });
    EXPECT_EQ(sync(), "1 contacts, updated");
    EXPECT_THAT(announced(), ElementsAre("1101 3;" + leaver + ";4", "1000 ", "1000 "));
    for (const auto& [all, count] : {std::pair{"contactGroups/all", 3}, {"contactGroups/0", 4}, {"", 5}}) {
        serve(persons(count));
        addAccount(1, GROUP, all);
        EXPECT_EQ(sync(), std::to_string(count) + " contacts, updated");
    }
}

TEST_F(Listing, TwoGroupsAreFilledSideBySide) {
    serve(generateAccount(120).persons);
    addAccount(2, 8);
    Process other({programPath("ct_synchronizer"), "ctGrpId=8"});
    EXPECT_EQ(sync(), "120 contacts, updated");
    const ProcessResult result = other.wait(RUN_DEADLINE);
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(phoneBook(8), phoneBook());
    EXPECT_EQ(sqliteValue(KONFIG_PATH, "SELECT COUNT(*) FROM Contact WHERE contactGrpBitfield IN (4,8)"), "240");
    EXPECT_EQ(status(8), "updated");
}

TEST_F(Listing, AFullPhoneBookTakesNobodyNewUntilSomebodyVanishes) {
    serve({named("people/c1", "Ada")});
    ASSERT_EQ(sync(), "1 contacts, updated");
    // 20 of them are objects of the PBX, which do not count.
    execute(
        "INSERT INTO Contact WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<5000) "
        "SELECT i,iif(row_number() OVER ()>20,1,0x04000000) FROM n WHERE i NOT IN (SELECT contactId FROM Contact) "
        "LIMIT 2018");
    // The person without a name in the account is an error that yields to the full phone book.
    serve({person("", {}), named("people/new1", "N"), named("people/new2", "N"), named("people/c1", "Ada Maria"),
           named("people/new3", "N"), person("", {})});
    // Attempts that find it full are not waited for: this run would not end in time.
    EXPECT_EQ(sync({"retryLimit=3", "retryWait=65535"}), "2 contacts, 4,8104\nupdated");
    EXPECT_EQ(phoneBook(), (PhoneBook{{"people/c1", {{1, "Ada Maria"}, {51, "people/c1"}}},
                                      {"people/new1", {{1, "N"}, {51, "people/new1"}}}}));
    EXPECT_EQ(errors("orin_google_syncOneContact: to many contacts"), 3U);
    EXPECT_EQ(errors("orin_google_syncOneContact: resourceName is NULL"), 6U);

    // Room that is made meanwhile is used at once, and the attempt that failed for want of it does not count.
    serve(persons(52));
    atAnswer(Endpoint::Connections, 2, [this] { execute("DELETE FROM Contact WHERE contactGrpBitfield=1"); });
    EXPECT_EQ(sync(), "52 contacts, updated");
    EXPECT_TRUE(lines(ORINLOG_INFO, "main: lastError=8104 count=3  => repeat")) << log;
}

}  // namespace
