#include "account_file.h"
#include "google_client.h"

using Answers = GoogleClient;

TEST_F(Answers, AnEmptyAccountHasAListWithoutConnections) {
    google.update([](GoogleAccount& account) { account.persons.clear(); });
    const Reply reply = ask(PEOPLE + "?personFields=names");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.contentType, "application/json; charset=UTF-8");
    EXPECT_EQ(reply.body, "{}\n");
}

TEST_F(Answers, PagesFollowOneAnotherUntilThereIsNoToken) {
    std::vector<std::string> seen;
    std::string token;
    do {
        const std::string begin = token.empty() ? "" : "pageToken=" + token + "&";
        const Reply page = ask(PEOPLE + "?" + begin + "pageSize=10&personFields=memberships%2Cnames");
        ASSERT_EQ(page.at("/totalItems"), "25");
        for (int i = 0; i < 10; i++) {
            const std::string name = page.at(("/connections/" + std::to_string(i) + "/resourceName").c_str());
            if (name != "absent") {
                seen.push_back(name);
            }
        }
        EXPECT_EQ(page.at("/connections/0/urls"), "absent");
        EXPECT_NE(page.at("/connections/0/etag"), "absent");
        token = page.at("/nextPageToken");
    } while (token != "absent");
    google.update([&](GoogleAccount& account) {
        ASSERT_EQ(seen.size(), account.persons.size());
        for (size_t i = 0; i < seen.size(); i++) {
            EXPECT_EQ(seen[i], account.persons[i].resourceName);
        }
    });
    EXPECT_EQ(google.count(Endpoint::Connections), 3U);
    EXPECT_EQ(google.log().back().connection, 1U);
}

TEST_F(Answers, AListRequestThatGoogleRefusesIsRefused) {
    const std::string token = ask(PEOPLE + "?pageSize=10&personFields=names").at("/nextPageToken");
    for (const std::string query :
         {"?pageSize=10", "?personFields=", "?personFields=names,shoes", "?personFields=names&pageSize=1001",
          "?personFields=names&pageSize=ten", "?personFields=names&pageToken=bogus"}) {
        const Reply reply = ask(PEOPLE + query);
        EXPECT_EQ(reply.status, 400) << query;
        EXPECT_EQ(reply.at("/error/status"), "INVALID_ARGUMENT") << query;
    }
    EXPECT_EQ(ask(PEOPLE + "?pageSize=10&personFields=names&pageToken=" + token).status, 200);
    EXPECT_EQ(ask(PEOPLE + "?pageSize=11&personFields=names&pageToken=" + token).status, 400);
}

TEST_F(Answers, OnlyALiveBearerTokenIsLetIn) {
    EXPECT_EQ(ask(PEOPLE + "?personFields=names", {}, "stale").at("/error/status"), "UNAUTHENTICATED");
    google.update([](GoogleAccount& account) { account.accessTokens[0].expires = std::chrono::steady_clock::now(); });
    const Reply reply = ask("https://people.googleapis.com/v1/contactGroups");
    EXPECT_EQ(reply.status, 401);
    EXPECT_EQ(reply.at("/error/details/0/reason"), "ACCESS_TOKEN_EXPIRED");
}

TEST_F(Answers, GroupsCountTheirMembersAndLeaveOutAZero) {
    google.update([](GoogleAccount& account) { account.groups.push_back({"contactGroups/0815", "Leer", "Leer"}); });
    const Reply reply = ask("https://people.googleapis.com/v1/contactGroups?pageSize=100&groupFields=memberCount,name");
    EXPECT_EQ(reply.at("/contactGroups/0/resourceName"), "contactGroups/myContacts");
    EXPECT_EQ(reply.at("/contactGroups/0/formattedName"), "Meine Kontakte");
    EXPECT_EQ(reply.at("/contactGroups/0/memberCount"), "25");
    EXPECT_EQ(reply.at("/contactGroups/0/groupType"), "absent");
    EXPECT_EQ(reply.at("/contactGroups/7/name"), "Leer");
    EXPECT_EQ(reply.at("/contactGroups/7/memberCount"), "absent");
}

