#include "orin_wget.h"

#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "orin_datei_tools.h"
#include "orin_guards.h"
#include "orin_proxysettings.h"
#include "orin_stdio.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_WGET, "orin_wget.c"};

// The lines of a request name the function that the caller knows.
constexpr char REQUEST[] = "orin_curl_request";

constexpr uint32_t DOWNLOAD_CONNECT_TIMEOUT = 5;  // seconds
constexpr long MAX_REDIRECTS = 3;
constexpr char PROTOCOLS[] = "http,https";
// What the trace shows of one piece at most, in bytes; a log record holds no more.
constexpr size_t TRACE_SIZE = 3840;
constexpr std::array<const char*, CURLINFO_END> TRACE_KINDS{"TEXT",     "HEADER_IN",   "HEADER_OUT",  "DATA_IN",
                                                            "DATA_OUT", "SSL_DATA_IN", "SSL_DATA_OUT"};
constexpr char CREDENTIALS_HEADER[] = "authorization:";
constexpr char LINE_END[] = "\r\n";

// A transfer has no time limit of its own, so a peer that vanished must be found out: after a minute of silence it is
// asked every 15 seconds, and 4 answers missing end the connection.
struct KeepAlive {
    int idleSeconds;
    int intervalSeconds;
    int probes;
};
constexpr KeepAlive KEEP_ALIVE{60, 15, 4};

// The connections that the transfers of this thread have left open: a second photo from the same host needs no further
// handshake. A thread of its own each, since libcurl lets no two threads share connections at a time; without it (no
// memory) every transfer makes its own connection.
thread_local CURLSH* openConnections = nullptr;

CURLSH* sharedConnections() {
    if (openConnections == nullptr) {
        openConnections = curl_share_init();
        curl_share_setopt(openConnections, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    }
    return openConnections;
}

// A transfer while it is set up. After the first option that libcurl refuses, set() sets no further one, and the
// transfer is not performed.
struct Setup {
    CURL* curl;
    CURLcode result;
};

template <typename Value>
void set(Setup& setup, CURLoption option, Value value) {
    if (setup.result == CURLE_OK) {
        setup.result = curl_easy_setopt(setup.curl, option, value);
    }
}

int setKeepAlive(void* settings, curl_socket_t socket, curlsocktype) {
    const auto& keepAlive = *static_cast<const KeepAlive*>(settings);
    const int on = 1;
    // Without it the transfer works as well: failures do not matter.
    setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof(on));
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &keepAlive.idleSeconds, sizeof(int));
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &keepAlive.intervalSeconds, sizeof(int));
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &keepAlive.probes, sizeof(int));
    return CURL_SOCKOPT_OK;
}

// Notes the status line of every answer, those of redirects too.
size_t noteHeader(char* data, size_t size, size_t count, void*) {
    const std::string_view line(data, size * count);
    if (line.starts_with("HTTP/")) {
        const size_t length = std::min(line.find_first_of(LINE_END), line.size());
        ORINLOG_FOR(REQUEST, ORINLOG_DEBUG, "%.*s", static_cast<int>(length), data);
    }
    return line.size();
}

// The trace shows what is said about the connection and the headers without their credentials, and of all other data
// the size only: it may be binary or somebody's secret.
int trace(CURL* curl, curl_infotype kind, char* data, size_t size, void*) {
    std::array<char, TRACE_SIZE + 1> shown{};
    if (kind == CURLINFO_TEXT || kind == CURLINFO_HEADER_IN || kind == CURLINFO_HEADER_OUT) {
        memcpy(shown.data(), data, std::min(size, TRACE_SIZE));
    }
    char* found = shown.data();
    while ((found = strcasestr(found, CREDENTIALS_HEADER)) != nullptr) {
        found += strlen(CREDENTIALS_HEADER);
        memset(found, '*', strcspn(found, LINE_END));
    }
    const size_t length = std::string_view(shown.data()).find_last_not_of(LINE_END) + 1;
    const auto index = static_cast<size_t>(kind);
    ORINLOG(ORINLOG_EDEBUG, "curl %p: %s[%.4u]: %.*s", static_cast<void*>(curl),
            index < TRACE_KINDS.size() ? TRACE_KINDS[index] : "unknown", static_cast<unsigned>(size),
            static_cast<int>(length), shown.data());
    return 0;
}

