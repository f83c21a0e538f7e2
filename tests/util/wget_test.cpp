// Requests and downloads over real TLS from a small server of this file's own.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <httplib.h>

#include <atomic>
#include <string>
#include <thread>

#include "env_var.h"
#include "file_tools.h"
#include "forward_proxy.h"
#include "log_capture.h"
#include "orin_guards.h"
#include "orin_wget.h"
#include "orinlog.h"
#include "temp_dir.h"
#include "test_ca.h"

namespace {

// Where the last request came from.
std::atomic<int> peerPort;

// Shows what it was sent, unless the path asks for something else.
void reply(const httplib::Request& request, httplib::Response& answer) {
    const std::string& path = request.path;
    const std::string authorization = request.get_header_value("Authorization");
    peerPort = request.remote_port;
    if (path == "/photo") {
        answer.set_content(std::string(100000, '\0'), "image/jpeg");
    } else if (path == "/broken") {
        answer.set_content_provider(1000, "image/jpeg", [](size_t offset, size_t, httplib::DataSink& sink) {
            return offset == 0 && sink.write("half", 4);
        });
    } else if (path == "/slow") {
        std::this_thread::sleep_for(std::chrono::seconds(2));
    } else if (path.starts_with("/redirect/") && path != "/redirect/0") {
        answer.set_redirect("/redirect/" + std::to_string(path.back() - '0' - 1));
    } else if (path == "/digest" && authorization.empty()) {
        answer.status = 401;
        answer.set_header("WWW-Authenticate", R"(Digest realm="here", qop="auth", nonce="0af1")");
    } else {
        answer.status = path == "/gone" ? 404 : 200;
        answer.set_content(request.method + "|" + authorization + "|" + request.get_header_value("X-Test") + "|" +
                               request.get_header_value("User-Agent") + "|" + request.body,
                           "text/plain");
    }
}

class Server {
  public:
    explicit Server(const CertifiedKey& shown) : server_(shown.certificate.get(), shown.key.get()) {
        server_.Get(".*", reply).Post(".*", reply).Put(".*", reply);
        address_ = "https://localhost:" + std::to_string(server_.bind_to_any_port("127.0.0.1"));
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) {
            std::this_thread::yield();
        }
    }
    ~Server() {
        server_.stop();
        thread_.join();
    }
    [[nodiscard]] int port() const {
        return std::stoi(address_.substr(address_.rfind(':') + 1));
    }
    [[nodiscard]] std::string url(const std::string& path) const {
        return address_ + path;
    }

  private:
    httplib::SSLServer server_;
    std::string address_;
    std::thread thread_;
};

size_t appendTo(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

class Wget : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(curl_global_init(CURL_GLOBAL_ALL), CURLE_OK);
        ASSERT_TRUE(authority.writeTrustDirectory(ORIN_TRUSTED_CA_DIRECTORY));
    }
    void TearDown() override {
        orin_curl_closeConnections();
    }
    // Sets the body.
    int perform(const std::string& url, const OrinCurlExtra* extra = nullptr) {
        request.url = url.c_str();
        body.clear();
        return orin_curl_request(&request, appendTo, &body, extra);
    }

    const EnvVar unused{"https_proxy", "http://127.0.0.1:1"};
    TestAuthority authority;
    const Server server{authority.certificate(CertificateKind::Good)};
    const TempDir folder;
    const LogCapture log;
    OrinCurlRequest request;
    std::string body;
};

TEST_F(Wget, ADownloadStoresWhatTheServerSendsAsFarAsItComes) {
    const std::string file = folder.file("photo.jpg");
    const auto download = [this](const std::string& path, const std::string& destination) {
        return orin_wgetToFile(server.url(path).c_str(), destination.c_str(), nullptr);
    };
    EXPECT_EQ(download("/photo", file), 100000);
    EXPECT_EQ(readFile(file), std::string(100000, '\0'));
    const int port = peerPort;
    const std::string page = std::string("GET|||") + ORIN_USER_AGENT + "|";
    EXPECT_EQ(download("/gone", file), static_cast<int>(page.size()));
    EXPECT_EQ(readFile(file), page);
    EXPECT_EQ(peerPort, port) << "the second one has needed a connection of its own";
    EXPECT_EQ(log.count(ORINLOG_CAT_WGET, ORINLOG_ERROR), 0U) << log;

    EXPECT_EQ(download("/broken", file), -1);
    EXPECT_EQ(readFile(file), "half");
    EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_ERROR,
                        "(18: Transferred a partial file) destination: " + server.url("/broken") +
                            " timeout: 0 typ: 0 (unknown) proxy: 0 (OFF)"))
        << log;
    EXPECT_EQ(download("/small", "/dev/full"), -1) << "small enough to be buffered";
    EXPECT_EQ(download("/photo", folder.file("none/photo")), -1);
    EXPECT_EQ(orin_wgetToFile("file:///etc/passwd", file.c_str(), nullptr), -1);
    EXPECT_EQ(readFile(file), "");
}

