// Requests and downloads over real TLS from a small server of this file's own.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <filesystem>
#include <string>
#include <thread>

#include "env_var.h"
#include "file_tools.h"
#include "forward_proxy.h"
#include "log_capture.h"
#include "orin_guards.h"
#include "orin_proxysettings.h"
#include "orin_wget.h"
#include "orinlog.h"
#include "temp_dir.h"
#include "test_ca.h"

namespace {

constexpr char USER[] = "anna";
constexpr char PASSWORD[] = "se:cret";
constexpr char BASIC_CREDENTIALS[] = "Basic YW5uYTpzZTpjcmV0";

bool hasDigest(const httplib::Request& request) {
    const std::string header = request.get_header_value("Authorization");
    return header.starts_with(R"(Digest username="anna", realm="here", nonce="0af1")") &&
           header.find("response=") != std::string::npos;
}

class Server {
  public:
    explicit Server(const CertifiedKey& shown) : server_(shown.certificate.get(), shown.key.get()) {
        server_.Get("/photo", [](const auto&, auto& answer) { answer.set_content(photo(), "image/jpeg"); });
        server_.Get("/gone", [](const auto&, auto& answer) {
            answer.status = 404;
            answer.set_content("gone", "text/plain");
        });
        server_.Get("/broken", [](const auto&, auto& answer) {
            answer.set_content_provider(1000, "image/jpeg", [](size_t offset, size_t, httplib::DataSink& sink) {
                return offset == 0 && sink.write("half", 4);
            });
        });
        server_.Get("/slow", [](const auto&, auto&) { std::this_thread::sleep_for(std::chrono::seconds(2)); });
        server_.Get(R"(/redirect/(\d))", [](const httplib::Request& request, httplib::Response& answer) {
            const int left = request.matches[1].str()[0] - '0';
            left == 0 ? answer.set_content("arrived", "text/plain")
                      : answer.set_redirect("/redirect/" + std::to_string(left - 1));
        });
        server_.Get("/digest", [](const httplib::Request& request, httplib::Response& answer) {
            if (hasDigest(request)) {
                answer.set_content("welcome", "text/plain");
                return;
            }
            answer.status = 401;
            answer.set_header("WWW-Authenticate", R"(Digest realm="here", qop="auth", nonce="0af1")");
        });
        const auto mirror = [](const httplib::Request& request, httplib::Response& answer) {
            answer.set_content(request.method + "|" + request.get_header_value("Authorization") + "|" +
                                   request.get_header_value("X-Test") + "|" + request.get_header_value("User-Agent") +
                                   "|" + request.body,
                               "text/plain");
        };
        server_.Get("/mirror", mirror);
        server_.Post("/mirror", mirror);
        server_.Put("/mirror", mirror);
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) {
            std::this_thread::yield();
        }
    }
    ~Server() {
        server_.stop();
        thread_.join();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] int port() const {
        return port_;
    }
    [[nodiscard]] std::string url(const std::string& path) const {
        return "https://localhost:" + std::to_string(port_) + path;
    }
    static std::string photo() {
        std::string bytes(100000, '\0');
        bytes.replace(0, 4, "\xFF\xD8\xFF\xE0");
        return bytes;
    }

  private:
    httplib::SSLServer server_;
    std::thread thread_;
    int port_ = 0;
};

size_t appendTo(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

class Wget : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(curl_global_init(CURL_GLOBAL_ALL), CURLE_OK);
    }
    static void TearDownTestSuite() {
        curl_global_cleanup();
    }
    void SetUp() override {
        ASSERT_TRUE(authority_.writeTrustDirectory(ORIN_TRUSTED_CA_DIRECTORY));
    }
    [[nodiscard]] OrinCurlRequest requestTo(const std::string& path) {
        url_ = server_.url(path);
        OrinCurlRequest request;
        request.url = url_.c_str();
        return request;
    }
    // Sets body_.
    int perform(const OrinCurlRequest& request, const OrinCurlExtra* extra = nullptr) {
        body_.clear();
        return orin_curl_request(&request, appendTo, &body_, extra);
    }

    TestAuthority authority_;
    Server server_{authority_.certificate(CertificateKind::Good)};
    TempDir folder_;
    LogCapture log_;
    std::string url_;
    std::string body_;
};

