#include "log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

std::string loggerFile(const char* name) {
    const char* folder = getenv("ORIN_LOGGER_DIR");
    if (folder == nullptr) {
        ADD_FAILURE() << "no ORIN_LOGGER_DIR: run this program in script/sandbox";
        return {};
    }
    return std::string(folder) + '/' + name;
}

LogCapture::LogCapture() {
    clear();
}

std::vector<LogRecord> LogCapture::records() const {
    return readLogRecords(path_, from_);
}

size_t LogCapture::count(uint32_t category, uint32_t level, std::string_view text) const {
    const auto all = records();
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const LogRecord& record) {
        return record.category == category && record.level == level && record.text.find(text) != std::string::npos;
    }));
}

std::vector<std::string> LogCapture::texts(uint32_t level) const {
    std::vector<std::string> found;
    for (auto& record : records()) {
        if (record.level == level) {
            found.push_back(std::move(record.text));
        }
    }
    return found;
}

void LogCapture::clear() {
    std::error_code missing;
    const uintmax_t size = std::filesystem::file_size(path_, missing);
    from_ = missing ? 0 : size;
}

std::ostream& operator<<(std::ostream& out, const LogCapture& log) {
    out << "log records:\n";
    for (const auto& record : log.records()) {
        out << "  " << record << '\n';
    }
    return out;
}
