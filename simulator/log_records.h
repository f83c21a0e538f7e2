// The log records that the stand-in of the logger device has kept.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

struct LogRecord {
    uint32_t category;
    uint32_t level;
    std::string file;
    std::string function;
    uint32_t line;
    std::string text;
    uint32_t flags;
};

// "category-level file function:line text", the category as a number.
std::ostream& operator<<(std::ostream& out, const LogRecord& record);

// The whole records of a file, from a place in it on (bytes). A missing file has none.
std::vector<LogRecord> readLogRecords(const std::string& path, uint64_t from);
