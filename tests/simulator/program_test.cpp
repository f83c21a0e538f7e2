#include <csignal>

#include "account_file.h"
#include "file_tools.h"
#include "google_client.h"
#include "process.h"

// The client speaks to the program here, not to the stand-in of this process.
using Program = GoogleClient;

TEST_F(Program, FollowsItsAccountFileAndEndsOnSigterm) {
    const std::string account = folder.file("account.json");
    const std::string form =
        CLIENT + "&grant_type=refresh_token&refresh_token=1//09invented-refresh-token-of-the-stand-in";
    writeFile(account, writeAccountFile(generateAccount(3)));
    Process standin({programPath("google_standin"), "--account", account, "--log", folder.file("log"), "--ca-dir",
                     trusted, "--listen", "127.0.0.1:0", "--ready-file", "/dev/stdout", "--misbehave",
                     R"({"endpoint": "groups", "count": 0, "status": 403})"});
    ASSERT_TRUE(standin.waitForOutput("\n"));
    const std::string port = std::to_string(std::stoi(standin.out()));
    connectTo.reset(curl_slist_append(nullptr, ("::127.0.0.1:" + port).c_str()));

    const std::string token = ask(TOKEN, form).at("/access_token");
    EXPECT_EQ(ask(NAMES, {}, token).at("/totalItems"), "3");
    writeFile(account, writeAccountFile(generateAccount(4)));
    EXPECT_EQ(ask(NAMES, {}, token).at("/totalItems"), "4");
    writeFile(
        account,
        R"({"script": [{"endpoint": "token", "status": 400, "error": "invalid_grant"}], "certificates": {"people.googleapis.com": "expired"}})");
    EXPECT_EQ(ask(TOKEN, form).at("/error"), "invalid_grant");
    EXPECT_EQ(ask(TOKEN, form).status, 200);
    EXPECT_EQ(ask(GROUPS).status, 403);
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    EXPECT_EQ(ask(PEOPLE).result, CURLE_PEER_FAILED_VERIFICATION);
    writeFile(account, "{");
    EXPECT_EQ(ask(TOKEN, form).status, 200);

    standin.send(SIGTERM);
    const ProcessResult result = standin.wait();
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_THAT(result.err, testing::HasSubstr("account.json: line 1: "));
    const std::string log = readFile(folder.file("log"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 7);
    EXPECT_THAT(log, testing::HasSubstr("\"target\":\"/v1/people/me/connections?personFields=names\""));
}

TEST_F(Program, SaysWhatIsWrongAndDoesNotStart) {
    const std::string program = programPath("google_standin");
    const std::string taken = "127.0.0.1:" + std::to_string(google.port());
    EXPECT_EQ(run({program, "--listen", taken}).err,
              "google_standin: cannot listen on " + taken + ": Address already in use\n");
    EXPECT_EQ(run({program, "--account", "/none"}).err, "google_standin: /none: No such file or directory\n");
    EXPECT_EQ(run({program, "--misbehave", "{\"status\":\"x\"}"}).exitStatus, 2);
    EXPECT_EQ(run({program, "--listen", "here"}).exitStatus, 2);
    EXPECT_EQ(run({program, "--generate", "2", "--seed", "9"}).out, writeAccountFile(generateAccount(2, 9)));
}
