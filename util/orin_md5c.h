// MD5 digests (RFC 1321) as 32 lower-case hexadecimal digits. They name files; nothing here is meant to be secure.
//
// Errors are logged under ORINLOG_CAT_OTHER.
#pragma once

#include <cstddef>

// Size of the caller's text, in bytes: 32 digits and the NUL.
constexpr size_t ORIN_MD5_TEXT_SIZE = 33;

// Writes the digest of the text (without its NUL) to out[ORIN_MD5_TEXT_SIZE]. Returns 0, or -1 with `out` empty for a
// missing argument or when the TLS library offers no MD5.
[[nodiscard]] int orin_MD5_GetHashOfString(const char* text, char* out);

// The same for the contents of a file, which is read in blocks. Returns 0, or -1 with `out` empty, and logged, when the
// file cannot be opened or read.
[[nodiscard]] int orin_MD5_GetHashOfFile(const char* path, char* out);