TEST_F(Wget, ADownloadStoresWhatTheServerSends) {
    const std::string file = folder_.file("photo.jpg");
    EXPECT_EQ(orin_wgetToFile(server_.url("/photo").c_str(), file.c_str(), nullptr), 100000);
    EXPECT_EQ(readFile(file), Server::photo());
    // An error page too.
    EXPECT_EQ(orin_wgetToFile(server_.url("/gone").c_str(), file.c_str(), nullptr), 4);
    EXPECT_EQ(readFile(file), "gone");
    EXPECT_EQ(log_.count(ORINLOG_CAT_WGET, ORINLOG_ERROR), 0U) << log_;
}

TEST_F(Wget, ADownloadThatFailsIsToldAndLeavesTheFileAsItCame) {
    const std::string file = folder_.file("photo.jpg");
    EXPECT_EQ(orin_wgetToFile(server_.url("/broken").c_str(), file.c_str(), nullptr), -1);
    EXPECT_EQ(readFile(file), "half");
    EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_ERROR,
                         "(18: Transferred a partial file) destination: " + server_.url("/broken") +
                             " timeout: 0 typ: 0 (unknown) proxy: 0 (OFF)"))
        << log_;
    EXPECT_EQ(orin_wgetToFile(server_.url("/photo").c_str(), "/dev/full", nullptr), -1);
    EXPECT_EQ(orin_wgetToFile(server_.url("/mirror").c_str(), "/dev/full", nullptr), -1)
        << "small enough to be buffered";
    EXPECT_EQ(orin_wgetToFile(server_.url("/photo").c_str(), folder_.file("none/photo").c_str(), nullptr), -1);
    EXPECT_EQ(orin_wgetToFile("file:///etc/passwd", file.c_str(), nullptr), -1);
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(orin_wgetToFile(nullptr, file.c_str(), nullptr), -1);
}

TEST_F(Wget, EveryMethodSendsItsBody) {
    const std::string common = std::string("||") + ORIN_USER_AGENT + "|";
    OrinCurlRequest request = requestTo("/mirror");
    EXPECT_EQ(perform(request), 0);
    EXPECT_EQ(body_, "GET|" + common);
    request.method = ORIN_HTTP_POST;
    EXPECT_EQ(perform(request), 0);
    EXPECT_EQ(body_, "POST|" + common);
    request.postBody = "a=1&b=2";
    EXPECT_EQ(perform(request), 0);
    EXPECT_EQ(body_, "POST|" + common + "a=1&b=2");

    request.method = ORIN_HTTP_PUT;
    EXPECT_EQ(perform(request), CURLE_READ_ERROR);
    EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "orin_curl_request: Error. Cant read params.")) << log_;
    writeFile(folder_.file("upload"), "uploaded");
    const File upload(fopen(folder_.file("upload").c_str(), "r"));
    const HeaderList headers(curl_slist_append(nullptr, "X-Test: yes"));
    const OrinCurlExtra extra{headers.get(), upload.get()};
    EXPECT_EQ(perform(request, &extra), 0);
    EXPECT_EQ(body_, std::string("PUT||yes|") + ORIN_USER_AGENT + "|uploaded");
}

TEST_F(Wget, EveryAuthenticationReachesTheServerAndNoCredentialsTheLog) {
    OrinCurlRequest request = requestTo("/mirror");
    request.userName = USER;
    request.password = PASSWORD;
    request.authType = ORIN_AUTH_BASIC;
    EXPECT_EQ(perform(request), 0);
    EXPECT_TRUE(body_.starts_with(std::string("GET|") + BASIC_CREDENTIALS + "|")) << body_;
    request.authType = ORIN_AUTH_BEARER;
    EXPECT_EQ(perform(request), 0);
    EXPECT_TRUE(body_.starts_with(std::string("GET|Bearer ") + PASSWORD + "|")) << body_;
    request.authType = ORIN_AUTH_BEARER + 1;
    EXPECT_EQ(perform(request), 0);
    EXPECT_TRUE(body_.starts_with("GET||")) << body_;
    request = requestTo("/digest");
    request.userName = USER;
    request.password = PASSWORD;
    request.authType = ORIN_AUTH_DIGEST;
    EXPECT_EQ(perform(request), 0);
    EXPECT_EQ(body_, "welcome");

    for (const char* line : {"Authentifizierung: CURLAUTH_BASIC", "Authentifizierung: CURLAUTH_DIGEST",
                             "Authentifizierung: BEARER", "Curl perform result: 0", "HTTP Code: 200"}) {
        EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, std::string("orin_curl_request: ") + line)) << line;
    }
    EXPECT_TRUE(
        log_.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "orin_curl_request: Unbekanntes Authentifizierungsverfahren: 4"));
    EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "Authorization:***"));
    EXPECT_FALSE(log_.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, PASSWORD));
    EXPECT_FALSE(log_.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "YW5uYTpzZTpjcmV0"));
}

