#include <future>

#include "google_client.h"

using std::chrono::milliseconds;

using Misbehaving = GoogleClient;

TEST_F(Misbehaving, ARuleStrikesTheRequestsItNamesWithErrorsOfTheirEndpoint) {
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 2, .status = 429});
    google.misbehave({.endpoint = Endpoint::Groups, .count = 0, .status = 403});
    std::vector<std::string> errors;
    for (int i = 0; i < 4; i++) {
        errors.push_back(ask(NAMES).at("/error/status"));
        EXPECT_EQ(ask(GROUPS).statusAnd("/error/status"), "403 PERMISSION_DENIED");
        EXPECT_GT(header("WWW-Authenticate").size(), 500U) << "more than some clients have room for";
    }
    EXPECT_THAT(errors, testing::ElementsAre("absent", "RESOURCE_EXHAUSTED", "RESOURCE_EXHAUSTED", "absent"));
    google.behave();
    EXPECT_EQ(ask(GROUPS).status, 200);
    google.misbehave({.endpoint = Endpoint::Token, .status = 400, .error = "invalid_scope"});
    EXPECT_EQ(ask(TOKEN, "a=b").at("/error"), "invalid_scope");
    google.misbehave({.endpoint = Endpoint::DeviceCode, .status = 403});
    EXPECT_EQ(ask("https://oauth2.googleapis.com/device/code", "a=b").body, R"({"error_code":"rate_limit_exceeded"})");
    google.misbehave({.endpoint = Endpoint::Token, .status = 500, .content = Content::Html});
    const Reply page = ask(TOKEN, "a=b");
    EXPECT_EQ(page.status, 500);
    EXPECT_THAT(page.body, testing::StartsWith("<!DOCTYPE html>"));
}

TEST_F(Misbehaving, BodiesAndDeliveriesGoWrongAsTold) {
    const auto whole = ask(NAMES);
    google.misbehave({.content = Content::Empty});
    EXPECT_EQ(ask(NAMES).body, "");
    google.misbehave({.delivery = Delivery::Truncated});
    const Reply truncated = ask(NAMES);
    EXPECT_NE(truncated.result, CURLE_OK);
    EXPECT_EQ(truncated.body, whole.body.substr(0, whole.body.size() / 2));
    google.misbehave({.delivery = Delivery::Reset});
    EXPECT_EQ(ask(NAMES).result, CURLE_RECV_ERROR);
    EXPECT_EQ(google.log().back().status, 0);
    const std::string drops(3 * DRIP_BYTES, '1');
    google.misbehave({.content = Content::Text,
                      .text = drops,
                      .delivery = Delivery::Drip,
                      .delay = milliseconds(40),
                      .pause = milliseconds(30)});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(NAMES).body, drops);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(100));
    EXPECT_EQ(ask(NAMES).body, whole.body);
}

TEST_F(Misbehaving, StoppingEndsADelayedAnswerAndIdleConnections) {
    EXPECT_EQ(ask(PEOPLE).status, 400);
    google.misbehave({.delay = std::chrono::hours(1)});
    auto delayed = std::async(std::launch::async, [this] { return ask(PEOPLE).result; });
    EXPECT_TRUE(google.waitFor(Endpoint::Any, 2, std::chrono::minutes(1)));
    const auto begin = std::chrono::steady_clock::now();
    google.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_NE(delayed.get(), CURLE_OK);
    EXPECT_EQ(ask(PEOPLE).result, CURLE_COULDNT_CONNECT);
}
