#include "text_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <numeric>

#include "orin_utf8.h"

namespace {

constexpr size_t GAP = 2;
// A column is not made narrower than this.
constexpr size_t MIN_WIDTH = 4;
constexpr const char* ELLIPSIS = "\u2026";

// Columns of a character; negative for one that is not printable. A system without a UTF-8 locale knows nothing beyond
// ASCII: there every other character but the control characters counts as one column.
int characterWidth(uint32_t code) {
    constexpr uint32_t AFTER_CONTROLS = 0xA0;
    static const bool knowsAll = MB_CUR_MAX > 1;
    return knowsAll || code < AFTER_CONTROLS ? wcwidth(static_cast<wchar_t>(code)) : 1;
}

// How much of a printable text fits into so many columns.
struct Extent {
    size_t bytes;
    size_t columns;
};
Extent measure(std::string_view text, size_t limit) {
    Extent extent{0, 0};
    while (extent.bytes < text.size()) {
        const OrinUtf8Character next = orin_utf8_decode(text.data() + extent.bytes, text.size() - extent.bytes);
        const auto columns = static_cast<size_t>(std::max(characterWidth(next.code), 0));
        if (extent.columns + columns > limit) {
            break;
        }
        extent.columns += columns;
        extent.bytes += std::max<size_t>(next.length, 1);
    }
    return extent;
}

// Columns that a printable text takes.
size_t textWidth(std::string_view text) {
    return measure(text, SIZE_MAX).columns;
}

// The printable text, cut to so many columns (at least 1) with an ellipsis at its end.
std::string cutText(const std::string& text, size_t width) {
    const size_t fitting = measure(text, width).bytes;
    return fitting == text.size() ? text : text.substr(0, measure(text, width - 1).bytes) + ELLIPSIS;
}

// The text with a "?" for each character that may not be there, and for each byte that is part of none.
template <typename MayBe>
std::string replaceOthers(std::string_view text, MayBe mayBe) {
    std::string result;
    while (!text.empty()) {
        const OrinUtf8Character next = orin_utf8_decode(text.data(), text.size());
        const size_t length = std::max<size_t>(next.length, 1);
        if (next.length == 0 || !mayBe(next.code)) {
            result += '?';
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return result;
}

}  // namespace

std::string account_printable(std::string_view text) {
    return replaceOthers(text, [](uint32_t code) { return characterWidth(code) >= 0; });
}

std::string account_validUtf8(std::string_view text) {
    return replaceOthers(text, [](uint32_t) { return true; });
}

size_t account_outputWidth() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    const char* columns = getenv("COLUMNS");
    size_t width = 0;
    if (columns != nullptr) {
        std::from_chars(columns, columns + strlen(columns), width);
    }
    return width;
}

TextTable::TextTable(std::vector<std::string> headings) {
    rows_.push_back(std::move(headings));
}

void TextTable::addRow(std::vector<std::string> texts) {
    for (std::string& text : texts) {
        text = account_printable(text);
    }
    rows_.push_back(std::move(texts));
}

std::vector<size_t> TextTable::columnWidths(size_t width) const {
    std::vector<size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], textWidth(row[column]));
        }
    }
    size_t total = std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * GAP);
    for (; width != 0 && total > width; --total) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= MIN_WIDTH) {
            break;
        }
        --*widest;
    }
    return widths;
}

void TextTable::print(size_t width) const {
    const std::vector<size_t> widths = columnWidths(width);
    for (const auto& row : rows_) {
        std::string line;
        size_t blanks = 0;  // not printed at the end of a line
        for (size_t column = 0; column < row.size(); ++column) {
            const std::string text = cutText(row[column], widths[column]);
            if (!text.empty()) {
                line.append(blanks, ' ').append(text);
                blanks = 0;
            }
            blanks += widths[column] - textWidth(text) + GAP;
        }
        puts(line.c_str());
    }
}