TEST_F(Wget, ThreeRedirectsAreFollowedAndTheFourthIsRefused) {
    EXPECT_EQ(perform(requestTo("/redirect/3")), 0);
    EXPECT_EQ(body_, "arrived");
    EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_DEBUG, "orin_curl_request: HTTP/1.1 302 Found")) << log_;
    EXPECT_EQ(perform(requestTo("/redirect/4")), CURLE_TOO_MANY_REDIRECTS);
}

TEST_F(Wget, TheWholeTransferIsLimitedWhenAsked) {
    OrinCurlRequest request = requestTo("/slow");
    request.timeout = 1;
    EXPECT_EQ(perform(request), CURLE_OPERATION_TIMEDOUT);
}

TEST_F(Wget, OnlyServersOfTheTrustedAuthorityAreTalkedTo) {
    const auto attempt = [this](const std::string& address, const std::string& caLocation) {
        OrinCurlRequest request;
        request.url = address.c_str();
        request.caLocation = caLocation.empty() ? nullptr : caLocation.c_str();
        return perform(request);
    };
    const std::string good = server_.url("/mirror");
    ASSERT_TRUE(authority_.writePemFile(folder_.file("ca.pem")));
    ASSERT_TRUE(authority_.writeTrustDirectory(folder_.file("ca")));
    EXPECT_EQ(attempt(good, folder_.file("ca.pem")), 0);
    EXPECT_EQ(attempt(good, folder_.file("ca")), 0);
    EXPECT_EQ(attempt(good, folder_.path()), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_TRUE(log_.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, "SSL-Error while retrieving " + good + " (60: ")) << log_;
    EXPECT_EQ(attempt(good, folder_.file("none")), CURLE_SSL_CACERT_BADFILE);
    EXPECT_TRUE(log_.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, "SSL-Error while retrieving " + good + " (77: ")) << log_;
    for (const auto kind : {CertificateKind::Expired, CertificateKind::WrongName, CertificateKind::UnknownAuthority}) {
        const Server bad(authority_.certificate(kind));
        EXPECT_EQ(attempt(bad.url("/mirror"), ""), CURLE_PEER_FAILED_VERIFICATION);
        EXPECT_TRUE(log_.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, bad.url("/mirror"))) << log_;
    }
}

TEST_F(Wget, TheProxyComesFromTheSettingsWhenItIsAskedForAndFromNowhereElse) {
    const EnvVar environment("https_proxy", "http://127.0.0.1:1");
    ForwardProxy proxy(server_.port(), "anna:secret");
    ASSERT_TRUE(proxy.start());
    OrinCurlRequest request = requestTo("/mirror");
    EXPECT_EQ(perform(request), 0) << "no proxy is asked for";
    request.proxyMode = ORIN_PROXY_AUTO;
    EXPECT_EQ(perform(request), 0) << "none is set";
    EXPECT_TRUE(proxy.requests().empty());

    request.url = "https://lh3.googleusercontent.com/mirror";
    writeFile(ORIN_PROXY_CONF, "use-proxy: 1\nip-address: 127.0.0.1\nproxy-port: " + std::to_string(proxy.port()));
    EXPECT_NE(perform(request), 0) << "the proxy demands credentials";
    EXPECT_TRUE(log_.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "proxy: 1 (AUTO)")) << log_;
    writeFile(ORIN_PROXY_AUTH_CONF, "username: anna\npassword: secret\n");
    EXPECT_EQ(perform(request), 0);
    EXPECT_TRUE(body_.starts_with("GET|")) << body_;
    ASSERT_FALSE(proxy.requests().empty());
    EXPECT_EQ(proxy.requests().back().target, "lh3.googleusercontent.com:443");
    EXPECT_EQ(proxy.requests().back().credentials, "anna:secret");
    EXPECT_FALSE(log_.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "YW5uYTpzZWNyZXQ"));
    std::filesystem::remove(ORIN_PROXY_CONF);
    std::filesystem::remove(ORIN_PROXY_AUTH_CONF);
}

}  // namespace
