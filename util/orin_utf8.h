// UTF-8: repairing a text that was cut at a byte limit, checking one, and comparing two.
//
// Faults are logged under ORINLOG_CAT_OTHER at level 2 (warning). The comparison is the collation of the databases:
// whoever changes its order has to see to the indexes that were built with the old one.
#pragma once

#include <cstddef>
#include <cstdint>

// Removes what a cut has left at the end of a text: an incomplete character, or continuation bytes that belong to none.
// A text that begins with a continuation byte becomes empty. Only the last character is looked at.
void orin_utf8_fix_tail(char* text);

// Walks the text and logs the first byte that no UTF-8 text can have there: overlong forms, surrogates and characters
// beyond U+10FFFF count as faults. Returns 0 for a text without fault, -1 otherwise and for a missing text.
int orin_utf8_check(const char* text);

// One character of a text, or the fault found in its place.
struct OrinUtf8Character {
    uint32_t code;   // U+0000..U+10FFFF; the first byte when there is no character
    uint8_t length;  // bytes of the character; 0 when there is none
    uint8_t fault;   // then: 0 when the first byte cannot start a character, n when the n-th byte behind it is wrong
};

// Decodes the character at the beginning of the text. REQUIRES: length > 0.
[[nodiscard]] OrinUtf8Character orin_utf8_decode(const char* text, size_t length);

enum class OrinCase : uint8_t { sensitive, insensitive };

// The character that stands for all its case forms: simple case folding of the Latin, Greek, Cyrillic and Armenian
// letters up to U+0556 and of the Latin ones of U+1E00..U+1EFE (Latin Extended Additional). Every other character is
// returned as it is, be it one with case, as in the later Latin and Cyrillic blocks, or a polytonic Greek or fullwidth
// letter, or the Kelvin sign.
[[nodiscard]] uint32_t orin_utf8_fold(uint32_t code);

// Compares character by character, by code, `insensitive` by the folded code. Bytes that are no part of a character are
// compared one by one and stand behind all characters; a text stands behind its own beginnings. Lengths are in bytes; a
// NUL ends nothing and is not needed. A null text counts as empty. Returns -1, 0 or 1 (a before, equal to, behind b).
[[nodiscard]] int orin_utf8_compare(const char* a, size_t aLength, const char* b, size_t bLength, OrinCase caseMode);
