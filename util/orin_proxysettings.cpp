#include "orin_proxysettings.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "orin_guards.h"
#include "orin_stdio.h"

namespace {

constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

// No file is no settings, whatever the reason.
File openForReading(const char* path) {
    FILE* file = nullptr;
    return orin_fopen(&file, path, "r") != 0 ? File(file) : File();
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
    return text.substr(0, text.find_last_not_of(WHITE_SPACE) + 1);
}

// A decimal value; `fallback` when the key is missing. What is no number reads as 0.
int64_t lookupNumber(FILE* file, const char* key, int64_t fallback) {
    std::array<char, ORIN_CONF_LINE_SIZE> value{};
    if (orin_lookupConfValue(file, key, value.data(), value.size()) == 0) {
        return fallback;
    }
    return strtoll(value.data(), nullptr, 10);
}

// Sets the flag to 1 for exactly 1 and to 0 for everything else; without the key it stays.
void lookupFlag(FILE* file, const char* key, uint8_t& flag) {
    flag = lookupNumber(file, key, flag) == 1 ? 1 : 0;
}

}  // namespace

void orin_readProxyConf(OrinProxySettings* settings) {
    const File file = openForReading(ORIN_PROXY_CONF);
    if (settings == nullptr || !file) {
        return;
    }
    lookupFlag(file.get(), "use-proxy:", settings->useProxy);
    orin_lookupConfValue(file.get(), "ip-address:", settings->host, sizeof(settings->host));
    settings->port = static_cast<uint16_t>(lookupNumber(file.get(), "proxy-port:", settings->port));
}

void orin_readProxyAuthConf(OrinProxySettings* settings) {
    const File file = openForReading(ORIN_PROXY_AUTH_CONF);
    if (settings == nullptr || !file) {
        return;
    }
    lookupFlag(file.get(), "authorization:", settings->useAuthorization);
    orin_lookupConfValue(file.get(), "username:", settings->userName, sizeof(settings->userName));
    orin_lookupConfValue(file.get(), "password:", settings->password, sizeof(settings->password));
}

void orin_getProxyAddress(const OrinProxySettings* settings, char* address, size_t size) {
    if (address == nullptr || size == 0) {
        return;
    }
    *address = '\0';
    if (settings != nullptr && settings->useProxy != 0 && settings->host[0] != '\0') {
        snprintf(address, size, "%s:%d", settings->host, settings->port);
    }
}

uint8_t orin_lookupConfValue(FILE* file, const char* key, char* value, size_t size) {
    if (file == nullptr || key == nullptr || value == nullptr || size == 0) {
        return 0;
    }
    rewind(file);
    const size_t keyLength = strlen(key);
    // The first line that fits wins; what a longer line leaves is read as the next one.
    std::array<char, ORIN_CONF_LINE_SIZE> line{};
    while (fgets(line.data(), static_cast<int>(line.size()), file) != nullptr) {
        if (strncasecmp(line.data(), key, keyLength) == 0) {
            const std::string_view found = trimmed(line.data() + keyLength);
            value[found.copy(value, size - 1)] = '\0';
            return 1;
        }
    }
    return 0;
}