// An empty proxy also keeps libcurl from taking one from the environment; nor has the environment a say in what goes
// without the proxy.
void setProxy(Setup& setup, uint8_t proxyMode) {
    OrinProxySettings settings;
    if (proxyMode != ORIN_PROXY_OFF) {
        orin_readProxyConf(&settings);
        orin_readProxyAuthConf(&settings);
    }
    std::array<char, ORIN_PROXY_ADDRESS_SIZE> address{};
    orin_getProxyAddress(&settings, address.data(), address.size());
    set(setup, CURLOPT_PROXY, address.data());
    set(setup, CURLOPT_NOPROXY, "");
    if (address[0] != '\0' && settings.userName[0] != '\0') {
        set(setup, CURLOPT_PROXYUSERNAME, settings.userName);
        set(setup, CURLOPT_PROXYPASSWORD, settings.password);
    }
}

// Trusted is what lies in the one place, not what this machine's libcurl was built to trust besides.
void setTls(Setup& setup, const char* caLocation) {
    const bool isGiven = caLocation != nullptr && *caLocation != '\0';
    const char* const location = isGiven ? caLocation : ORIN_TRUSTED_CA_DIRECTORY;
    const bool isDirectory = !isGiven || orin_isDirectory(location);
    set(setup, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    set(setup, CURLOPT_SSL_VERIFYPEER, 1L);
    set(setup, CURLOPT_SSL_VERIFYHOST, 2L);
    set(setup, CURLOPT_CAPATH, isDirectory ? location : nullptr);
    set(setup, CURLOPT_CAINFO, isDirectory ? nullptr : location);
}

// A file of known length is sent: libcurl announces it, and reads from the start again when it is redirected or asked
// for credentials.
void setUpload(Setup& setup, const OrinCurlExtra& extra) {
    struct stat status {};
    if (extra.upload == nullptr || fstat(fileno(extra.upload), &status) != 0 || !S_ISREG(status.st_mode)) {
        ORINLOG_FOR(REQUEST, ORINLOG_ERROR, "Error. Cant read params.");
        setup.result = CURLE_READ_ERROR;
        return;
    }
    rewind(extra.upload);
    // The present name of CURLOPT_PUT.
    set(setup, CURLOPT_UPLOAD, 1L);
    set(setup, CURLOPT_READDATA, extra.upload);
    set(setup, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(status.st_size));
}

void setMethod(Setup& setup, const OrinCurlRequest& request, const OrinCurlExtra& extra) {
    if (request.method == ORIN_HTTP_POST) {
        set(setup, CURLOPT_POST, 1L);
        set(setup, CURLOPT_POSTFIELDS, request.postBody != nullptr ? request.postBody : "");
    } else if (request.method == ORIN_HTTP_PUT) {
        setUpload(setup, extra);
    } else {
        set(setup, CURLOPT_HTTPGET, 1L);
        set(setup, CURLOPT_HEADERFUNCTION, noteHeader);
    }
}

// A request without the credentials that libcurl did not take is answered by the server: the transfer goes on.
void setCredentials(Setup& setup, const OrinCurlRequest& request) {
    const bool isBasic = request.authType == ORIN_AUTH_BASIC;
    set(setup, CURLOPT_HTTPAUTH, static_cast<long>(isBasic ? CURLAUTH_BASIC : CURLAUTH_DIGEST));
    ORINLOG_FOR(REQUEST, ORINLOG_EDEBUG, "Authentifizierung: %s", isBasic ? "CURLAUTH_BASIC" : "CURLAUTH_DIGEST");
    CURLcode result = curl_easy_setopt(setup.curl, CURLOPT_USERNAME, request.userName);
    if (result != CURLE_OK) {
        ORINLOG_FOR(REQUEST, ORINLOG_DEBUG, "%i Username (%s) setzen hat nicht geklappt. ", result, request.userName);
    }
    result = curl_easy_setopt(setup.curl, CURLOPT_PASSWORD, request.password);
    if (result != CURLE_OK) {
        ORINLOG_FOR(REQUEST, ORINLOG_DEBUG, "%i Passwort (%s) setzen hat nicht geklappt. ", result, "***");
    }
}

void setAuthentication(Setup& setup, const OrinCurlRequest& request) {
    switch (request.authType) {
        case ORIN_AUTH_NONE:
            break;
        case ORIN_AUTH_BASIC:
        case ORIN_AUTH_DIGEST:
            setCredentials(setup, request);
            break;
        case ORIN_AUTH_BEARER:
            set(setup, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BEARER));
            set(setup, CURLOPT_XOAUTH2_BEARER, request.password);
            ORINLOG_FOR(REQUEST, ORINLOG_EDEBUG, "Authentifizierung: BEARER");
            break;
        default:
            ORINLOG_FOR(REQUEST, ORINLOG_ERROR, "Unbekanntes Authentifizierungsverfahren: %u", request.authType);
            break;
    }
}

