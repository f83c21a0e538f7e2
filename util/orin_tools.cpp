#include "orin_tools.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

#include "orinlog.h"
#include "orinlog_guards.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_TIME, "orin_tools.c"};

constexpr uint32_t NANOSECONDS_PER_SECOND = 1000000000;
constexpr int64_t NANOSECONDS_PER_MICROSECOND = 1000;
constexpr int64_t MICROSECONDS_PER_MS = 1000;
constexpr int64_t MS_PER_SECOND = 1000;
constexpr int FIRST_YEAR = 1900;

}  // namespace

void orin_sleep(uint32_t seconds, uint32_t nanoseconds) {
    // More seconds than a 32-bit time_t holds would read as a negative time, that is, no wait at all.
    const uint64_t total = uint64_t{seconds} + nanoseconds / NANOSECONDS_PER_SECOND;
    timespec rest{};
    rest.tv_sec = static_cast<time_t>(std::min<uint64_t>(total, std::numeric_limits<time_t>::max()));
    rest.tv_nsec = static_cast<long>(nanoseconds % NANOSECONDS_PER_SECOND);
    // A signal leaves what remains in `rest`.
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

void orin_getLocalTimeString(char* destination, size_t size) {
    if (destination == nullptr || size == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "destination=%p size=%zu", static_cast<void*>(destination), size);
        return;
    }
    const HoldQuitSignal holdQuitSignal;
    const time_t now = time(nullptr);
    tm local{};
    if (localtime_r(&now, &local) == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "localtime failed: %s", strerror(errno));
        *destination = '\0';
        return;
    }
    snprintf(destination, size, "%i-%02i-%02i %02i:%02i", local.tm_year + FIRST_YEAR, local.tm_mon + 1, local.tm_mday,
             local.tm_hour, local.tm_min);
}

int64_t get_monotonic_systemtime_in_ms() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        ORINLOG_FN(ORINLOG_ERROR, "clock_gettime failed: %s", strerror(errno));
        return 0;
    }
    const int64_t microseconds = now.tv_nsec / NANOSECONDS_PER_MICROSECOND;
    return now.tv_sec * MS_PER_SECOND + microseconds / MICROSECONDS_PER_MS - ORIN_MONOTONIC_SHIFT_MS;
}

int64_t get_diff_monotonic_in_ms(int64_t start, int64_t end) {
    // Times from far apart may wrap around, as the clock itself would.
    const auto difference = static_cast<int64_t>(static_cast<uint64_t>(end) - static_cast<uint64_t>(start));
    if (difference <= 0) {
        ORINLOG_FN(ORINLOG_ERROR, "end=%" PRId64 " is not later than start=%" PRId64, end, start);
        return 0;
    }
    return difference;
}
