#include "orin_utf8.h"

#include <bit>
#include <cstring>

#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_utf8.c"};

uint8_t byteAt(const char* text, size_t position) {
    return static_cast<uint8_t>(text[position]);
}

bool isContinuation(uint8_t byte) {
    return (byte & 0xC0U) == 0x80U;
}

// Bytes of the character that this byte starts, 0 when it cannot start one. C0, C1 and F5 to FF stand in no UTF-8 text.
uint8_t sequenceLength(uint8_t lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return static_cast<uint8_t>(std::countl_one(lead));
}

// Whether `second` may follow `lead`: some lead bytes take only a part of the continuation bytes.
bool isSecond(uint8_t lead, uint8_t second) {
    switch (lead) {
        case 0xE0:  // below: overlong
            return second >= 0xA0 && second <= 0xBF;
        case 0xED:  // above: surrogates
            return second >= 0x80 && second <= 0x9F;
        case 0xF0:  // below: overlong
            return second >= 0x90 && second <= 0xBF;
        case 0xF4:  // above: beyond U+10FFFF
            return second >= 0x80 && second <= 0x8F;
        default:
            return isContinuation(second);
    }
}

}  // namespace

OrinUtf8Character orin_utf8_decode(const char* text, size_t length) {
    const uint8_t lead = byteAt(text, 0);
    if (lead < 0x80) {
        return {lead, 1, 0};
    }
    const uint8_t needed = sequenceLength(lead);
    if (needed == 0) {
        return {lead, 0, 0};
    }
    uint32_t code = lead & (0x7FU >> needed);
    for (uint8_t i = 1; i < needed; i++) {
        if (i >= length || !(i == 1 ? isSecond(lead, byteAt(text, i)) : isContinuation(byteAt(text, i)))) {
            return {lead, 0, i};
        }
        code = (code << 6U) | (byteAt(text, i) & 0x3FU);
    }
    return {code, needed, 0};
}

int orin_utf8_check(const char* text) {
    if (text == nullptr) {
        ORINLOG_FN(ORINLOG_WARNING, "text==NULL");
        return -1;
    }
    const size_t length = strlen(text);
    for (size_t position = 0; position < length;) {
        const OrinUtf8Character character = orin_utf8_decode(text + position, length - position);
        if (character.length == 0) {
            // Where the text ends too soon this is its NUL.
            const size_t at = position + character.fault;
            if (character.fault == 0) {
                ORINLOG(ORINLOG_WARNING, "UTF-8 error: illegal start byte 0x%x at position %d", byteAt(text, at),
                        static_cast<int>(at));
            } else {
                ORINLOG(ORINLOG_WARNING, "UTF-8 error: illegal continuation byte 0x%x at position %d", byteAt(text, at),
                        static_cast<int>(at));
            }
            return -1;
        }
        position += character.length;
    }
    return 0;
}

void orin_utf8_fix_tail(char* text) {
    if (text == nullptr || *text == '\0') {
        return;
    }
    const void* where = text;
    if (isContinuation(byteAt(text, 0))) {
        ORINLOG(ORINLOG_WARNING, "UTF-8 string at %p: clearing initial continuation byte 0x%02x", where,
                byteAt(text, 0));
        *text = '\0';
        return;
    }
    const size_t length = strlen(text);
    size_t lead = length - 1;
    while (isContinuation(byteAt(text, lead))) {  // ends at the first byte, which is none
        lead--;
    }
    const auto leadingOnes = static_cast<size_t>(std::countl_one(byteAt(text, lead)));
    const size_t sequence = leadingOnes == 0 ? 1 : leadingOnes;  // plain ASCII is one byte
    const size_t behind = lead + sequence;
    if (length < behind) {
        ORINLOG(ORINLOG_WARNING,
                "UTF-8 string at %p: clearing incomplete UTF-8 character (start byte 0x%02x) at position %d", where,
                byteAt(text, lead), static_cast<int>(lead));
        text[lead] = '\0';
    } else if (length > behind && leadingOnes == 0) {
        ORINLOG(ORINLOG_WARNING, "UTF-8 string at %p: clearing illegal UTF-8 continuation byte 0x%02x at position %d",
                where, byteAt(text, behind), static_cast<int>(behind));
        text[behind] = '\0';
    } else if (length > behind) {
        ORINLOG(ORINLOG_WARNING, "UTF-8 string at %p: clearing invalid continuation byte 0x%02x at position %d", where,
                byteAt(text, behind), static_cast<int>(behind));
        text[behind] = '\0';
    }
}
