// What happens on the way: broken transfers, certificates, proxies, headers.
#include <clocale>
#include <filesystem>

#include "env_var.h"
#include "file_tools.h"
#include "forward_proxy.h"
#include "google_world.h"

namespace {

constexpr char PROXY_CONF[] = "/data/etc/proxy.conf";
constexpr char PROXY_AUTH_CONF[] = "/data/etc/proxy-auth.conf";

class Transfer : public GoogleWorld {
  protected:
    void SetUp() override {
        GoogleWorld::SetUp();
        newLoader();
    }
    void TearDown() override {
        std::filesystem::remove(PROXY_CONF);
        std::filesystem::remove(PROXY_AUTH_CONF);
        setlocale(LC_MESSAGES, "C");
    }
    // Proxy settings are read when a loader is created.
    void newLoader() {
        orin_destroyJsonloader(connector->jlContext);
        connector->jlContext = orin_createJsonloader();
    }
    uint16_t status() {
        return orin_getJsonloaderHttpCode(connector->jlContext);
    }
    // True when an answer arrived.
    bool renew() {
        return orin_renewAccessToken(connector.get()) != 0;
    }
};

TEST_F(Transfer, WhatIsNoAnswerIsNothingAndTheNextRequestSucceeds) {
    ASSERT_TRUE(renew());
    struct Case {
        Misbehaviour rule;
        uint16_t status;
        std::string line;  // behind the function's name
    };
    const std::string noJson = "url=https://oauth2.googleapis.com/token json_tokener_parse returns NULL";
    const std::vector<Case> cases{
        {{.status = 502, .content = Content::Html}, 502, noJson},
        {{.content = Content::Text, .text = R"({"access_token":"cut)"}, 200, noJson},
        {{.content = Content::Empty}, 200, "url=https://oauth2.googleapis.com/token empty response"},
        {{.delivery = Delivery::Truncated}, 503, "failed, curl_error=Transferred a partial file"},
        // libcurl repeats a request by itself that an open connection has lost.
        {{.count = 2, .delivery = Delivery::Reset}, 503, "failed, curl_error="},
    };
    for (const Case& c : cases) {
        log.clear();
        google.misbehave(c.rule);
        EXPECT_FALSE(renew()) << c.line;
        EXPECT_EQ(status(), c.status) << c.line;
        EXPECT_TRUE(hasError("orin_requestJsonObject: " + c.line)) << c.line;
        EXPECT_TRUE(renew()) << c.line;
    }
    google.stop();
    EXPECT_FALSE(renew());
    EXPECT_EQ(status(), HTTP_SERVICE_UNAVAILABLE);
}

TEST_F(Transfer, AnAnswerThatComesInManyPiecesIsPutTogether) {
    const std::string token(100000, 'a');
    google.misbehave({.content = Content::Text, .text = R"({"token_type":"T","access_token":")" + token + "\"}"});
    EXPECT_TRUE(renew());
    EXPECT_EQ(connector->accessToken, token.substr(0, GOOGLE_TOKEN_SIZE - 1));
}

TEST_F(Transfer, AServerThatTakesTooLongIsGivenUp) {
    google.misbehave({.delay = std::chrono::seconds(12)});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(renew());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(11500));
    EXPECT_TRUE(hasError("orin_requestJsonObject: failed, curl_error=Timeout was reached"));
}

TEST_F(Transfer, OnlyServersWithATrustedCertificateForTheirNameAreSpokenTo) {
    for (const CertificateKind kind :
         {CertificateKind::UnknownAuthority, CertificateKind::Expired, CertificateKind::WrongName}) {
        google.presentCertificate(kind);
        newLoader();
        EXPECT_FALSE(renew());
        EXPECT_EQ(status(), HTTP_SERVICE_UNAVAILABLE);
        EXPECT_TRUE(hasError("failed, curl_error=SSL peer certificate or SSH remote key was not OK"));
    }
    EXPECT_EQ(google.count(), 0U);
    google.presentCertificate(CertificateKind::Good);
    EXPECT_TRUE(renew());
}

TEST_F(Transfer, EveryRequestSaysItsLanguageAndBrowser) {
    EXPECT_TRUE(renew());
    EXPECT_EQ(google.log().at(0).header("Accept-Language"), "de_DE,de;q=0.8,en-US;q=0.5,en;q=0.3");
    EXPECT_EQ(google.log().at(0).header("User-Agent"), "Mozilla/5.0 (compatible; MSIE 6.0; Windows NT 5.0)");
    ASSERT_NE(setlocale(LC_MESSAGES, "C.UTF-8"), nullptr);
    EXPECT_TRUE(renew());
    EXPECT_EQ(google.log().at(1).header("Accept-Language"), "C.UTF-8,C.;q=0.8,en-US;q=0.5,en;q=0.3");
}

TEST_F(Transfer, AProxyIsUsedWhenItIsSwitchedOn) {
    ForwardProxy proxy(google.port(), "pbx:s3cret");
    ASSERT_TRUE(proxy.start());
    const std::string address = "ip-address: 127.0.0.1\nproxy-port: " + std::to_string(proxy.port()) + "\n";
    const EnvVar environment("https_proxy", ("http://127.0.0.1:" + std::to_string(proxy.port())).c_str());
    writeFile(PROXY_CONF, address + "use-proxy: 0\n");
    newLoader();
    EXPECT_TRUE(renew());
    EXPECT_TRUE(proxy.requests().empty());

    // Credentials are sent when both are there, whatever "authorization" says.
    writeFile(PROXY_CONF, address + "use-proxy: 1\n");
    writeFile(PROXY_AUTH_CONF, "authorization: 1\nusername: pbx\n");
    newLoader();
    EXPECT_FALSE(renew());
    EXPECT_EQ(proxy.requests().back().status, 407);
    EXPECT_EQ(proxy.requests().back().credentials, "");
    writeFile(PROXY_AUTH_CONF, "authorization: 0\nusername: pbx\npassword: s3cret\n");
    newLoader();
    EXPECT_TRUE(renew());
    EXPECT_NE(get(), nullptr);
    EXPECT_EQ(proxy.requests().at(1).target, "oauth2.googleapis.com:443");
    EXPECT_EQ(proxy.requests().back().target, "people.googleapis.com:443");
}

}  // namespace
