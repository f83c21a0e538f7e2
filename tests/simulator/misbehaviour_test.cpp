#include "forward_proxy.h"
#include "google_client.h"

using std::chrono::milliseconds;

using Misbehaving = GoogleClient;

TEST_F(Misbehaving, ARuleStrikesTheRequestsItNames) {
    const std::string url = PEOPLE + "?personFields=names";
    google.misbehave({.endpoint = Endpoint::Connections, .first = 2, .count = 2, .status = 429});
    google.misbehave({.endpoint = Endpoint::Groups, .count = 0, .status = 403});
    std::vector<long> statuses;
    for (int i = 0; i < 4; i++) {
        statuses.push_back(ask(url).status);
        EXPECT_EQ(ask("https://people.googleapis.com/v1/contactGroups").status, 403);
    }
    EXPECT_EQ(statuses, (std::vector<long>{200, 429, 429, 200}));
    google.behave();
    EXPECT_EQ(ask("https://people.googleapis.com/v1/contactGroups").status, 200);
}

TEST_F(Misbehaving, ErrorBodiesHaveTheShapeOfTheirEndpoint) {
    google.misbehave({.endpoint = Endpoint::Connections, .status = 429});
    EXPECT_EQ(ask(PEOPLE).at("/error/status"), "RESOURCE_EXHAUSTED");
    google.misbehave({.endpoint = Endpoint::Token, .status = 400, .error = "invalid_scope"});
    EXPECT_EQ(ask(TOKEN, "a=b").at("/error"), "invalid_scope");
    google.misbehave({.endpoint = Endpoint::Token, .status = 500, .content = Content::Html});
    const Reply page = ask(TOKEN, "a=b");
    EXPECT_EQ(page.status, 500);
    EXPECT_EQ(page.body.rfind("<!DOCTYPE html>", 0), 0U);
}

TEST_F(Misbehaving, BodiesAndDeliveriesGoWrongAsTold) {
    const std::string url = PEOPLE + "?personFields=names";
    const auto whole = ask(url);
    google.misbehave({.content = Content::Empty});
    EXPECT_EQ(ask(url).body, "");
    google.misbehave({.content = Content::Text, .text = "[1"});
    EXPECT_EQ(ask(url).body, "[1");
    google.misbehave({.content = Content::Html});
    EXPECT_EQ(ask(url).contentType, "text/html; charset=UTF-8");
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

TEST_F(Misbehaving, ABadCertificateIsShownToNewConnectionsOfItsHost) {
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    for (const CertificateKind kind :
         {CertificateKind::Expired, CertificateKind::WrongName, CertificateKind::UnknownAuthority}) {
        google.presentCertificate(kind, "people.googleapis.com");
        EXPECT_EQ(ask(PEOPLE).result, CURLE_PEER_FAILED_VERIFICATION) << static_cast<int>(kind);
        EXPECT_EQ(ask(TOKEN, "a=b").status, 400);
    }
    google.presentCertificate(CertificateKind::Good, "people.googleapis.com");
    EXPECT_EQ(ask(PEOPLE).status, 400);
    EXPECT_EQ(google.handshakes()["oauth2.googleapis.com"], 3U);
    EXPECT_EQ(google.handshakes()["people.googleapis.com"], 2U);  // a wrong name is found out after the handshake
    EXPECT_EQ(google.count(Endpoint::Connections), 1U);
}

TEST_F(Misbehaving, OpenSslFindsTheAuthorityInTheTrustFolder) {
    ASSERT_TRUE(google.authority().writeTrustDirectory(folder.file("certs/trusted")));
    authority.clear();
    EXPECT_NE(ask(PEOPLE).result, CURLE_OK);
    caPath = folder.file("certs/trusted");
    EXPECT_EQ(ask(PEOPLE).status, 400);
}

TEST_F(Misbehaving, TheProxyTunnelsForThoseWhoKnowThePassword) {
    ForwardProxy forward(google.port(), "pbx:geheim");
    ASSERT_TRUE(forward.start());
    proxy = "http://127.0.0.1:" + std::to_string(forward.port());
    connectTo.reset();
    EXPECT_NE(ask(PEOPLE).result, CURLE_OK);
    curl_easy_setopt(curl.get(), CURLOPT_PROXYUSERPWD, "pbx:geheim");
    EXPECT_EQ(ask(PEOPLE).status, 400);
    const auto requests = forward.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].status, 407);
    EXPECT_EQ(requests[1].status, 200);
    EXPECT_EQ(requests[1].target, "people.googleapis.com:443");
    EXPECT_EQ(requests[1].credentials, "pbx:geheim");
}
