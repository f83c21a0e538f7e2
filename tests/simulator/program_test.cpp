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
    Process standin({programPath("google_standin"), "--account", account, "--log", folder.file("log"), "--ca-file",
                     authority, "--ca-dir", folder.file("trusted"), "--listen", "127.0.0.1:0", "--ready-fd", "1"});
    ASSERT_TRUE(standin.waitForOutput("\n")) << standin.err();
    const std::string port = std::to_string(std::stoi(standin.out()));
    connectTo.reset(curl_slist_append(nullptr, ("::127.0.0.1:" + port).c_str()));

    const std::string token = ask(TOKEN, form).at("/access_token");
    EXPECT_EQ(ask(PEOPLE + "?personFields=names", {}, token.c_str()).at("/totalItems"), "3");
    writeFile(account, writeAccountFile(generateAccount(4)));
    EXPECT_EQ(ask(PEOPLE + "?personFields=names", {}, token.c_str()).at("/totalItems"), "4");
    writeFile(
        account,
        R"({"script": [{"endpoint": "token", "status": 400, "error": "invalid_grant"}], "certificates": {"people.googleapis.com": "expired"}})");
    EXPECT_EQ(ask(TOKEN, form).at("/error"), "invalid_grant");
    EXPECT_EQ(ask(TOKEN, form).status, 200);
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    EXPECT_EQ(ask(PEOPLE).result, CURLE_PEER_FAILED_VERIFICATION);
    writeFile(account, "{");
    EXPECT_EQ(ask(TOKEN, form).status, 200);

    standin.send(SIGTERM);
    const ProcessResult result = standin.wait();
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_NE(result.err.find("account.json: line 1: "), std::string::npos) << result;
    const std::string log = readFile(folder.file("log"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 6);
    EXPECT_NE(log.find("\"target\":\"/v1/people/me/connections?personFields=names\""), std::string::npos);
}

TEST_F(Program, SaysWhatIsWrongAndDoesNotStart) {
    const std::string program = programPath("google_standin");
    const std::string taken = "127.0.0.1:" + std::to_string(google.port());
    EXPECT_EQ(run({program, "--listen", taken}).err,
              "google_standin: cannot listen on " + taken + ": Address already in use\n");
    EXPECT_EQ(run({program, "--account", "/none"}).err, "google_standin: /none: No such file or directory\n");
    EXPECT_EQ(run({program, "--misbehave", "{\"status\":\"x\"}"}).exitStatus, 2);
    EXPECT_EQ(run({program, "--listen", "here"}).exitStatus, 2);
    const ProcessResult generated = run({program, "--generate", "2", "--seed", "9"});
    EXPECT_EQ(generated.exitStatus, 0);
    EXPECT_EQ(generated.out, writeAccountFile(generateAccount(2, 9)));
}
