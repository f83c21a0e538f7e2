// Authorised requests: the access token is obtained, used, renewed and given up.
#include "google_people_api.h"
#include "google_world.h"

namespace {

using Requests = GoogleWorld;

void forgetAccessTokens(GoogleAccount& account) {
    account.accessTokens.clear();
}

TEST_F(Requests, TheFirstRequestObtainsTheAccessToken) {
    const JsonObject people = get();
    EXPECT_NE(orin_jsonObjectGetArray(people.get(), "connections"), nullptr);
    EXPECT_EQ(orin_getLastHttpCode(connector.get()), HTTP_OK);
    EXPECT_EQ(google.log(Endpoint::Token).at(0).body,
              "client_id=40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com"
              "&client_secret=Qx7LmNa2Rk_pTzWv4bYcHd3F&refresh_token=" +
                  refreshToken + "&grant_type=refresh_token");
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG, "orin_renewAccessToken: is called"));
    const JsonObject again = get();
    EXPECT_EQ(google.count(Endpoint::Token), 1U);
    const HttpRequest request = google.log(Endpoint::Connections).at(1);
    EXPECT_EQ(request.method + request.body, "GET");
    EXPECT_EQ(request.header("Authorization"), std::string("Bearer ") + connector->accessToken);
    EXPECT_EQ(request.connection, google.log(Endpoint::Connections).at(0).connection);
}

TEST_F(Requests, ARefusedAccessTokenIsRenewedAndTheRequestRepeatedOnce) {
    ASSERT_NE(get(), nullptr);
    google.clearLog();
    google.update(forgetAccessTokens);
    EXPECT_NE(get(), nullptr);
    EXPECT_EQ(google.count(Endpoint::Connections), 2U);
    EXPECT_EQ(google.count(Endpoint::Token), 1U);
    EXPECT_TRUE(hasLine(ORINLOG_DEBUG,
                        "orin_requestGoogleApiObject: orin_requestJsonObject failed with "
                        "HTTP_UNAUTHORIZED; trying to renew the access token"));

    google.clearLog();
    google.misbehave({.endpoint = Endpoint::Connections, .count = 2, .status = 401});
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(google.count(Endpoint::Connections), 2U);
    EXPECT_EQ(google.count(Endpoint::Token), 2U);
    EXPECT_EQ(orin_getLastHttpCode(connector.get()), HTTP_UNAUTHORIZED);
    EXPECT_EQ(orin_hasAuthentificationFailed(connector.get()), 0);
    EXPECT_NE(get(), nullptr);
    EXPECT_EQ(google.count(Endpoint::Token), 2U);
}

TEST_F(Requests, AFailedRenewalIsRememberedUntilOneSucceeds) {
    google.misbehave({.endpoint = Endpoint::Token, .status = 400, .error = "invalid_grant"});
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(google.count(Endpoint::Connections), 0U);
    EXPECT_EQ(orin_hasAuthentificationFailed(connector.get()), 1);
    EXPECT_TRUE(hasError("orin_renewAccessToken: orin_requestJsonObject failed token=0x"));
    EXPECT_TRUE(hasError("orin_requestGoogleApiObject: request AccessToken failed"));
    EXPECT_NE(get(), nullptr);
    EXPECT_EQ(orin_hasAuthentificationFailed(connector.get()), 0);

    google.update(forgetAccessTokens);
    google.misbehave({.endpoint = Endpoint::Token, .status = 500, .content = Content::Html});
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(orin_hasAuthentificationFailed(connector.get()), 1);
    EXPECT_EQ(orin_getLastHttpCode(connector.get()), HTTP_UNAUTHORIZED);
    EXPECT_TRUE(hasError("orin_requestGoogleApiObject: renew AccessToken failed"));
}

TEST_F(Requests, ARenewalKeepsWhatItCannotReplace) {
    const auto renewFrom = [&](const char* answer) {
        google.misbehave({.endpoint = Endpoint::Token, .content = Content::Text, .text = answer});
        return orin_renewAccessToken(connector.get());
    };
    EXPECT_EQ(renewFrom(R"({"access_token":"a","token_type":"T","refresh_token":"other"})"), 1);
    EXPECT_EQ(renewFrom(R"({"access_token":"b"})"), 0);
    EXPECT_TRUE(hasError("orin_renewAccessToken: failed, got no token type"));
    EXPECT_EQ(renewFrom(R"({"token_type":"U"})"), 0);
    EXPECT_TRUE(hasError("orin_renewAccessToken: failed, got no access token"));
    EXPECT_EQ(std::string(connector->tokenType) + connector->accessToken, "Ta");
    orin_setRefreshToken(connector.get(), "");
    EXPECT_TRUE(hasError("orin_setRefreshToken: illegal parameter, refreshToken == NULL or empty"));
    EXPECT_STREQ(connector->refreshToken, refreshToken.c_str());
}

TEST_F(Requests, OtherStatusesAreReportedAndNotRepeated) {
    ASSERT_NE(get(), nullptr);
    google.clearLog();
    for (const int status : {429, 500, 302, 403}) {
        google.misbehave({.endpoint = Endpoint::Connections, .status = status});
        EXPECT_EQ(orin_requestPeopleList(connector.get(), "", 50), nullptr);
        EXPECT_EQ(orin_getLastHttpCode(connector.get()), status);
        const std::string line =
            "orin_requestGoogleApiObject: orin_requestJsonObject failed, httpCode=" + std::to_string(status);
        EXPECT_TRUE(hasLine(status == 429 ? ORINLOG_WARNING : ORINLOG_ERROR, line));
        EXPECT_EQ(hasError("orin_requestPeopleList: failed, orin_requestGoogleApiObject returns NULL"), status != 429);
    }
    EXPECT_FALSE(hasError("httpCode=429"));
    EXPECT_EQ(google.count(), 4U);
    EXPECT_EQ(get(""), nullptr);
    EXPECT_TRUE(hasError("orin_requestGoogleApiObject: illegal parameter, url == NULL or empty"));
}

TEST_F(Requests, PeopleArePagedThroughWithTheTokenOfThePageBefore) {
    const std::string fields =
        "&personFields=memberships,addresses,birthdays,emailAddresses,names,nicknames,organizations,phoneNumbers,"
        "photos,urls";
    const JsonObject first(orin_requestPeopleList(connector.get(), nullptr, 2));
    const char* token = orin_jsonObjectGetString(first.get(), "nextPageToken");
    ASSERT_NE(token, nullptr);
    const JsonObject second(orin_requestPeopleList(connector.get(), token, 2));
    EXPECT_EQ(orin_jsonObjectGetString(second.get(), "nextPageToken"), nullptr);
    const auto requests = google.log(Endpoint::Connections);
    EXPECT_EQ(requests.at(0).target, "/v1/people/me/connections?pageSize=2" + fields);
    EXPECT_EQ(requests.at(1).target,
              std::string("/v1/people/me/connections?pageToken=") + token + "&pageSize=2" + fields);

    // A token of 255 characters and more loses its end, and the "&" behind it.
    const JsonObject cut(orin_requestPeopleList(connector.get(), std::string(300, 'x').c_str(), 50));
    EXPECT_EQ(google.log(Endpoint::Connections).at(2).target,
              "/v1/people/me/connections?pageToken=" + std::string(245, 'x') + "pageSize=50" + fields);
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