// Everything that is the same for all requests but the addressee.
void setTransfer(Setup& setup, const OrinCurlRequest& request, const OrinCurlExtra& extra) {
    set(setup, CURLOPT_USERAGENT, ORIN_USER_AGENT);
    setProxy(setup, request.proxyMode);
    set(setup, CURLOPT_SOCKOPTFUNCTION, setKeepAlive);
    set(setup, CURLOPT_SOCKOPTDATA, &KEEP_ALIVE);
    set(setup, CURLOPT_CONNECTTIMEOUT, static_cast<long>(request.connectTimeout));
    set(setup, CURLOPT_TIMEOUT, static_cast<long>(request.timeout));
    set(setup, CURLOPT_HTTP09_ALLOWED, 1L);
    set(setup, CURLOPT_FOLLOWLOCATION, 1L);
    set(setup, CURLOPT_MAXREDIRS, MAX_REDIRECTS);
    set(setup, CURLOPT_PROTOCOLS_STR, PROTOCOLS);
    set(setup, CURLOPT_HTTPHEADER, extra.headers);
    setTls(setup, request.caLocation);
    // A tunnel through the proxy stays what its credentials made it: it is not handed on.
    set(setup, CURLOPT_SHARE, request.proxyMode == ORIN_PROXY_OFF ? sharedConnections() : nullptr);
    set(setup, CURLOPT_DEBUGFUNCTION, trace);
    set(setup, CURLOPT_VERBOSE, ORINLOG_ENABLED(ORINLOG_EDEBUG) ? 1L : 0L);
}

// How failures name the method.
const char* methodName(uint8_t method) {
    switch (method) {
        case ORIN_HTTP_POST:
            return "POST";
        case ORIN_HTTP_PUT:
            return "PUT";
        default:
            return "unknown";
    }
}

// A TLS failure is a security event. Events have no threshold and are recorded whatever the levels say; a macro would
// ask for the level of this category and find none.
void recordTlsFailure(const char* url, unsigned code, const char* detail) {
    orinlog_message(ORINLOG_CAT_TLS, ORINLOG_ERROR, LOG_MODULE.file, orinlog_nameLength(LOG_MODULE.file), REQUEST,
                    orinlog_nameLength(REQUEST), __LINE__, 0, "SSL-Error while retrieving %s (%u: %s)", url, code,
                    detail);
}

