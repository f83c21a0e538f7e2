// Sees what this process and its children log while it lives. A test program must run in script/sandbox for that.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log_records.h"

// The path of a file of the stand-in of the logger device: "levels" or "records".
std::string loggerFile(const char* name);

class LogCapture {
  public:
    LogCapture();

    // The records since the construction or the last clear().
    [[nodiscard]] std::vector<LogRecord> records() const;
    // How many of them have this category and level and the text as a part of theirs.
    [[nodiscard]] size_t count(uint32_t category, uint32_t level, std::string_view text = "") const;
    [[nodiscard]] bool has(uint32_t category, uint32_t level, std::string_view text) const {
        return count(category, level, text) > 0;
    }
    // The texts of this level, whatever the category.
    [[nodiscard]] std::vector<std::string> texts(uint32_t level) const;
    void clear();

  private:
    std::string path_ = loggerFile("records");
    uint64_t from_ = 0;
};

// All records, one a line: EXPECT_TRUE(log.has(...)) << log;
std::ostream& operator<<(std::ostream& out, const LogCapture& log);
