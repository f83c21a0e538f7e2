// Accounts: adding, showing, searching, removing, and what is refused.
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "account_world.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

class Accounts : public AccountWorld {};

TEST_F(Accounts, AnAccountIsAddedWithItsGroup) {
    EXPECT_EQ(shown({"status"}), "there is no Google account\n");
    shown({"add", "--group", "bit3", "--name", "Büro", "--user", "me@mail.test", "--interval", "7", "--active",
           "--google-group", "contactGroups/1b7", "--token", "/tmp/token"});
    EXPECT_EQ(value("SELECT printf('%d|%s|%s|%s|%d|%s|%d|%d',googleAccountId,accountname,serverusername,refreshToken,"
                    "needsNewAuth,googleGroup,updateinterval,serveractiv) FROM GoogleServerConfig"),
              "1|Büro|me@mail.test|1//09invented-refresh-token-of-the-stand-in|0|contactGroups/1b7|7|1");
    EXPECT_EQ(value("SELECT type||'|'||name FROM ContactGroup WHERE contactGroupId=8"), "0|Büro");
    shown({"add"});
    EXPECT_EQ(value("SELECT contactGroupId||'|'||needsNewAuth FROM GoogleServerConfig WHERE googleAccountId=2"), "2|1");
    shown({"remove", "--group", "2", "--yes"});
    shown({"add", "--group", "32768"});
    EXPECT_EQ(value("SELECT googleAccountId FROM GoogleServerConfig WHERE contactGroupId=32768"), "2");
    // Where all exist, one that holds nothing does, and keeps its name.
    fill("INSERT INTO Contact VALUES(9,2)");
    fill(
        "WITH g(b) AS (VALUES(2) UNION ALL SELECT b*2 FROM g WHERE b<32768)"
        "INSERT OR IGNORE INTO ContactGroup(contactGroupId,type,name) SELECT b,0,b FROM g");
    EXPECT_THAT(shown({"add"}), HasSubstr("fills contact group 4 (0x4) \"4\""));
}