TEST_F(Wget, TheProxyOfThePbxIsUsedWhereItIsAskedForWhateverTheEnvironmentSays) {
    const EnvVar exceptions("no_proxy", "*");
    ForwardProxy proxy(server.port(), "pbx:geheim");
    ASSERT_TRUE(proxy.start());
    writeFile("/data/etc/proxy.conf", "use-proxy:1\nip-address:127.0.0.1\nproxy-port:" + std::to_string(proxy.port()));
    writeFile("/data/etc/proxy-auth.conf", "username:pbx\npassword:geheim\n");
    EXPECT_EQ(perform(server.url("/")), 0);
    EXPECT_TRUE(proxy.requests().empty());
    request.proxyMode = ORIN_PROXY_AUTO;
    EXPECT_EQ(perform(server.url("/")), 0);
    EXPECT_EQ(proxy.requests().at(0).status, 200);
    std::remove("/data/etc/proxy.conf");
    std::remove("/data/etc/proxy-auth.conf");
}

TEST_F(Wget, EveryMethodSendsItsBodyAndThreeRedirectsAreFollowed) {
    const std::string agent = std::string("|") + ORIN_USER_AGENT + "|";
    EXPECT_EQ(perform(server.url("/redirect/3")), 0);
    EXPECT_EQ(body, "GET||" + agent);
    EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_DEBUG, "orin_curl_request: HTTP/1.1 302 Found")) << log;
    EXPECT_EQ(perform(server.url("/redirect/4")), CURLE_TOO_MANY_REDIRECTS);
    request.timeout = 1;
    EXPECT_EQ(perform(server.url("/slow")), CURLE_OPERATION_TIMEDOUT);

    request.method = ORIN_HTTP_POST;
    request.postBody = "a=1&b=2";
    EXPECT_EQ(perform(server.url("/")), 0);
    EXPECT_EQ(body, "POST||" + agent + "a=1&b=2");
    request.method = ORIN_HTTP_PUT;
    EXPECT_EQ(perform(server.url("/")), CURLE_READ_ERROR);
    EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "orin_curl_request: Error. Cant read params.")) << log;
    writeFile(folder.file("upload"), "uploaded");
    const File upload(fopen(folder.file("upload").c_str(), "r"));
    const HeaderList headers(curl_slist_append(nullptr, "X-Test: yes"));
    const OrinCurlExtra extra{headers.get(), upload.get()};
    EXPECT_EQ(perform(server.url("/"), &extra), 0);
    EXPECT_EQ(body, "PUT||yes" + agent + "uploaded");
}

TEST_F(Wget, EveryAuthenticationReachesTheServerAndNoCredentialsTheLog) {
    request.userName = "anna";
    request.password = "se:cret";
    const std::tuple<uint8_t, const char*, const char*, const char*> ways[] = {
        {ORIN_AUTH_NONE, "/", "GET\\|\\|", "HTTP Code: 200"},
        {ORIN_AUTH_BASIC, "/", "GET\\|Basic YW5uYTpzZTpjcmV0\\|", "Authentifizierung: CURLAUTH_BASIC"},
        {ORIN_AUTH_DIGEST, "/digest", R"(GET\|Digest username="anna", realm="here", nonce="0af1".*response=)",
         "Authentifizierung: CURLAUTH_DIGEST"},
        {ORIN_AUTH_BEARER, "/", "GET\\|Bearer se:cret\\|", "Authentifizierung: BEARER"}};
    for (const auto& [authType, path, shown, logged] : ways) {
        request.authType = authType;
        EXPECT_EQ(perform(server.url(path)), 0);
        EXPECT_THAT(body, testing::ContainsRegex(shown));
        EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, std::string("orin_curl_request: ") + logged)) << log;
    }
    request.authType = ORIN_AUTH_BEARER + 1;
    EXPECT_EQ(perform(server.url("/")), 0);
    EXPECT_TRUE(
        log.has(ORINLOG_CAT_WGET, ORINLOG_ERROR, "orin_curl_request: Unbekanntes Authentifizierungsverfahren: 4"));
    EXPECT_TRUE(log.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "Authorization:***"));
    EXPECT_FALSE(log.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "se:cret"));
    EXPECT_FALSE(log.has(ORINLOG_CAT_WGET, ORINLOG_EDEBUG, "YW5uYTpzZTpjcmV0"));
}

TEST_F(Wget, OnlyServersOfTheTrustedAuthorityAreTalkedTo) {
    ASSERT_TRUE(authority.writePemFile(folder.file("ca.pem")));
    ASSERT_TRUE(authority.writeTrustDirectory(folder.file("ca")));
    const auto attempt = [this](const Server& asked, const std::string& caLocation) {
        request.caLocation = caLocation.c_str();
        return perform(asked.url("/"));
    };
    EXPECT_EQ(attempt(server, folder.file("ca.pem")), 0);
    EXPECT_EQ(attempt(server, folder.file("ca")), 0);
    EXPECT_EQ(attempt(server, folder.path()), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(attempt(server, folder.file("none")), CURLE_SSL_CACERT_BADFILE);
    const std::string message = "SSL-Error while retrieving " + server.url("/");
    EXPECT_TRUE(log.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, message + " (60: ")) << log;
    EXPECT_TRUE(log.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, message + " (77: ")) << log;
    for (const auto kind : {CertificateKind::Expired, CertificateKind::WrongName, CertificateKind::UnknownAuthority}) {
        const Server bad(authority.certificate(kind));
        EXPECT_EQ(attempt(bad, ""), CURLE_PEER_FAILED_VERIFICATION);
        EXPECT_TRUE(log.has(ORINLOG_CAT_TLS, ORINLOG_ERROR, bad.url("/"))) << log;
    }
}

}  // namespace
