#include "orindb_xml_text.h"

#include <array>

#include "orin_utf8.h"

namespace {

constexpr std::string_view HEX_DIGITS = "0123456789abcdef";
constexpr std::string_view ESCAPE_BEGIN = "_x";
// "_x" with two digits and "_".
constexpr size_t ESCAPE_SIZE = 5;
// An empty name.
constexpr std::string_view EMPTY_NAME = "_x_";

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A '_' that begins "_x" is escaped itself, so that decoding is unambiguous.
bool standsAsItIs(std::string_view name, size_t at) {
    const char c = name[at];
    if (c == '_') {
        return !name.substr(at).starts_with(ESCAPE_BEGIN);
    }
    return isLetter(c) || (at > 0 && (isDigit(c) || c == '-' || c == '.'));
}

int append(orinStringBuffer* out, std::string_view text) {
    return orin_appendToStringBuffer(out, text.data(), text.size());
}

std::string_view replacementOf(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\t':
            return "&#9;";
        case '\n':
            return "&#10;";
        case '\r':
            return "&#13;";
        default:
            return {};
    }
}

bool isXmlCharacter(uint32_t code) {
    constexpr uint32_t FIRST_PRINTABLE = 0x20;
    const bool isNonCharacter = code == 0xFFFE || code == 0xFFFF;
    return code == '\t' || code == '\n' || code == '\r' || (code >= FIRST_PRINTABLE && !isNonCharacter);
}

}  // namespace

int orindb_xmlAppendName(orinStringBuffer* out, std::string_view name) {
    if (name.empty()) {
        return append(out, EMPTY_NAME);
    }
    int result = 0;
    for (size_t i = 0; i < name.size() && result == 0; ++i) {
        if (standsAsItIs(name, i)) {
            result = append(out, name.substr(i, 1));
            continue;
        }
        const auto byte = static_cast<unsigned char>(name[i]);
        const std::array<char, ESCAPE_SIZE> escaped{'_', 'x', HEX_DIGITS[byte >> 4U], HEX_DIGITS[byte & 15U], '_'};
        result = append(out, std::string_view(escaped.data(), escaped.size()));
    }
    return result;
}

int orindb_xmlDecodeName(std::string_view element, orinStringBuffer* out) {
    if (element == EMPTY_NAME) {
        return 0;
    }
    for (size_t i = 0; i < element.size();) {
        if (!element.substr(i).starts_with(ESCAPE_BEGIN)) {
            if (append(out, element.substr(i, 1)) != 0) {
                return -1;
            }
            ++i;
            continue;
        }
        const std::string_view escaped = element.substr(i, ESCAPE_SIZE);
        const size_t high = escaped.size() == ESCAPE_SIZE ? HEX_DIGITS.find(escaped[2]) : std::string_view::npos;
        const size_t low = escaped.size() == ESCAPE_SIZE ? HEX_DIGITS.find(escaped[3]) : std::string_view::npos;
        if (high == std::string_view::npos || low == std::string_view::npos || escaped.back() != '_') {
            return -1;
        }
        const auto byte = static_cast<char>(high * HEX_DIGITS.size() + low);
        if (append(out, std::string_view(&byte, 1)) != 0) {
            return -1;
        }
        i += ESCAPE_SIZE;
    }
    return 0;
}

bool orindb_xmlCanHold(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const OrinUtf8Character character = orin_utf8_decode(text.data() + i, text.size() - i);
        if (character.length == 0 || !isXmlCharacter(character.code)) {
            return false;
        }
        i += character.length;
    }
    return true;
}

int orindb_xmlAppendEscaped(orinStringBuffer* out, std::string_view text) {
    size_t plainFrom = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::string_view replacement = replacementOf(text[i]);
        if (replacement.empty()) {
            continue;
        }
        if (append(out, text.substr(plainFrom, i - plainFrom)) != 0 || append(out, replacement) != 0) {
            return -1;
        }
        plainFrom = i + 1;
    }
    return append(out, text.substr(plainFrom));
}
