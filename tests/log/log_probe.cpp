// A process that logs, for tests of what depends on how a process starts.
// usage: log_probe enabled CATEGORY LEVEL   exit status 0 when enabled, 1 when not
//        log_probe say TEXT [FLAGS]         logs an error of category 109, or with flags one piece of a longer buffer
//        log_probe threads                  registers the backtrace, starts three threads, says "ready" and stays
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <latch>
#include <string_view>
#include <thread>

#include "orinlog.h"
#include "orinlog_backtrace.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "log_probe.c"};

uint32_t number(const char* text) {
    return static_cast<uint32_t>(strtoul(text, nullptr, 10));
}

int say(const char* text, const char* flags) {
    errno = EXDEV;
    if (flags == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s", text);
    } else {
        orinlog_message_split_by_delim(ORINLOG_CAT_TLS, ORINLOG_ERROR, number(flags), text, strlen(text), '|', "part ");
    }
    return errno == EXDEV ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string_view mode = count > 1 ? arguments[1] : "";
    if (mode == "enabled") {
        return orinlog_levelEnabled(&orinlog_level_mem, number(arguments[2]), number(arguments[3])) ? 0 : 1;
    }
    if (mode == "say") {
        return say(arguments[2], arguments[3]);
    }
    if (mode != "threads" || orinlog_registerBacktrace(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO) != 0) {
        return 1;
    }
    const auto stay = [] { std::latch(1).wait(); };
    for (int i = 0; i < 3; ++i) {
        std::thread(stay).detach();
    }
    std::cout << "ready" << std::endl;
    stay();
}
