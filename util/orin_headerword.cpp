#include "orin_headerword.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "orin_stringbuffer.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_headerword.c"};

constexpr char WORD_START[] = "=?ISO-8859-1?Q?";
constexpr char WORD_END[] = "?=";
constexpr char NEXT_WORD[] = "?=\r\n =?ISO-8859-1?Q?";

// Characters of a line, and how many of them a word's text may have: every line but the first begins with a blank.
constexpr size_t LINE_LENGTH = 75;
constexpr size_t WORD_TEXT_LENGTH = LINE_LENGTH - 1 - (sizeof(WORD_START) - 1) - (sizeof(WORD_END) - 1);

// Characters that stand for themselves wherever an encoded word may stand.
constexpr char PLAIN[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!*+-/";

// "x", "_" for the blank, or "=XX".
using EncodedCharacter = std::array<char, 4>;

EncodedCharacter encodeCharacter(char character) {
    if (character == ' ') {
        return {'_'};
    }
    if (strchr(PLAIN, character) != nullptr) {
        return {character};
    }
    EncodedCharacter encoded = {};
    snprintf(encoded.data(), encoded.size(), "=%02X", static_cast<unsigned char>(character));
    return encoded;
}

}  // namespace

int orin_encodeHeaderWord(const char* text, orinStringBuffer* destination) {
    if (text == nullptr || destination == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "text=%p destination=%p", static_cast<const void*>(text),
                   static_cast<void*>(destination));
        return -1;
    }
    int result = orin_appendStringToStringBuffer(destination, WORD_START);
    size_t used = 0;
    for (; *text != '\0' && result == 0; text++) {
        const EncodedCharacter encoded = encodeCharacter(*text);
        const size_t length = strlen(encoded.data());
        if (used + length > WORD_TEXT_LENGTH) {
            result = orin_appendStringToStringBuffer(destination, NEXT_WORD);
            used = 0;
        }
        if (result == 0) {
            result = orin_appendToStringBuffer(destination, encoded.data(), length);
        }
        used += length;
    }
    return result != 0 ? -1 : orin_appendStringToStringBuffer(destination, WORD_END);
}
