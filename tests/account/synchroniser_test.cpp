// The synchroniser as ct_account runs it: result, authorisation, message queue, interruption.
#include <fcntl.h>
#include <json-c/json.h>
#include <unistd.h>

#include <csignal>

#include "account_world.h"
#include "env_var.h"
#include "temp_dir.h"

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
    const std::string all = shown({"contacts", "--group", "2"});
    EXPECT_THAT(all, HasSubstr("  Ähre?[2J, Šárka von und zu 東京  mobile 030 1, Boot 2  "));
    EXPECT_EQ(all.find("NUMBERS"), all.find("NAME") + 33);
    EXPECT_THAT(shown({"contacts", "--group", "2", "--json"}),
                AllOf(HasSubstr(R"("phone1Type":"mobile")"), HasSubstr(R"("phone2Type":"Boot")"),
                      HasSubstr(R"("canonicalPhone1":)"), HasSubstr(R"("resourceName":"people/c)")));
    EXPECT_THAT(shown({"contacts", "--group", "2", "--all-details"}), HasSubstr("  phone2Type       Boot\n"));
    const EnvVar narrow("COLUMNS", "60");
    EXPECT_EQ(shown({"contacts", "--group", "2"}).find("PHOTO\n"), 57U);  // two bytes are an ellipsis's
    if (!fileExists(programPath("ct_account.target"))) {  // which an emulator would run in place of any copy
        const TempDir folder;
        std::filesystem::copy(programPath("ct_account"), folder.file("alone"));
        const EnvVar path("PATH", "/data");
        const ProcessResult alone = Process({folder.file("alone"), "sync", "--group", "2"}).wait(DEADLINE);
        EXPECT_EQ(alone.exitStatus, 1);
        EXPECT_THAT(alone.err, HasSubstr("cannot start"));
    }
}

TEST_F(Synchroniser, JsonIsJsonWhateverTheDatabaseHolds) {
    add();
    fill("INSERT INTO Contact VALUES(5,2); INSERT INTO ContactDetail VALUES(5,2,CAST(x'C328FF' AS TEXT))");
    fill("UPDATE DbFileVersion SET version=5");  // the libraries print that they convert it
    const std::string out = account({"contacts", "--group", "2", "--json"}).out;
    EXPECT_THAT(out, HasSubstr(R"("familyName":"?(?")"));
    json_object* list = json_tokener_parse(out.c_str());
    EXPECT_TRUE(json_object_is_type(list, json_type_array)) << out;
    json_object_put(list);
}

TEST_F(Synchroniser, AnAuthorisationGoesFromTheCodeToTheContactsOrIsRefusedInGooglesWords) {
    google.update([](GoogleAccount& account) { account.device.interval = 2; });
    shown({"add", "--group", "2"});
    google.misbehave({.endpoint = Endpoint::DeviceCode, .status = 400, .error = "invalid_scope"});
    EXPECT_THAT(failure({"authorise", "--group", "2"}),
                HasSubstr("(HTTP status 400)\nct_account: error: invalid_scope\n"
                          "ct_account: error_description: Invalid device flow scope: https://"));
    EXPECT_THAT(shown({"authorise", "--group", "2"}),
                AllOf(HasSubstr("open   https://www.google.com/device\nenter  GQVQ-JKEC\nwithin 30 minutes\n"),
                      HasSubstr("authorisation        stored\n"), HasSubstr("contacts             5\n")));
    EXPECT_THAT(failure({"authorise", "--group", "2"}), HasSubstr("no new authorisation")) << "the same token";
}

TEST_F(Synchroniser, AFullQueueStopsNobodyAndKeepsHalfOfItsMessages) {
    const struct {
        long type;
        char text;
    } message{1000, 0};
    while (msgsnd(queue(), &message, 1, IPC_NOWAIT) == 0) {
    }
    google.update([](GoogleAccount& account) { account.persons = generateAccount(60).persons; });
    shown({"status"});  // makes the databases
    add();
    EXPECT_THAT(shown({"sync", "--group", "2"}), HasSubstr("contacts             60\n"));
    // Of so much text the end has nothing left to flush that could fail.
    const std::string intoFull = programPath("ct_account") + " contacts --group 2 --json >/dev/full";
    EXPECT_EQ(Process({"sh", "-c", intoFull}).wait(DEADLINE).exitStatus, 1);
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

TEST_F(Synchroniser, ARunThatFailsOrIsEndedIsNoSuccess) {
    add();
    shown({"sync", "--group", "2"});  // whose success is not the next one's
    google.misbehave({.endpoint = Endpoint::Connections, .count = 0, .status = 500});
    EXPECT_THAT(failure({"sync", "--group", "2", "--retry-limit", "3"}),
                HasSubstr("failed: 8128 (a request to Google failed, or its answer was unusable)"));
    EXPECT_EQ(google.count(Endpoint::Connections), 4U);
    const std::vector<std::string> endless{programPath("ct_account"), "sync", "--group=2", "--retry-limit=1000",
                                           "--retry-wait=1"};
    // A removal is asked about before the run and confirmed in the middle of it.
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const std::string remove = programPath("ct_account") + " remove --group 2 <" + ptsname(terminal);
    Process removal({"sh", "-c", remove});
    ASSERT_TRUE(removal.waitForOutput("[y/N] ", DEADLINE));
    Process sync(endless);
    ASSERT_TRUE(google.waitFor(Endpoint::Connections, 5, DEADLINE));
    EXPECT_EQ(write(terminal, "y\n", 2), 2);
    EXPECT_THAT(removal.wait(DEADLINE).err, HasSubstr("is being synchronised by process"));
    EXPECT_THAT(failure({"sync", "--group", "2"}), HasSubstr("is being synchronised by process"));
    EXPECT_THAT(shown({"status"}), AllOf(ContainsRegex("running              yes, process [0-9]+\n"),
                                         HasSubstr("last result          the synchronisation is under way\n")));
    sync.send(SIGINT);
    EXPECT_EQ(sync.wait(DEADLINE).exitStatus, 1);  // before it can have made all attempts

    Process refused({"sh", "-c", remove});
    ASSERT_TRUE(refused.waitForOutput("[y/N] ", DEADLINE));
    EXPECT_EQ(write(terminal, "n\n", 2), 2);
    EXPECT_EQ(refused.wait(DEADLINE).exitStatus, 1);
    close(terminal);
    Process victim(endless);
    ASSERT_TRUE(google.waitFor(Endpoint::Connections, google.count(Endpoint::Connections) + 1, DEADLINE));
    kill(std::stoi(readFile("/data/etc/googlesync_2.syn")), SIGKILL);
    const ProcessResult killed = victim.wait(DEADLINE);
    EXPECT_EQ(killed.exitStatus, 1) << killed;
    EXPECT_THAT(killed.err, HasSubstr("killed by signal 9"));
    EXPECT_THAT(killed.out, HasSubstr("last result          the synchronisation was killed\n"));

    google.behave();
    fill("UPDATE GoogleServerConfig SET lastupdatetime='2024-03-05 09:07'");
    fill("CREATE TRIGGER full BEFORE INSERT ON GoogleServerConfig BEGIN SELECT RAISE(ABORT,''); END");
    EXPECT_THAT(failure({"sync", "--group", "2"}), HasSubstr("left no result"));
}

}  // namespace
