// HTTP(S) requests through libcurl: one request with everything it takes, and the download of an address into a file.
//
// An https server must show a certificate that the PBX trusts; nothing here can turn that off. Plain http, also behind
// a redirect, has none. Requests are logged under ORINLOG_CAT_WGET, TLS failures also under ORINLOG_CAT_TLS. REQUIRES:
// curl_global_init has been called.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct curl_slist;

// The CA certificates that the PBX trusts, a directory in OpenSSL's hashed form.
constexpr char ORIN_TRUSTED_CA_DIRECTORY[] = "/data/certs/trusted/";

// How every request of the PBX names itself. Kept although no such browser exists any more: servers know it.
constexpr char ORIN_USER_AGENT[] = "Mozilla/5.0 (compatible; MSIE 6.0; Windows NT 5.0)";

// OrinCurlRequest::method
constexpr uint8_t ORIN_HTTP_GET = 0;
constexpr uint8_t ORIN_HTTP_POST = 1;
constexpr uint8_t ORIN_HTTP_PUT = 2;

// OrinCurlRequest::proxyMode
constexpr uint8_t ORIN_PROXY_OFF = 0;
constexpr uint8_t ORIN_PROXY_AUTO = 1;  // whatever the proxy settings say

// OrinCurlRequest::authType
constexpr uint8_t ORIN_AUTH_NONE = 0;
constexpr uint8_t ORIN_AUTH_BASIC = 1;
constexpr uint8_t ORIN_AUTH_DIGEST = 2;
constexpr uint8_t ORIN_AUTH_BEARER = 3;

// One request. The texts are the caller's and stay valid for the call.
struct OrinCurlRequest {
    const char* url = nullptr;
    uint32_t connectTimeout = 0;  // seconds; 0 is libcurl's default of five minutes; at most 2147483
    uint32_t timeout = 0;         // seconds for the whole transfer; 0 is no limit; at most 2147483
    uint8_t method = ORIN_HTTP_GET;
    uint8_t proxyMode = ORIN_PROXY_OFF;
    uint8_t authType = ORIN_AUTH_NONE;
    const char* userName = "";
    const char* password = "";         // or the bearer token
    const char* postBody = "";         // what a POST sends
    const char* caLocation = nullptr;  // CA file or directory instead of ORIN_TRUSTED_CA_DIRECTORY
};

// What only some requests have.
struct OrinCurlExtra {
    const curl_slist* headers = nullptr;  // header lines sent besides libcurl's own; the caller's
    FILE* upload = nullptr;               // a regular file open for reading, sent whole by a PUT; the caller's
};

// Receives size * count bytes of the body and returns how many it took; any other number ends the transfer.
using OrinWriteCallback = size_t (*)(char* data, size_t size, size_t count, void* callbackData);

// Performs the request; up to 3 redirects are followed. `extra` may be nullptr. Returns 0 when the answer has arrived
// whole, whatever its HTTP status, or a libcurl code, logged with the server's address.
[[nodiscard]] int orin_curl_request(const OrinCurlRequest* request, OrinWriteCallback writeCallback, void* callbackData,
                                    const OrinCurlExtra* extra);

// Closes the connections that this thread's requests have left open for the next request to the same host. A thread
// that has made requests calls it before it ends, the last one before curl_global_cleanup.
void orin_curl_closeConnections();

// Downloads an address into a file with a GET, with neither proxy nor authentication: 5 seconds to connect, no limit
// for the transfer. `option` goes to orin_curl_request. Returns the number of bytes written (INT32_MAX when there are
// more), or -1 when the file cannot be created or written or the transfer fails; the file is then left as far as it
// came.
[[nodiscard]] int32_t orin_wgetToFile(const char* address, const char* destination, const OrinCurlExtra* option);