TEST_F(Answers, ADeviceCodeIsPendingThenGoodOnce) {
    const std::string form = CLIENT + "&grant_type=http://oauth.net/grant_type/device/1.0&code=";
    google.update([](GoogleAccount& account) {
        account.refreshToken.clear();
        account.device.pendingAnswers = 2;
    });
    const Reply code =
        ask("https://oauth2.googleapis.com/device/code", CLIENT + "&scope=https://www.googleapis.com/auth/contacts");
    ASSERT_EQ(code.at("/interval"), "5");
    EXPECT_EQ(code.at("/verification_uri"), "absent");
    for (int i = 0; i < 2; i++) {
        const Reply pending = ask(TOKEN, form + code.at("/device_code"));
        EXPECT_EQ(pending.status, 428);
        EXPECT_EQ(pending.at("/error"), "authorization_pending");
    }
    const Reply tokens = ask(TOKEN, form + code.at("/device_code"));
    EXPECT_EQ(tokens.at("/expires_in"), "3599");
    EXPECT_EQ(tokens.at("/refresh_token").substr(0, 3), "1//");
    EXPECT_EQ(ask(PEOPLE + "?personFields=names", {}, tokens.at("/access_token").c_str()).status, 200);
    EXPECT_EQ(ask(TOKEN, form + code.at("/device_code")).at("/error"), "invalid_grant");

    const Reply fresh = ask(TOKEN, CLIENT + "&grant_type=refresh_token&refresh_token=" + tokens.at("/refresh_token"));
    EXPECT_EQ(fresh.at("/refresh_token"), "absent");
    EXPECT_NE(fresh.at("/access_token"), tokens.at("/access_token"));
}

TEST_F(Answers, TheTokenEndpointRefusesAsGoogleDoes) {
    const Reply revoked = ask(TOKEN, CLIENT + "&grant_type=refresh_token&refresh_token=1//gone");
    EXPECT_EQ(revoked.status, 400);
    EXPECT_EQ(revoked.at("/error_description"), "Token has been expired or revoked.");
    EXPECT_EQ(ask(TOKEN, "client_id=other&client_secret=other&grant_type=refresh_token").status, 401);
    EXPECT_EQ(ask(TOKEN, CLIENT + "&grant_type=password").at("/error"), "unsupported_grant_type");
    EXPECT_EQ(ask("https://oauth2.googleapis.com/device/code", CLIENT + "&scope=mail").at("/error"), "invalid_scope");
}

TEST_F(Answers, PhotosAreServedAndUnknownAddressesArePages) {
    google.update([](GoogleAccount& account) {
        account.photos["/contacts/x=s100"] = {"image/png", std::string("\0PNG", 4)};
    });
    const Reply photo = ask("https://lh5.googleusercontent.com/contacts/x=s100");
    EXPECT_EQ(photo.contentType, "image/png");
    EXPECT_EQ(photo.body, std::string("\0PNG", 4));
    for (const char* url : {"https://lh3.googleusercontent.com/none", "https://people.googleapis.com/token",
                            "https://www.googleapis.com/"}) {
        const Reply reply = ask(url);
        EXPECT_EQ(reply.status, 404) << url;
        EXPECT_EQ(reply.contentType, "text/html; charset=UTF-8") << url;
    }
}

TEST(AccountFiles, AnAccountSurvivesBeingWrittenAndRead) {
    const GoogleAccount account = generateAccount(40, 7);
    AccountFile file;
    std::string error;
    ASSERT_TRUE(parseAccountFile(writeAccountFile(account), file, error)) << error;
    EXPECT_EQ(writeAccountFile(file.account), writeAccountFile(generateAccount(40, 7)));
    EXPECT_NE(writeAccountFile(file.account), writeAccountFile(generateAccount(40, 8)));
    ASSERT_EQ(file.account.persons.size(), 40U);
    EXPECT_EQ(file.account.photos.begin()->second.bytes, account.photos.begin()->second.bytes);
    for (const char* text :
         {"", "[]", "{\"script\":[{\"endpont\":\"token\"}]}", "{\"certificates\":{\"\":\"bad\"}}", "{} x"}) {
        EXPECT_FALSE(parseAccountFile(text, file, error)) << text;
    }
}