void logFailure(const OrinCurlRequest& request, CURLcode result, const char* detail) {
    const auto code = static_cast<unsigned>(result);
    if (result == CURLE_SSL_CONNECT_ERROR || result == CURLE_PEER_FAILED_VERIFICATION ||
        result == CURLE_SSL_CACERT_BADFILE) {
        recordTlsFailure(request.url, code, detail);
    }
    ORINLOG_FOR(REQUEST, ORINLOG_ERROR, "%s (%u: %s) destination: %s timeout: %u typ: %i (%s) proxy: %i (%s)", detail,
                code, curl_easy_strerror(result), request.url, request.timeout, request.method,
                methodName(request.method), request.proxyMode, request.proxyMode == ORIN_PROXY_OFF ? "OFF" : "AUTO");
}

CURLcode perform(CURL* curl) {
    const CURLcode result = curl_easy_perform(curl);
    ORINLOG_FOR(REQUEST, ORINLOG_EDEBUG, "Curl perform result: %u", static_cast<unsigned>(result));
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    ORINLOG_FOR(REQUEST, ORINLOG_EDEBUG, "HTTP Code: %lu", static_cast<unsigned long>(status));
    return result;
}

struct Download {
    FILE* file;
    size_t written;
};

// A disk that takes less than it is given ends the transfer.
size_t writeToFile(char* data, size_t size, size_t count, void* download) {
    auto& target = *static_cast<Download*>(download);
    const size_t written = fwrite(data, 1, size * count, target.file);
    target.written += written;
    return written;
}

}  // namespace

void CurlEasyRelease::operator()(void* curl) const {
    curl_easy_cleanup(curl);
}

void HeaderListRelease::operator()(curl_slist* list) const {
    curl_slist_free_all(list);
}

int orin_curl_request(const OrinCurlRequest* request, OrinWriteCallback writeCallback, void* callbackData,
                      const OrinCurlExtra* extra) {
    if (request == nullptr || request->url == nullptr || writeCallback == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "Parameter ungueltig");
        return CURLE_BAD_FUNCTION_ARGUMENT;
    }
    // Outlives the transfer, which writes to it.
    std::array<char, CURL_ERROR_SIZE> detail{};
    const CurlEasy curl(curl_easy_init());
    Setup setup{curl.get(), curl ? CURLE_OK : CURLE_FAILED_INIT};
    if (curl) {
        const OrinCurlExtra given = extra != nullptr ? *extra : OrinCurlExtra{};
        set(setup, CURLOPT_ERRORBUFFER, detail.data());
        setTransfer(setup, *request, given);
        set(setup, CURLOPT_WRITEFUNCTION, writeCallback);
        set(setup, CURLOPT_WRITEDATA, callbackData);
        set(setup, CURLOPT_URL, request->url);
        ORINLOG_FN(ORINLOG_EDEBUG, "URL: %s", request->url);
        setMethod(setup, *request, given);
        setAuthentication(setup, *request);
    }
    const CURLcode result = setup.result == CURLE_OK ? perform(setup.curl) : setup.result;
    if (result != CURLE_OK) {
        logFailure(*request, result, detail[0] != '\0' ? detail.data() : "request failed");
    }
    return result;
}

void orin_curl_closeConnections() {
    curl_share_cleanup(std::exchange(openConnections, nullptr));
}

int32_t orin_wgetToFile(const char* address, const char* destination, const OrinCurlExtra* option) {
    OrinCurlRequest request;
    request.url = address;
    request.connectTimeout = DOWNLOAD_CONNECT_TIMEOUT;
    Download download{};
    if (orin_fopen(&download.file, destination, "w") == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "fopen failed filename=%s error=%s", destination != nullptr ? destination : "",
                   strerror(errno));
        return -1;
    }
    const int result = orin_curl_request(&request, writeToFile, &download, option);
    const bool isStored = fflush(download.file) == 0;
    if (!isStored) {
        ORINLOG_FN(ORINLOG_ERROR, "write failed filename=%s error=%s", destination, strerror(errno));
    }
    orin_fclose(&download.file);
    return result == 0 && isStored ? static_cast<int32_t>(std::min<size_t>(download.written, INT32_MAX)) : -1;
}