TEST_F(Accounts, WhatCannotBeIsRefusedWithAReason) {
    const std::tuple<std::vector<std::string>, int, const char*> refusals[] = {
        {{"add", "--group", "4"}, 1, "contact group 4 already has account 1 \"Google\""},
        {{"add", "--group", "6"}, 2, "more than one group"},
        {{"add", "--group", "0x4000000"}, 2, "system group"},
        {{"add", "--group", "0x10000"}, 2, "only 0x1 to 0x8000 can"},
        {{"add", "--group", "4x"}, 2, "'4x' does not do for --group"},
        {{"add", "--group", "bit32"}, 2, "'bit32'"},
        {{"add", "--name", std::string(256, 'n')}, 2, "--name"},
        {{"add", "--google-group", "friends"}, 2, "'friends'"},
        {{"add", "--token", "/tmp/none"}, 1, "No such file"},
        {{"add", "--token", "/tmp/long"}, 1, "no refresh token"},
        {{"add", "--token", "-"}, 1, "the standard input"},
        {{"sync"}, 2, "--group is missing"},
        {{"sync", "--group"}, 2, "a value is missing behind --group"},
        {{"sync", "--group", "4", "--json"}, 2, "there is no option --json"},
        {{"sync", "--group", "4", "now"}, 2, "'now'"},
        {{"sync", "--group", "4", "--retry-limit", "0"}, 2, "--retry-limit"},
        {{"sync", "--group", "4", "--retry", "3"}, 2, "more than one option begins with --retry"},
        {{"status", "--json=x"}, 2, "a value too much in --json=x"},
        {{"contacts", "--group", "64"}, 1, "there is no contact group 64"},
        {{"sync", "--group", "8"}, 1, "contact group 8 has no Google account"},
        {{"groups", "--group", "4"}, 1, "needs an authorisation"},
        {{"remove", "--group", "4"}, 2, "--yes is needed"},
        {{"search"}, 2, "TEXT is missing"},
        {{"search", "a", "b"}, 2, "'b' is too much"},
        {{"nothing"}, 2, "'nothing'"},
        {{}, 2, "usage: "}};
    writeFile("/tmp/long", std::string(256, 't'));
    shown({"add", "--group", "4"});
    for (const auto& [arguments, exitStatus, reason] : refusals) {
        const ProcessResult result = account(arguments);
        EXPECT_EQ(result.exitStatus, exitStatus) << result;
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(value("SELECT COUNT(*) FROM GoogleServerConfig"), "1");
    EXPECT_EQ(google.count(), 0U);

    chmod("/data/db", 0555);
    if (access("/data/db", W_OK) != 0) {  // of a user who may write everywhere it is still writable
        EXPECT_THAT(failure({"status"}), HasSubstr("no write access to /data/db (Permission denied)"));
    }
    chmod("/data/db", 0755);
}

TEST_F(Accounts, EveryCommandHasItsHelp) {
    for (const char* command : {"add", "groups", "authorise", "sync", "status", "contacts", "search", "remove"}) {
        EXPECT_THAT(shown({command, "--help"}), HasSubstr(std::string("usage: ct_account ") + command + " "));
    }
}

TEST_F(Accounts, AStatusTellsRunsAndResultsInWords) {
    shown({"add", "--group", "2"});
    EXPECT_THAT(shown({"status"}),
                AllOf(HasSubstr("authorisation        needed anew\n"), HasSubstr("last result          none yet\n")));
    // This process lives, but is no synchroniser.
    const std::string self = std::to_string(getpid());
    writeFile("/data/etc/googlesync_2.syn", self + " \n");
    writeFile("/data/etc/googleclient_2.err", "2,8104\n");
    EXPECT_THAT(shown({"status", "--group", "2"}),
                AllOf(HasSubstr("process " + self + " was killed"), HasSubstr("8104 (the phone book is full)")));
    writeFile("/data/etc/googleclient_2.err", "");  // of a full disk
    EXPECT_THAT(shown({"status", "--json"}), HasSubstr(R"("lastResult":null,
    "lastResultText":"a failure whose code could not be stored")"));
    shown({"remove", "--group", "2", "--yes"});
    EXPECT_FALSE(fileExists("/data/etc/googlesync_2.syn") || fileExists("/data/etc/googleclient_2.err"));
}

TEST_F(Accounts, RemovingTellsWhatBecameOfTheContacts) {
    shown({"add", "--group", "2", "--token", "/tmp/token"});
    shown({"sync", "--group", "2"});
    fill(
        "INSERT INTO Contact VALUES(999,2);"
        "UPDATE Contact SET contactGrpBitfield=18 WHERE contactId=(SELECT min(contactId) FROM ContactDetail)");
    EXPECT_THAT(shown({"remove", "--group", "2", "--yes"}),
                HasSubstr("of 6 contacts 4 are removed, 1 left the group and stay in others, 1 that were entered"));
    EXPECT_EQ(value("SELECT group_concat(g) FROM (SELECT contactGrpBitfield g FROM Contact ORDER BY g)"), "2,16");
}

TEST_F(Accounts, ContactsAreFoundByTheBeginningOfTheirFamilyName) {
    const std::string longName(127, 'n');
    fill(("INSERT INTO Contact VALUES(5,4),(6,0),(7,1);"
          "INSERT INTO ContactDetail VALUES(5,2,'O''Neill'),(5,3,'Ann O''Neill'),(5,12,'030 1'),(5,14,'2'),(5,18,'3$'),"
          "(6,2,'Mö'||char(27)||'tz'),(7,3,'" +
          longName + "ä')")
             .c_str());
    EXPECT_EQ(shown({"search", "o'n"}),
              "ID  FAMILY NAME  NAME         NUMBERS\n"
              "5   O'Neill      Ann O'Neill  030 1, 2\n");
    EXPECT_EQ(shown({"search", "--", "-%"}), "ID  FAMILY NAME  NAME  NUMBERS\n");
    EXPECT_THAT(shown({"search", "m"}), HasSubstr("6   Mö?tz\n"));
    EXPECT_THAT(shown({"search", "@"}), HasSubstr("7                " + longName));
}

}  // namespace
