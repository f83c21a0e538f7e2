// Tables of UTF-8 text on a terminal, aligned by what a character takes there, and cut to its width.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The text with everything that is no printable character replaced by "?": what comes from outside must not steer the
// terminal.
[[nodiscard]] std::string account_printable(std::string_view text);

// The text with every byte that is no part of a UTF-8 character replaced by "?".
[[nodiscard]] std::string account_validUtf8(std::string_view text);

// The width that the standard output has room for: that of its terminal, or what COLUMNS says; 0 for no limit.
[[nodiscard]] size_t account_outputWidth();

class TextTable {
  public:
    explicit TextTable(std::vector<std::string> headings);

    // One text for each heading.
    void addRow(std::vector<std::string> texts);

    // Prints headings and rows in so many columns (0: as many as it takes). The widest columns give way first.
    void print(size_t width) const;

  private:
    [[nodiscard]] std::vector<size_t> columnWidths(size_t width) const;

    std::vector<std::vector<std::string>> rows_;  // the headings are the first
};
