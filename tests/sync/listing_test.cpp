// A pass as a whole: pages, groups, who is new, changed or gone, and what other processes are told of it.
#include "sync_world.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class Listing : public SyncWorld {
  protected:
    // Puts a contact into the phone book as other programs do, with a name in the account unless that is empty.
    void addContact(int id, uint32_t groups, const std::string& resourceName) {
        execute("INSERT INTO Contact VALUES (" + std::to_string(id) + "," + std::to_string(groups) + ")");
        const std::string detail = "INSERT INTO ContactDetail VALUES (" + std::to_string(id);
        execute(detail + ",2,'Lokal'),(" + std::to_string(id) + ",9,'17')");
        if (!resourceName.empty()) {
            execute(detail + ",51,'" + resourceName + "')");
        }
    }
    // How often the tables of the contacts and of their details were written.
    int contactChanges() const {
        return db.innerDbCachePtr->changeCounters[16] + db.innerDbCachePtr->changeCounters[17];
    }
};

GooglePerson member(const std::string& resourceName, const std::string& memberships) {
    GooglePerson made = named(resourceName, "Name");
    made.fields["memberships"] = json("[" + memberships + "]");
    return made;
}

std::string membership(const std::string& group) {
    return "{'metadata':{},'contactGroupMembership':{'contactGroupResourceName':'" + group + "'}}";
}

TEST_F(Listing, PagesAreReadInTheirOrderAndStoredOneByOne) {
    serve(persons(120));
    std::string stored;
    atAnswer(Endpoint::Connections, 3, [&] { stored = sqliteValue(KONFIG_PATH, "SELECT COUNT(*) FROM Contact"); });
    ASSERT_EQ(sync(), 0);
    EXPECT_EQ(stored, "100");
    const PhoneBook book = phoneBook();
    EXPECT_EQ(book.size(), 120U);
    EXPECT_EQ(book.at("people/c120"), (Details{{1, "Name 120"}, {51, "people/c120"}}));
    const auto requests = google.log(Endpoint::Connections);
    ASSERT_EQ(requests.size(), 3U);
    for (const HttpRequest& request : requests) {
        EXPECT_EQ(request.parameter("pageSize"), "50");
        EXPECT_EQ(
            request.parameter("personFields"),
            "memberships,addresses,birthdays,emailAddresses,names,nicknames,organizations,phoneNumbers,photos,urls");
        EXPECT_EQ(request.connection, requests[0].connection);
    }
    EXPECT_EQ(requests[0].parameter("pageToken"), "");
    EXPECT_NE(requests[1].parameter("pageToken"), requests[2].parameter("pageToken"));
    for (const char* page : {"page=0", "page=1", "page=2"}) {
        EXPECT_TRUE(hasLine(ORINLOG_DEBUG, std::string("orin_google_sync: ") + page)) << log;
    }
    EXPECT_EQ(announced().size(), 121U);
}

TEST_F(Listing, AnUnchangedAccountWritesAndTellsNothingButItsTime) {
    serve(generateAccount(60).persons);
    ASSERT_EQ(sync(), 0);
    announced();
    const std::string before = readFile(KONFIG_PATH);
    const int changes = contactChanges();
    ASSERT_EQ(sync(), 0);
    EXPECT_THAT(announced(), ElementsAre("1000 "));
    EXPECT_EQ(contactChanges(), changes);

    // Only the file's head and the pages of the accounts' table may differ.
    std::vector<std::string> pages{"1"};
    for (const auto& row :
         sqlitePeek(KONFIG_PATH, "SELECT rootpage FROM sqlite_master WHERE tbl_name='GoogleServerConfig'")) {
        pages.push_back(row[0]);
    }
    const std::string after = readFile(KONFIG_PATH);
    const size_t pageSize = std::stoul(sqliteValue(KONFIG_PATH, "PRAGMA page_size"));
    ASSERT_EQ(after.size(), before.size());
    for (size_t at = 0; at < after.size(); at += pageSize) {
        if (after.compare(at, pageSize, before, at, pageSize) != 0) {
            EXPECT_THAT(pages, testing::Contains(std::to_string(at / pageSize + 1)));
        }
    }
}

