// SQL text in a buffer of fixed size, the one way in which statements are formatted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Sizes of statement buffers, in bytes with the NUL.
constexpr size_t ORINDB_SQL_DELETE = 256;
constexpr size_t ORINDB_SQL_WHERE = 512;
constexpr size_t ORINDB_SQL_SELECT = 1024;
constexpr size_t ORINDB_SQL_JOIN = 2048;

// Formats into `out` (size bytes); without a format the text is empty, which is logged. A text that does not fit is cut
// and the cut logged; as a rule SQLite then refuses the statement, but a caller must keep a condition within its size.
void orindb_vformatSql(char* out, size_t size, const char* format, __builtin_va_list arguments)
    __attribute__((format(printf, 3, 0)));

template <size_t N>
class SqlText {
  public:
    __attribute__((format(printf, 2, 3))) explicit SqlText(const char* format, ...) {
        __builtin_va_list arguments;
        __builtin_va_start(arguments, format);
        orindb_vformatSql(text_, N, format, arguments);
        __builtin_va_end(arguments);
    }
    [[nodiscard]] const char* get() const {
        return text_;
    }

  private:
    char text_[N];
};
using DeleteText = SqlText<ORINDB_SQL_DELETE>;
using SelectText = SqlText<ORINDB_SQL_SELECT>;
using JoinText = SqlText<ORINDB_SQL_JOIN>;

// Whether two names are the same to SQLite, whatever the case of their letters.
[[nodiscard]] bool orindb_isSameName(std::string_view a, std::string_view b);

// Copies a text with every "'" doubled to out[size], so that it can stand between quotes in a statement. What does not
// fit is cut, never within a pair of quotes or a UTF-8 character.
void orindb_quoteSql(const char* text, char* out, uint32_t size);

template <uint32_t N>
class QuotedText {
  public:
    explicit QuotedText(const char* text) {
        orindb_quoteSql(text, text_, N);
    }
    [[nodiscard]] const char* get() const {
        return text_;
    }

  private:
    char text_[N];
};
