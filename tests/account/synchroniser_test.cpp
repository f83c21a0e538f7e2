// The synchroniser as ct_account runs it: result, authorisation, message queue, interruption.
#include <csignal>

#include <algorithm>
#include <sstream>

#include "account_world.h"
#include "env_var.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Synchroniser : public AccountWorld {
  protected:
    void add() {
        shown({"add", "--group", "2", "--token", "/tmp/token"});
    }
};

TEST_F(Synchroniser, AGroupIsFilledAndShown) {
    google.update([](GoogleAccount& account) {
        account.persons[0].fields["names"] =
            R"([{"metadata":{"primary":true},"displayNameLastFirst":"Ähre\u001b[2J, Šárka von und zu \u6771\u4eac"}])";
        account.persons[0].fields["phoneNumbers"] =
            R"([{"metadata":{"primary":true},"value":"030 1","type":"mobile"},{"metadata":{},"value":"2","type":"Boot"}])";
    });
    add();
    EXPECT_THAT(shown({"groups", "--group", "2"}), ContainsRegex("contactGroups/1b7 +Kunden & Gäste +[0-9]"));
    const std::string outcome = shown({"sync", "--group", "2"});
    EXPECT_THAT(outcome, AllOf(HasSubstr("last result          0 (success)\n"), HasSubstr("contacts             5\n")));
    EXPECT_EQ(outcome, shown({"status"}));
    EXPECT_THAT(shown({"contacts", "--group", "2"}),
                HasSubstr("  Ähre?[2J, Šárka von und zu 東京  mobile 030 1, Boot 2  "));
    EXPECT_THAT(shown({"contacts", "--group", "2", "--json"}),
                AllOf(HasSubstr(R"("phone1Type":"mobile")"), HasSubstr(R"("phone2Type":"Boot")"),
                      HasSubstr(R"("canonicalPhone1":)"), HasSubstr(R"("resourceName":"people/c)")));
    EXPECT_THAT(shown({"contacts", "--group", "2", "--all-details"}), HasSubstr("  phone2Type       Boot\n"));
    const EnvVar narrow("COLUMNS", "60");
    std::istringstream table(shown({"contacts", "--group", "2"}));
    for (std::string line; std::getline(table, line);) {
        // Characters, less those that take two columns.
        const auto isCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
        EXPECT_LE(std::count_if(line.begin(), line.end(), isCharacter), 60) << line;
    }
}

TEST_F(Synchroniser, AFailureIsToldInWords) {
    add();
    google.misbehave({.endpoint = Endpoint::Connections, .count = 0, .status = 500});
    const ProcessResult failed = account({"sync", "--group", "2", "--retry-limit", "3"});
    EXPECT_EQ(failed.exitStatus, 1);
    EXPECT_THAT(failed.err, HasSubstr("a request to Google failed, or its answer was unusable (8128)"));
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
}

TEST_F(Synchroniser, AnAuthorisationGoesFromTheCodeToTheContactsOrIsRefusedInGooglesWords) {
    google.update([](GoogleAccount& account) { account.device.interval = 2; });
    shown({"add", "--group", "2"});
    google.misbehave({.endpoint = Endpoint::DeviceCode, .status = 400, .error = "invalid_scope"});
    const ProcessResult result = account({"authorise", "--group", "2"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err,
              "ct_account: Google gives no device code (HTTP status 400)\n"
              "ct_account: error: invalid_scope\n"
              "ct_account: error_description: Invalid device flow scope: https://www.googleapis.com/auth/contacts\n");
    EXPECT_EQ(google.count(Endpoint::Token), 0U);
    EXPECT_THAT(shown({"authorise", "--group", "2"}),
                AllOf(HasSubstr("open   https://www.google.com/device\nenter  GQVQ-JKEC\nwithin 30 minutes\n"),
                      HasSubstr("authorisation        stored\n"), HasSubstr("contacts             5\n")));
}

TEST_F(Synchroniser, AFullQueueStopsNobodyAndKeepsHalfOfItsMessages) {
    const struct {
        long type;
        char text;
    } message{1000, 0};
    while (msgsnd(queue(), &message, 1, IPC_NOWAIT) == 0) {
    }
    google.update([](GoogleAccount& account) { account.persons = generateAccount(60).persons; });
    add();
    EXPECT_THAT(shown({"sync", "--group", "2"}), HasSubstr("contacts             60\n"));
    shown({"remove", "--group", "2", "--yes"});
    msqid_ds state{};
    ASSERT_EQ(msgctl(queue(), IPC_STAT, &state), 0);
    EXPECT_GT(state.msg_qnum, 5000U);
    EXPECT_GT(state.msg_cbytes, state.msg_qbytes / 3);
}

TEST_F(Synchroniser, NotificationsAreShownWhenAskedFor) {
    add();
    EXPECT_THAT(shown({"sync", "--group", "2"}), Not(HasSubstr("1101")));
    google.update([](GoogleAccount& account) { account.persons.pop_back(); });
    const std::string out = shown({"sync", "--group", "2", "--notifications"});
    EXPECT_THAT(out, ContainsRegex("(1101 created contact [^\n]*\n[^\n]*){5}"));
    EXPECT_THAT(out, ContainsRegex("1101 removed contact [0-9]+ group 2\n"));
    EXPECT_THAT(out, HasSubstr("1000 configuration changed\n"));
}

TEST_F(Synchroniser, AnInterruptEndsTheSynchroniserInOrder) {
    add();
    google.misbehave({.endpoint = Endpoint::Connections, .count = 0, .status = 500});
    Process sync({programPath("ct_account"), "sync", "--group", "2", "--retry-limit", "1000", "--retry-wait", "1"});
    ASSERT_TRUE(google.waitFor(Endpoint::Connections, 1, std::chrono::seconds(20)));
    EXPECT_THAT(shown({"status"}), ContainsRegex("running              yes, process [0-9]+\n"));
    EXPECT_THAT(account({"sync", "--group", "2"}).err, HasSubstr("is being synchronised by process"));
    EXPECT_EQ(account({"remove", "--group", "2", "--yes"}).exitStatus, 1);

    sync.send(SIGINT);
    const ProcessResult result = sync.wait();
    EXPECT_EQ(result.exitStatus, 1) << result;
    EXPECT_THAT(result.err, HasSubstr("interrupted"));
    EXPECT_THAT(result.out, HasSubstr("running              no\n"));
    EXPECT_LT(google.count(Endpoint::Connections), 10U);
    EXPECT_FALSE(fileExists("/data/etc/googlesync_2.syn"));
}

}  // namespace
