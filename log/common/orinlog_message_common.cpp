#include "common/orinlog_message_common.h"

#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "orinlog_guards.h"
#include "orinlog_level_user.h"

namespace {

constexpr size_t PREFIX_SIZE = 96;
constexpr std::string_view TEXT_END = "\n";
constexpr std::string_view TRUNCATED_TEXT_END = "[...]\n";
constexpr std::string_view SPLIT_FILE = "common/orinlog_message_common";
constexpr uint32_t SPLIT_LINE = 69;

// Appends formatted text at `used`, cut at the end of the prefix.
__attribute__((format(printf, 3, 4))) void appendToPrefix(std::array<char, PREFIX_SIZE>& prefix, size_t& used,
                                                          const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(prefix.data() + used, prefix.size() - used, format, arguments);
    va_end(arguments);
    if (length > 0) {
        used = std::min(used + static_cast<size_t>(length), prefix.size() - 1);
    }
}

size_t buildPrefix(const OrinlogRecord& record, std::array<char, PREFIX_SIZE>& prefix) {
    const HoldQuitSignal holdQuitSignal;
    const auto seconds = static_cast<time_t>(record.seconds);
    tm local{};
    size_t used = 0;
    if (localtime_r(&seconds, &local) != nullptr) {
        used = strftime(prefix.data(), prefix.size(), "%c ", &local);
    }
    if (used == 0) {
        appendToPrefix(prefix, used, "[%lu.%06lu] ", static_cast<unsigned long>(record.seconds),
                       static_cast<unsigned long>(record.nanoseconds / 1000));
    }
    appendToPrefix(prefix, used, "[%s", orinlog_categoryName(record.category));
    if (record.category < ORINLOG_LEVEL_ENTRY_COUNT) {
        appendToPrefix(prefix, used, "-%s", orinlog_levelName(record.level));
    }
    appendToPrefix(prefix, used, " %d", static_cast<int>(record.threadId));
    if ((record.flags & ORINLOG_RECORD_SHOW_NUMBER) != 0) {
        appendToPrefix(prefix, used, "/%05d", static_cast<int>(record.number));
    }
    appendToPrefix(prefix, used, "] ");
    return used;
}

iovec part(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}

void writeAsText(int descriptor, OrinlogRecord& record) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    record.seconds = static_cast<uint32_t>(now.tv_sec);
    record.nanoseconds = static_cast<uint32_t>(now.tv_nsec);
    record.threadId = static_cast<uint32_t>(gettid());

    std::array<char, PREFIX_SIZE> prefix{};
    const std::string_view head(prefix.data(), buildPrefix(record, prefix));
    std::string_view rest(record.text, record.textLength);
    bool last = false;
    while (!last) {
        const size_t end = rest.find('\n');
        last = end == std::string_view::npos;
        const bool cutHere = last && (record.flags & ORINLOG_RECORD_TRUNCATED) != 0;
        const std::array parts{part(head), part(rest.substr(0, end)), part(cutHere ? TRUNCATED_TEXT_END : TEXT_END)};
        // A terminal that takes less than the line loses the rest: there is nobody to tell.
        [[maybe_unused]] const ssize_t written = writev(descriptor, parts.data(), parts.size());
        rest.remove_prefix(last ? rest.size() : end + 1);
    }
}

void deliver(OrinlogRecord& record) {
    const KeepErrno keepErrno;
    if (const int logger = orinlog_openDevice(&orinlog_device_orinlog, OrinlogWait::no); logger >= 0) {
        ioctl(logger, ORINLOG_SUBMIT_REQUEST, &record);
        return;
    }
    int terminal = orinlog_openDevice(&orinlog_device_tty, OrinlogWait::no);
    if (terminal < 0) {
        terminal = orinlog_openDevice(&orinlog_device_console, OrinlogWait::no);
    }
    if (terminal >= 0) {
        writeAsText(terminal, record);
    }
}

template <size_t N>
void copyName(char (&field)[N], std::string_view name) {
    std::copy_n(name.data(), std::min(name.size(), N), field);
}

