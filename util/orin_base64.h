// Base64 (RFC 4648), with the standard alphabet and with the one for addresses and file names.
//
// All functions append to a string buffer and return 0, or -1, logged under ORINLOG_CAT_OTHER, for a missing argument
// and when memory runs out (the buffer is then at the end of its use).
#pragma once

#include <cstddef>

struct orinStringBuffer;

// Appends the text of `count` bytes, padded with "=" to a multiple of four characters.
[[nodiscard]] int orin_base64_encode(const void* bytes, size_t count, orinStringBuffer* destination);

// The same with "-" and "_" for "+" and "/".
[[nodiscard]] int orin_base64url_encode(const void* bytes, size_t count, orinStringBuffer* destination);

// Appends the bytes that the text stands for. Either alphabet is understood; the padding may be missing. Returns -1,
// logged, with nothing appended, when the text is not Base64.
[[nodiscard]] int orin_base64_decode(const char* text, orinStringBuffer* destination);
