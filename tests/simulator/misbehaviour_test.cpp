#include "google_client.h"

using std::chrono::milliseconds;

using Misbehaving = GoogleClient;

TEST_F(Misbehaving, ARuleStrikesTheRequestsItNamesWithErrorsOfTheirEndpoint) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 2, .status = 429});
    google.misbehave({.endpoint = Endpoint::Groups, .count = 0, .status = 403});
    std::vector<std::string> errors;
    for (int i = 0; i < 4; i++) {
        errors.push_back(ask(NAMES).at("/error/status"));
        EXPECT_EQ(ask(GROUPS).status, 403);
    }
    EXPECT_THAT(errors, testing::ElementsAre("absent", "RESOURCE_EXHAUSTED", "RESOURCE_EXHAUSTED", "absent"));
    google.behave();
    EXPECT_EQ(ask(GROUPS).status, 200);
    google.misbehave({.endpoint = Endpoint::Token, .status = 400, .error = "invalid_scope"});
    EXPECT_EQ(ask(TOKEN, "a=b").at("/error"), "invalid_scope");
    google.misbehave({.endpoint = Endpoint::Token, .status = 500, .content = Content::Html});
    const Reply page = ask(TOKEN, "a=b");
    EXPECT_EQ(page.status, 500);
    EXPECT_THAT(page.body, testing::StartsWith("<!DOCTYPE html>"));
}

TEST_F(Misbehaving, BodiesAndDeliveriesGoWrongAsTold) {
    const std::string& url = NAMES;
    const auto whole = ask(url);
    google.misbehave({.content = Content::Empty});
    EXPECT_EQ(ask(url).body, "");
    google.misbehave({.content = Content::Text, .text = "[1"});
    EXPECT_EQ(ask(url).body, "[1");
    google.misbehave({.delivery = Delivery::Truncated});
    const Reply truncated = ask(url);
    EXPECT_NE(truncated.result, CURLE_OK);
    EXPECT_EQ(truncated.body, whole.body.substr(0, whole.body.size() / 2));
    google.misbehave({.delivery = Delivery::Reset});
    EXPECT_EQ(ask(url).result, CURLE_RECV_ERROR);
    EXPECT_EQ(google.log().back().status, 0);
    google.misbehave({.content = Content::Text,
                      .text = std::string(3 * DRIP_BYTES, '1'),
                      .delivery = Delivery::Drip,
                      .delay = milliseconds(40),
                      .pause = milliseconds(30)});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(url).body.size(), 3 * DRIP_BYTES);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(100));
    EXPECT_EQ(ask(url).body, whole.body);
}

TEST_F(Misbehaving, StoppingEndsADelayedAnswerAndIdleConnections) {
    EXPECT_EQ(ask(PEOPLE).status, 400);
    google.misbehave({.delay = std::chrono::hours(1)});
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT_MS, 50L);
    EXPECT_EQ(ask(PEOPLE).result, CURLE_OPERATION_TIMEDOUT);
    EXPECT_TRUE(google.waitFor(Endpoint::Any, 2, std::chrono::seconds(10)));
    const auto begin = std::chrono::steady_clock::now();
    google.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(ask(PEOPLE).result, CURLE_COULDNT_CONNECT);
}