std::string_view nameOf(const char* name, uint32_t lengthWithNul) {
    return name == nullptr || lengthWithNul == 0 ? std::string_view() : std::string_view(name, lengthWithNul - 1);
}

// A path that does not fit its field is recorded as the name behind its last '/'.
std::string_view shownFile(const char* file, uint32_t lengthWithNul) {
    const std::string_view name = nameOf(file, lengthWithNul);
    if (lengthWithNul <= sizeof(OrinlogRecord::file)) {
        return name;
    }
    const size_t slash = name.rfind('/');
    return slash == std::string_view::npos ? name : name.substr(slash + 1);
}

// The header only: clearing the text as well would cost more than formatting it.
void beginRecord(OrinlogRecord& record, uint32_t category, uint32_t level, uint32_t line, uint32_t flags) {
    memset(static_cast<void*>(&record), 0, ORINLOG_RECORD_HEADER_SIZE);
    record.category = category;
    record.level = level;
    record.line = line;
    record.flags = flags;
    record.minusOne = -1;
}

// Takes what vsnprintf answered for the whole text.
void endText(OrinlogRecord& record, int length) {
    if (length < 0) {
        record.text[0] = '\0';
        record.textLength = 0;
    } else if (static_cast<size_t>(length) >= sizeof(record.text)) {
        record.textLength = sizeof(record.text) - 1;
        record.flags |= ORINLOG_RECORD_TRUNCATED;
    } else {
        record.textLength = static_cast<uint32_t>(length);
    }
}

__attribute__((format(printf, 2, 0))) void formatText(OrinlogRecord& record, const char* format, va_list arguments) {
    endText(record, format == nullptr ? -1 : vsnprintf(record.text, sizeof(record.text), format, arguments));
}

}  // namespace

int orinlog_message(uint32_t category, uint32_t level, const char* file, uint32_t fileLength, const char* function,
                    uint32_t functionLength, uint32_t line, uint32_t /*reserved*/, const char* format, ...) {
    const KeepErrno keepErrno;
    OrinlogRecord record;
    beginRecord(record, category, level, line, 0);
    copyName(record.file, shownFile(file, fileLength));
    copyName(record.function, nameOf(function, functionLength));

    va_list arguments;
    va_start(arguments, format);
    formatText(record, format, arguments);
    va_end(arguments);

    deliver(record);
    return 0;
}

int orinlog_message_split_by_delim(uint32_t category, uint32_t level, uint32_t flags, const char* buffer, size_t length,
                                   char delimiter, const char* format, ...) {
    const KeepErrno keepErrno;
    OrinlogRecord record;
    beginRecord(record, category, level, SPLIT_LINE, flags);
    copyName(record.file, SPLIT_FILE);
    copyName(record.function, __func__);

    va_list arguments;
    va_start(arguments, format);
    formatText(record, format, arguments);
    va_end(arguments);

    const size_t headLength = record.textLength;
    std::string_view rest(buffer, buffer != nullptr ? length : 0);
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find(delimiter));
        const int pieceLength = snprintf(record.text + headLength, sizeof(record.text) - headLength, "%.*s",
                                         static_cast<int>(piece.size()), piece.data());
        endText(record, pieceLength < 0 ? pieceLength : static_cast<int>(headLength) + pieceLength);
        deliver(record);
        record.flags &= ~ORINLOG_RECORD_TRUNCATED;
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
    }
    return 0;
}

int orinlog_openssl_cb(const char* text, size_t length, void* context) {
    if (text == nullptr || context == nullptr) {
        return 0;
    }
    const auto& place = *static_cast<const OrinlogOpensslContext*>(context);
    const std::string_view line(text, length > 0 && text[length - 1] == '\n' ? length - 1 : length);
    if (orinlog_levelEnabled(&orinlog_level_mem, place.category, place.level)) {
        orinlog_message(place.category, place.level, place.file, orinlog_nameLength(place.file), place.function,
                        orinlog_nameLength(place.function), static_cast<uint32_t>(place.line), 0, "%s:%i:%s(): %.*s",
                        place.file, place.line, place.function, static_cast<int>(line.size()), line.data());
    }
    return 0;
}
