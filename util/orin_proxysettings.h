// The PBX's proxy settings: two text files of "key: value" lines that its web configuration writes.
//
// A file or a key that is not there leaves the field as it is, so a caller starts from OrinProxySettings{} and reads
// what it needs. Nothing is logged: a PBX without a proxy has no such files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

constexpr char ORIN_PROXY_CONF[] = "/data/etc/proxy.conf";
constexpr char ORIN_PROXY_AUTH_CONF[] = "/data/etc/proxy-auth.conf";

// Sizes with the NUL, in bytes.
constexpr size_t ORIN_PROXY_HOST_SIZE = 256;
constexpr size_t ORIN_PROXY_USER_SIZE = 64;
constexpr size_t ORIN_PROXY_ADDRESS_SIZE = 1024;
constexpr size_t ORIN_CONF_LINE_SIZE = 1024;

constexpr uint16_t ORIN_PROXY_DEFAULT_PORT = 3128;

struct OrinProxySettings {
    uint8_t useProxy = 0;                     // "use-proxy:" is 1
    char host[ORIN_PROXY_HOST_SIZE] = "";     // "ip-address:", a name or an address
    uint16_t port = ORIN_PROXY_DEFAULT_PORT;  // "proxy-port:"
    uint8_t useAuthorization = 0;             // "authorization:" is 1; nobody asks, credentials that are set are used
    char userName[ORIN_PROXY_USER_SIZE] = "";
    char password[ORIN_PROXY_USER_SIZE] = "";
};

// Reads the proxy's address from ORIN_PROXY_CONF into the first three fields. Of a port's number
// the low 16 bits are kept; a text that is no number is 0.
void orin_readProxyConf(OrinProxySettings* settings);

// Reads the credentials from ORIN_PROXY_AUTH_CONF into the last three fields.
void orin_readProxyAuthConf(OrinProxySettings* settings);

// Writes "host:port" for libcurl, or the empty text when no proxy is to be used, which also keeps libcurl from taking
// one from the environment. Cut to `size` bytes with the NUL.
void orin_getProxyAddress(const OrinProxySettings* settings, char* address, size_t size);

// Looks a key up from the beginning of the file, in lines of at most ORIN_CONF_LINE_SIZE - 1 characters (what is longer
// counts as several lines): the first line that begins with the key, in any case. Its rest without the white space
// around it goes to `value`, cut to `size` bytes with the NUL. Returns 1, or 0 with `value` as it was.
uint8_t orin_lookupConfValue(FILE* file, const char* key, char* value, size_t size);
