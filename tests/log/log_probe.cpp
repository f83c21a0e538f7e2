// A process that logs, for tests of what depends on how a process starts.
// usage: log_probe enabled CATEGORY LEVEL   exit status 0 when enabled, 1 when not
//        log_probe say TEXT [FLAGS]         logs an error of category 109, or with flags one piece of a longer buffer
//        log_probe threads                  registers the backtrace, says "ready" from four threads and stays
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <latch>
#include <thread>

#include "orinlog.h"
#include "orinlog_backtrace.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "log_probe.c"};
constexpr int USAGE = 2;

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

int stayInThreads() {
    if (orinlog_registerBacktrace(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO) != 0) {
        return 1;
    }
    constexpr int OTHERS = 3;
    std::latch started(OTHERS + 1);
    std::array<std::jthread, OTHERS> threads;
    for (auto& thread : threads) {
        thread = std::jthread([&] {
            started.arrive_and_wait();
            for (;;) {
                pause();
            }
        });
    }
    started.arrive_and_wait();
    puts("ready");
    fflush(stdout);
    for (;;) {
        pause();
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 4 && strcmp(arguments[1], "enabled") == 0) {
        return orinlog_levelEnabled(&orinlog_level_mem, number(arguments[2]), number(arguments[3])) ? 0 : 1;
    }
    if (count >= 3 && strcmp(arguments[1], "say") == 0) {
        return say(arguments[2], count > 3 ? arguments[3] : nullptr);
    }
    if (count == 2 && strcmp(arguments[1], "threads") == 0) {
        return stayInThreads();
    }
    return USAGE;
}
