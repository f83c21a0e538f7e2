// Requests: their form, the access token they need, their way, and what comes back.
#include <clocale>

#include "google_world.h"

namespace {

using testing::StartsWith;

constexpr char PEOPLE_FIELDS[] =
    "&personFields=memberships,addresses,birthdays,emailAddresses,names,nicknames,organizations,phoneNumbers,photos,"
    "urls";

using Requests = GoogleWorld;

TEST_F(Requests, FormsGoOutAsTheyAreWritten) {
    const std::string id = "client_id=40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com";
    const std::string scope = "&scope=https://www.googleapis.com/auth/contacts";
    const std::string token = "POST oauth2.googleapis.com/token " + id + "&client_secret=Qx7LmNa2Rk_pTzWv4bYcHd3F";
    const JsonObject code(orin_requestDeviceCode(connector.get()));
    const JsonObject tokens(orin_requestTokens(connector.get(), "A b&c"));
    EXPECT_TRUE(renew());
    const JsonObject cut(orin_requestTokens(connector.get(), std::string(2000, 'c').c_str()));
    std::vector<std::string> sent;
    for (const HttpRequest& request : google.log()) {
        sent.push_back(request.method + " " + request.host + request.target + " " + request.body);
    }
    EXPECT_THAT(sent, testing::ElementsAre("POST oauth2.googleapis.com/device/code " + id + scope,
                                           token + "&code=A b&c&grant_type=http://oauth.net/grant_type/device/1.0",
                                           token + "&refresh_token=" + refreshToken + "&grant_type=refresh_token",
                                           StartsWith(token + "&code=ccc")));
    EXPECT_EQ(google.log().back().body.size(), 1023U);
}

TEST_F(Requests, EveryRequestSaysWhoAsksInWhichLanguage) {
    const JsonObject first = get();
    ASSERT_NE(setlocale(LC_MESSAGES, "C.UTF-8"), nullptr);
    const JsonObject second = get();
    setlocale(LC_MESSAGES, "C");
    const auto lists = google.log(Endpoint::Connections);
    EXPECT_EQ(lists.at(0).header("Accept-Language"), "de_DE,de;q=0.8,en-US;q=0.5,en;q=0.3");
    EXPECT_EQ(lists.at(1).header("Accept-Language"), "C.UTF-8,C.;q=0.8,en-US;q=0.5,en;q=0.3");
    EXPECT_EQ(lists.at(1).header("User-Agent"), "Mozilla/5.0 (compatible; MSIE 6.0; Windows NT 5.0)");
    EXPECT_EQ(lists.at(1).header("Authorization"), std::string("Bearer ") + connector->accessToken);
    // The token and the connection serve again.
    EXPECT_EQ(google.count(Endpoint::Token), 1U);
    EXPECT_EQ(lists.at(1).connection, lists.at(0).connection);
}

TEST_F(Requests, ARenewalKeepsWhatItCannotReplace) {
    const auto renewFrom = [&](const std::string& answer) {
        google.misbehave({.endpoint = Endpoint::Token, .content = Content::Text, .text = answer});
        return renew();
    };
    const std::string token(2000, 'a');
    EXPECT_TRUE(renewFrom(R"({"access_token":")" + token + R"(","token_type":"T","refresh_token":"other"})"));
    EXPECT_FALSE(renewFrom(R"({"access_token":"b"})"));
    EXPECT_FALSE(renewFrom(R"({"token_type":"U"})"));
    const std::string failed = "orin_renewAccessToken: failed, got no ";
    EXPECT_THAT(log.texts(ORINLOG_ERROR), testing::ElementsAre(failed + "token type", failed + "access token"));
    EXPECT_STREQ(connector->tokenType, "T");
    EXPECT_EQ(connector->accessToken, token.substr(0, GOOGLE_TOKEN_SIZE - 1));
    EXPECT_EQ(connector->refreshToken, refreshToken);
}

TEST_F(Requests, WhatIsNoAnswerIsReportedAndTheNextRequestSucceeds) {
    // The misbehaviour, the status, and the begin of the first line.
    using Case = std::tuple<Misbehaviour, int, std::string>;
    const std::string noJson = "orin_requestJsonObject: url=https://people.googleapis.com/v1/people/me/connections?";
    // Fourteen seconds, but never silent for long: the whole transfer is limited to ten.
    const Misbehaviour slow{.content = Content::Text,
                            .text = std::string(8 * DRIP_BYTES, ' '),
                            .delivery = Delivery::Drip,
                            .pause = std::chrono::seconds(2)};
    const std::string noTransfer = "orin_requestJsonObject: failed, curl_error=";
    const std::vector<Case> cases{
        {{.status = 500}, 500, "orin_requestGoogleApiObject: orin_requestJsonObject failed, httpCode=500"},
        {{.status = 302}, 302, "orin_requestGoogleApiObject: orin_requestJsonObject failed, httpCode=302"},
        {{.status = 502, .content = Content::Html}, 502, noJson},
        {{.content = Content::Empty}, 200, noJson},
        {{.content = Content::Text, .text = R"({"connections":[)"}, 200, noJson},
        {{.delivery = Delivery::Truncated}, 503, noTransfer + "Transferred a partial file"},
        {slow, 503, noTransfer + "Timeout was reached"},
        // libcurl repeats a request by itself that an open connection has lost.
        {{.count = 2, .delivery = Delivery::Reset}, 503, noTransfer},
    };
    EXPECT_TRUE(renew());
    for (const auto& [rule, status, line] : cases) {
        log.clear();
        google.setScript({rule});
        EXPECT_EQ(get(), nullptr) << line;
        EXPECT_EQ(orin_getLastHttpCode(connector.get()), status) << line;
        EXPECT_THAT(log.texts(ORINLOG_ERROR).at(0), StartsWith(line));
        EXPECT_TRUE(hasError("orin_requestPeopleList: failed, orin_requestGoogleApiObject returns NULL"));
        google.behave();
        EXPECT_NE(get(), nullptr) << line;
    }
    log.clear();
    google.misbehave({.status = 429});
    EXPECT_EQ(get(), nullptr);
    EXPECT_TRUE(hasLine(ORINLOG_WARNING, "orin_requestGoogleApiObject: orin_requestJsonObject failed, httpCode=429"));
    EXPECT_TRUE(log.texts(ORINLOG_ERROR).empty());
    google.stop();
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(orin_getLastHttpCode(connector.get()), HTTP_SERVICE_UNAVAILABLE);
}

TEST_F(Requests, PeopleArePagedThroughWithTheTokenOfThePageBefore) {
    const JsonObject first(orin_requestPeopleList(connector.get(), nullptr, 2));
    const char* token = orin_jsonObjectGetString(first.get(), "nextPageToken");
    ASSERT_NE(token, nullptr);
    const JsonObject second(orin_requestPeopleList(connector.get(), token, 2));
    // A token of 255 characters and more loses its end, and the "&" behind it.
    const JsonObject cut(orin_requestPeopleList(connector.get(), std::string(300, 'x').c_str(), 50));
    const auto lists = google.log(Endpoint::Connections);
    const std::string url = "/v1/people/me/connections?";
    EXPECT_EQ(lists.at(0).target, url + "pageSize=2" + PEOPLE_FIELDS);
    EXPECT_EQ(lists.at(1).target, url + "pageToken=" + token + "&pageSize=2" + PEOPLE_FIELDS);
    EXPECT_EQ(lists.at(2).target, url + "pageToken=" + std::string(245, 'x') + "pageSize=50" + PEOPLE_FIELDS);
}

TEST_F(Requests, TheContactGroupsAreLogged) {
    google.update([](GoogleAccount& account) {
        account.groups = {{.resourceName = "contactGroups/4f1c", .name = "Kunden", .formattedName = "Kunden"}};
    });
    dumpGroup(connector.get());
    EXPECT_EQ(google.log(Endpoint::Groups).at(0).target, "/v1/contactGroups?pageSize=100&groupFields=memberCount,name");
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "dumpGroup: resName=contactGroups/4f1c formatName='Kunden' memberCount=0"));
}

}  // namespace
