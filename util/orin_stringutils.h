// Copying and replacing in NUL-terminated texts.
//
// The bounded copy fills every fixed-size text field of the system's records; doubling quotes with the replacing copy
// makes a text fit to stand between quotes in SQL. Functions that return int give 0, or -1 on failure. A missing
// argument, memory that runs out and a destination that is too small are logged as errors under ORINLOG_CAT_OTHER.
#pragma once

#include <cstddef>
#include <cstdint>

// Copies at most size - 1 characters, fills the rest of `destination` (size bytes) with NULs and returns it. A null
// source counts as the empty text. A size below 1 copies nothing and is told on the standard error stream, with the
// caller's address.
char* orin_strncpy(char* destination, const char* source, int32_t size);

// The same into an array, whose size it takes from the type.
template <size_t N>
char* orin_strncpy(char (&destination)[N], const char* source) {
    static_assert(N <= INT32_MAX);
    return orin_strncpy(destination, source, static_cast<int32_t>(N));
}

// orin_strncpy, then a character that the copy cut in two is removed (orin_utf8_fix_tail).
char* orin_strncpy_utf8(char* destination, const char* source, int32_t size);

template <size_t N>
char* orin_strncpy_utf8(char (&destination)[N], const char* source) {
    static_assert(N <= INT32_MAX);
    return orin_strncpy_utf8(destination, source, static_cast<int32_t>(N));
}

// Copies `text` with every `filter` in it replaced, left to right and without overlap, to destination[destinationSize].
// `destination` may be `text` itself, but must not overlap it otherwise. An empty filter is found nowhere.
// Returns 0 when the result fits, and always when the filter does not occur: the text is then copied as far as it fits.
// Returns -1, logged: with the cut result when it does not fit; with an empty destination (unless it is the text,
// which then stays as it is) for a missing argument, a size of 0 (one byte is written all the same) and when memory
// runs out.
[[nodiscard]] int orin_copyAndReplaceString(const char* text, const char* filter, const char* replacement,
                                            char* destination, uint32_t destinationSize);

// The same in place: `text` has room for `size` bytes.
[[nodiscard]] int orin_replaceString(char* text, uint32_t size, const char* filter, const char* replacement);

// The same into new storage, which the caller frees with free(). Returns nullptr, logged, for a missing argument and
// when memory runs out.
[[nodiscard]] char* orin_dupAndReplaceString(const char* text, const char* filter, const char* replacement);

// Replaces every character `from` in place. Returns -1, logged, for a missing text.
int orin_replaceChar(char* text, char from, char to);

// Lays a phone number of more than 8 characters out for reading, in place, as "(0 30 12) 34 56 789". `text` has room
// for `size` bytes; what does not fit is cut. Returns -1, logged, for a missing argument and when memory runs out.
int orin_formatPhoneNumber(char* text, size_t size);

// Writes two lower-case hexadecimal digits for each byte and a NUL to destination[destinationSize]. Returns -1, logged,
// for a missing argument and when 2 * count + 1 bytes do not fit; the destination is then empty.
int orin_hexDump(const void* bytes, size_t count, char* destination, size_t destinationSize);
