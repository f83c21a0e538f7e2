#include "account_file.h"
#include "google_client.h"

using Answers = GoogleClient;

TEST_F(Answers, PagesFollowOneAnotherUntilThereIsNoToken) {
    std::vector<std::string> seen;
    for (std::string token; token != "absent";) {
        std::string query = "?pageSize=10&personFields=memberships%2Cnames";
        if (!token.empty()) {
            query.append("&pageToken=").append(token);
        }
        const Reply page = ask(PEOPLE + query);
        EXPECT_EQ(page.at("/totalItems"), "25");
        for (int i = 0; i < 10; i++) {
            seen.push_back(page.at("/connections/" + std::to_string(i) + "/resourceName"));
        }
        EXPECT_EQ(page.at("/connections/0/urls"), "absent");
        EXPECT_NE(page.at("/connections/0/etag"), "absent");
        token = page.at("/nextPageToken");
    }
    std::erase(seen, "absent");
    google.update([&](GoogleAccount& account) {
        std::vector<std::string> expected;
        for (const auto& person : account.persons) {
            expected.push_back(person.resourceName);
        }
        EXPECT_EQ(seen, expected);
        account.persons.clear();
    });
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(google.log().back().connection, 1U);
    EXPECT_EQ(ask(NAMES).body, "{}\n");
    EXPECT_EQ(header("Content-Type"), "application/json; charset=UTF-8");
    EXPECT_NE(ask(GROUPS + "?pageSize=2").at("/nextSyncToken"), "absent") << "on every page";
}

TEST_F(Answers, AListRequestThatGoogleRefusesIsRefused) {
    const std::string next = NAMES + "&pageToken=" + ask(NAMES + "&pageSize=10").at("/nextPageToken");
    for (const std::string& url :
         {PEOPLE + "?pageSize=10", PEOPLE + "?personFields=", PEOPLE + "?personFields=names,shoes",
          NAMES + "&pageSize=1001", NAMES + "&pageSize=ten", NAMES + "&pageToken=bogus", next + "&pageSize=11"}) {
        EXPECT_EQ(ask(url).statusAnd("/error/status"), "400 INVALID_ARGUMENT") << url;
    }
    EXPECT_EQ(ask(next + "&pageSize=10").status, 200);
    EXPECT_EQ(ask("https://people.googleapis.com/token").status, 404);
    EXPECT_EQ(header("Content-Type"), "text/html; charset=UTF-8");
    EXPECT_EQ(ask(NAMES, {}, "stale").at("/error/status"), "UNAUTHENTICATED");
    google.update([](GoogleAccount& account) { account.accessTokens[0].expires = std::chrono::steady_clock::now(); });
    EXPECT_EQ(ask(GROUPS).statusAnd("/error/details/0/reason"), "401 ACCESS_TOKEN_EXPIRED");
}

TEST_F(Answers, ADeviceCodeIsPendingThenGoodOnceAndTokensAreRefusedAsGoogleDoes) {
    const std::string device = "https://oauth2.googleapis.com/device/code";
    google.update([](GoogleAccount& account) { account.device.pendingAnswers = 2; });
    const Reply code = ask(device, CLIENT + "&scope=https://www.googleapis.com/auth/contacts");
    EXPECT_EQ(code.at("/user_code") + " " + code.at("/interval"), "GQVQ-JKEC 5");
    const std::string form =
        CLIENT + "&grant_type=http://oauth.net/grant_type/device/1.0&code=" + code.at("/device_code");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(ask(TOKEN, form).statusAnd("/error"), "428 authorization_pending");
    }
    const Reply tokens = ask(TOKEN, form);
    EXPECT_EQ(tokens.at("/expires_in"), "3599");
    EXPECT_EQ(ask(NAMES, {}, tokens.at("/access_token")).status, 200);
    EXPECT_EQ(ask(TOKEN, form).at("/error"), "invalid_grant");
    const Reply fresh = ask(TOKEN, CLIENT + "&grant_type=refresh_token&refresh_token=" + tokens.at("/refresh_token"));
    EXPECT_EQ(fresh.at("/refresh_token"), "absent");
    EXPECT_NE(fresh.at("/access_token"), tokens.at("/access_token"));

    EXPECT_EQ(ask(TOKEN, CLIENT + "&grant_type=refresh_token&refresh_token=1//gone").at("/error_description"),
              "Token has been expired or revoked.");
    EXPECT_EQ(ask(TOKEN, "client_id=other&client_secret=other&grant_type=refresh_token").status, 401);
    EXPECT_EQ(header("Server"), "scaffolding on HTTPServer2");
    EXPECT_EQ(ask(device, CLIENT + "&scope=mail").at("/error"), "invalid_scope");
}

TEST(AccountFiles, AnAccountSurvivesBeingWrittenAndRead) {
    const GoogleAccount account = generateAccount(40, 7);
    const std::string text = writeAccountFile(account);
    AccountFile file;
    std::string error;
    ASSERT_TRUE(parseAccountFile(text, file, error)) << error;
    EXPECT_EQ(writeAccountFile(file.account), text);
    EXPECT_NE(writeAccountFile(generateAccount(40, 8)), text);
    ASSERT_EQ(file.account.persons.size(), 40U);
    for (const char* wrong :
         {"", "[]", "{\"script\":[{\"endpont\":\"token\"}]}", "{\"certificates\":{\"\":\"bad\"}}", "{} x"}) {
        EXPECT_FALSE(parseAccountFile(wrong, file, error)) << wrong;
    }
}
