// Accounts: adding, showing, removing, and what is refused.
#include <sys/stat.h>
#include <unistd.h>

#include "account_world.h"
#include "orindb_contact.h"
#include "orindb_dbaccess.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class Accounts : public AccountWorld {};

TEST_F(Accounts, AnAccountIsAddedWithItsGroup) {
    EXPECT_EQ(shown({"status"}), "there is no Google account\n");
    shown({"add", "--group", "0x8", "--name", "Büro", "--user", "me@mail.test", "--interval", "7", "--active",
           "--google-group", "contactGroups/1b7", "--token", "/tmp/token"});
    EXPECT_EQ(value("SELECT googleAccountId||accountname||serverusername||refreshToken||needsNewAuth||googleGroup||"
                    "updateinterval||serveractiv FROM GoogleServerConfig WHERE contactGroupId=8"),
              "1Bürome@mail.test1//09invented-refresh-token-of-the-stand-in0contactGroups/1b771");
    EXPECT_EQ(value("SELECT type||name FROM ContactGroup WHERE contactGroupId=8"), "0Büro");

    // The next ones take what is free, and leave a group that exists as it is.
    shown({"add"});
    EXPECT_EQ(value("SELECT contactGroupId||needsNewAuth FROM GoogleServerConfig WHERE googleAccountId=2"), "21");
    shown({"add", "--group", "bit0", "--name", "X"});
    EXPECT_EQ(value("SELECT name FROM ContactGroup WHERE contactGroupId=1"), "Telefonbuch Standard");
    shown({"remove", "--group", "2", "--yes"});
    shown({"add", "--group", "32768"});
    EXPECT_EQ(value("SELECT googleAccountId FROM GoogleServerConfig WHERE contactGroupId=32768"), "2");
}

TEST_F(Accounts, WhatCannotBeIsRefusedWithAReason) {
    struct Refusal {
        std::vector<std::string> arguments;
        int exitStatus;
        const char* reason;
    };
    writeFile("/tmp/long", std::string(256, 't'));
    writeFile("/tmp/words", "no token");
    shown({"add", "--group", "4"});
    for (const Refusal& refusal : std::vector<Refusal>{
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
             {{"add", "--token", "/tmp/words"}, 1, "no refresh token"},
             {{"add", "--token", "-"}, 1, "the standard input"},
             {{"sync"}, 2, "--group is missing"},
             {{"sync", "--group"}, 2, "a value is missing behind --group"},
             {{"sync", "--group", "4", "--json"}, 2, "there is no option --json"},
             {{"sync", "-gx"}, 2, "there is no option -g"},
             {{"sync", "--group", "4", "now"}, 2, "'now'"},
             {{"sync", "--group", "4", "--retry-limit", "65536"}, 2, "--retry-limit"},
             {{"sync", "--group", "8"}, 1, "contact group 8 has no Google account"},
             {{"groups", "--group", "4"}, 1, "needs an authorisation"},
             {{"remove", "--group", "4"}, 2, "--yes is needed"},
             {{"nothing"}, 2, "'nothing'"},
             {{}, 2, "usage: "},
         }) {
        const ProcessResult result = account(refusal.arguments);
        EXPECT_EQ(result.exitStatus, refusal.exitStatus) << result;
        EXPECT_THAT(result.err, HasSubstr(refusal.reason));
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(value("SELECT COUNT(*) FROM GoogleServerConfig"), "1");
    EXPECT_EQ(google.count(), 0U);
}

TEST_F(Accounts, EveryCommandHasItsHelp) {
    EXPECT_THAT(shown({"--version"}), MatchesRegex("ct_account [0-9.]+\n"));
    EXPECT_EQ(shown({"help"}), shown({"--help"}));
    for (const char* command : {"add", "groups", "authorise", "sync", "status", "contacts", "remove"}) {
        EXPECT_THAT(shown({"--help"}), HasSubstr(command));
        EXPECT_THAT(shown({"help", command}), HasSubstr("--group GROUP"));
        EXPECT_EQ(shown({command, "--help"}), shown({"help", command}));
    }
}

TEST_F(Accounts, AStatusTellsRunsAndResultsInWords) {
    shown({"add", "--group", "2"});
    EXPECT_THAT(shown({"status"}), HasSubstr("authorisation        needed anew\n"));
    EXPECT_THAT(shown({"status"}), HasSubstr("last result          none yet\n"));
    // This process lives, but is no synchroniser.
    writeFile("/data/etc/googlesync_2.syn", std::to_string(getpid()) + " \n");
    writeFile("/data/etc/googleclient_2.err", "2,8104\n");
    const std::string status = shown({"status", "--group", "2"});
    EXPECT_THAT(status, HasSubstr("process " + std::to_string(getpid()) + " was killed"));
    EXPECT_THAT(status, HasSubstr("8104 (the phone book is full)"));
    writeFile("/data/etc/googleclient_2.err", "2,9999\n");
    EXPECT_THAT(shown({"status", "--json"}), HasSubstr("\"lastResultText\":\"unknown result\""));
    shown({"remove", "--group", "2", "--yes"});
    EXPECT_FALSE(fileExists("/data/etc/googlesync_2.syn") || fileExists("/data/etc/googleclient_2.err"));
}

TEST_F(Accounts, RemovingTellsWhatBecameOfTheContacts) {
    shown({"add", "--group", "2", "--token", "/tmp/token"});
    shown({"sync", "--group", "2"});
    DbContext databases{};
    Contact contact{};
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&databases, nullptr, 0), 0);
    ASSERT_EQ(orindb_createContact(&databases, 2, 0, &contact), 0);
    const std::string fromGoogle = value("SELECT min(contactId) FROM ContactDetail WHERE key=51");
    contact = {static_cast<uint16_t>(std::stoi(fromGoogle)), 2 | 16};
    ASSERT_EQ(orindb_replaceKontakt(&databases, &contact), 0);
    orindb_closeAllDbs(&databases);

    EXPECT_THAT(shown({"remove", "--group", "2", "--yes"}),
                HasSubstr("of 6 contacts 4 are removed, 1 left the group and stay in others, 1 that were entered"));
    EXPECT_EQ(value("SELECT group_concat(g) FROM (SELECT contactGrpBitfield g FROM Contact ORDER BY g)"), "2,16");
}

TEST_F(Accounts, WithoutWriteAccessNothingIsBegun) {
    chmod("/data/db", 0555);
    if (access("/data/db", W_OK) == 0) {
        GTEST_SKIP() << "this user may write everywhere";
    }
    const ProcessResult result = account({"status"});
    chmod("/data/db", 0755);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("ct_account: no write access to /data/db (Permission denied)"));
}

}  // namespace
