#include "log_records.h"

#include <cstring>
#include <fstream>
#include <ostream>

#include "common/orinlog_message_common.h"

namespace {

template <size_t N>
std::string nameOf(const char (&field)[N]) {
    return {field, strnlen(field, N)};
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogRecord& record) {
    return out << record.category << '-' << record.level << ' ' << record.file << ' ' << record.function << ':'
               << record.line << ' ' << record.text << (record.flags != 0 ? " [flagged]" : "");
}

std::vector<LogRecord> readLogRecords(const std::string& path, uint64_t from) {
    std::vector<LogRecord> records;
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from));
    uint32_t size = 0;
    OrinlogRecord record;
    while (file.read(reinterpret_cast<char*>(&size), sizeof(size)) && size <= sizeof(record) &&
           file.read(reinterpret_cast<char*>(&record), size)) {
        records.push_back({record.category, record.level, nameOf(record.file), nameOf(record.function), record.line,
                           std::string(record.text, record.textLength), record.flags});
    }
    return records;
}