TEST_F(Listing, EachChangedContactIsToldOfOnce) {
    serve({named("people/c1", "Ada"), named("people/c2", "Bo"), named("people/c3", "Cy")});
    ASSERT_EQ(sync(), 0);
    const std::string one = contactId("people/c1");
    const std::string two = contactId("people/c2");
    const std::string three = contactId("people/c3");
    EXPECT_THAT(announced(),
                ElementsAre("1101 1;" + one + ";4", "1101 1;" + two + ";4", "1101 1;" + three + ";4", "1000 "));
    EXPECT_TRUE(hasLine(ORINLOG_EDEBUG, "orin_google_syncOneContact: create googlecontact personId=people/c1"));
    EXPECT_TRUE(hasLine(ORINLOG_EDEBUG, "orin_google_syncOneContact: orindb_writeToMsgQueue msg=1;" + three + ";4"));

    // With a removed contact go its settings in other tables, which are announced like the account's row.
    serve({named("people/c4", "Dan"), named("people/c3", "Cyd"), named("people/c1", "Ada")});
    ASSERT_EQ(sync(), 0);
    EXPECT_THAT(announced(), ElementsAre("1101 1;" + contactId("people/c4") + ";4", "1101 2;" + three + ";4",
                                         "1101 3;" + two + ";4", "1000 ", "1000 "));
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orin_google_sync: delete googlecontact contactId=" + two));
    const PhoneBook book = phoneBook();
    EXPECT_EQ(book.size(), 3U);
    EXPECT_EQ(book.at("people/c3").at(1), "Cyd");
    EXPECT_EQ(contactId("people/c1"), one);
}

TEST_F(Listing, WhatIsNotInTheAccountLeavesTheGroupAndOtherGroupsStay) {
    addContact(7, 4, "");
    addContact(8, 4 | 1, "people/gone");
    addContact(9, 1, "people/c1");
    addContact(10, 2, "");
    addContact(65535, 4 | 0x80000000, "people/c2");
    serve(persons(2));
    ASSERT_EQ(sync(), 0);
    EXPECT_THAT(announced(), UnorderedElementsAre("1101 1;" + contactId("people/c1") + ";4", "1101 2;65535;4",
                                                  "1101 3;7;4", "1101 3;8;5", "1000 ", "1000 "));
    // Of a contact that stays, the short number is none of the account's business.
    EXPECT_EQ(phoneBook(), (PhoneBook{{"people/c1", {{1, "Name 1"}, {51, "people/c1"}}},
                                      {"people/c2", {{1, "Name 2"}, {9, "17"}, {51, "people/c2"}}}}));
    EXPECT_EQ(phoneBook(1), (PhoneBook{{"people/c1", {{2, "Lokal"}, {9, "17"}, {51, "people/c1"}}}}));
    EXPECT_EQ(phoneBook(2).size(), 1U);
    EXPECT_EQ(sqliteValue(KONFIG_PATH, "SELECT contactGrpBitfield FROM Contact WHERE contactId=65535"), "2147483652");
}

TEST_F(Listing, OnlyMembersOfTheAccountsGroupAreTaken) {
    addAccount(1, GROUP, "contactGroups/4f1c");
    const std::string other = membership("contactGroups/myContacts");
    serve({member("people/c1", other + "," + membership("contactGroups/4f1c")), member("people/c2", other),
           member("people/c3", membership("contactGroups/4F1C")), named("people/c4", "Name"),
           member("people/c5", membership("contactGroups/4f1c"))});
    ASSERT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook().size(), 2U);
    const std::string leaver = contactId("people/c5");
    announced();

    google.update([&](GoogleAccount& account) { account.persons[4] = member("people/c5", "7,null," + other); });
    ASSERT_EQ(sync(), 0);
    EXPECT_EQ(phoneBook().size(), 1U);
    EXPECT_THAT(announced(), ElementsAre("1101 3;" + leaver + ";4", "1000 ", "1000 "));

    for (const char* all : {"contactGroups/all", "contactGroups/0", "0"}) {
        addAccount(1, GROUP, all);
        ASSERT_EQ(sync(), 0);
        EXPECT_EQ(phoneBook().size(), 5U) << all;
    }
}

TEST_F(Listing, TwoGroupsAreFilledSideBySide) {
    serve(generateAccount(120).persons);
    addAccount(2, 8);
    Process other({programPath("ct_synchronizer"), "ctGrpId=8"});
    EXPECT_EQ(sync(), 0);
    const ProcessResult result = other.wait(std::chrono::seconds(60));
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(result.err, "");
    const PhoneBook book = phoneBook();
    EXPECT_EQ(book.size(), 120U);
    EXPECT_EQ(phoneBook(8), book);
    EXPECT_EQ(sqliteValue(KONFIG_PATH, "SELECT COUNT(*) FROM Contact WHERE contactGrpBitfield IN (4,8)"), "240");
    EXPECT_EQ(status() + status(8), "");
}

TEST_F(Listing, AGroupAboveTheLowSixteenBitsMakesContactsOfNoGroup) {
    addAccount(2, INT32_MIN);
    serve(persons(1));
    ASSERT_EQ(run({"ctGrpId=2147483648"}), 0);
    EXPECT_EQ(phoneBook(0), (PhoneBook{{"people/c1", {{1, "Name 1"}, {51, "people/c1"}}}}));
    EXPECT_STRNE(account(INT32_MIN).lastupdatetime, "");
    google.misbehave({.endpoint = Endpoint::Connections, .status = 500});
    ASSERT_EQ(run({"ctGrpId=2147483648"}), 0);
    EXPECT_EQ(status(INT32_MIN), "-2147483648,8128\n");
}

}  // namespace
