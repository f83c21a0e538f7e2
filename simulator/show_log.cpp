// Prints the records of the logger stand-in, one a line: "CATEGORY-Level file function:line text".
// usage: show_log [--category NAME|NUMBER] [--level NUMBER] [FILE]    (FILE: default $ORIN_LOGGER_DIR/records)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "log_records.h"
#include "orinlog_categories.h"

namespace {

struct Selection {
    std::string category;  // empty: all
    uint32_t level = ORINLOG_EDEBUG;
    std::string path;
};

bool readArguments(int count, char** arguments, Selection& selection) {
    const char* folder = getenv("ORIN_LOGGER_DIR");
    selection.path = std::string(folder != nullptr ? folder : "/tmp/logger") + "/records";
    for (int i = 1; i < count; ++i) {
        const bool more = i + 1 < count;
        if (strcmp(arguments[i], "--category") == 0 && more) {
            selection.category = arguments[++i];
        } else if (strcmp(arguments[i], "--level") == 0 && more) {
            selection.level = static_cast<uint32_t>(strtoul(arguments[++i], nullptr, 10));
        } else if (arguments[i][0] != '-' && !more) {
            selection.path = arguments[i];
        } else {
            return false;
        }
    }
    return true;
}

bool wanted(const Selection& selection, const LogRecord& record) {
    return record.level <= selection.level &&
           (selection.category.empty() || selection.category == orinlog_categoryName(record.category) ||
            selection.category == std::to_string(record.category));
}

}  // namespace

int main(int count, char** arguments) {
    Selection selection;
    if (!readArguments(count, arguments, selection)) {
        fputs("usage: show_log [--category NAME|NUMBER] [--level NUMBER] [FILE]\n", stderr);
        return 2;
    }
    for (const auto& record : readLogRecords(selection.path, 0)) {
        if (wanted(selection, record)) {
            printf("%s-%s %s %s:%u %s\n", orinlog_categoryName(record.category), orinlog_levelName(record.level),
                   record.file.c_str(), record.function.c_str(), record.line, record.text.c_str());
        }
    }
    return 0;
}
