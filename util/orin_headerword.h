// Text in mail headers: RFC 2047 encoded words.
#pragma once

struct orinStringBuffer;

// Appends `text`, which is in ISO-8859-1, as "=?ISO-8859-1?Q?...?=". A text too long for one line of 75 characters
// becomes several such words, on lines of their own that begin with a blank. Returns 0, or -1, logged under
// ORINLOG_CAT_OTHER, for a missing argument and when memory runs out (the buffer is then at the end of its use).
[[nodiscard]] int orin_encodeHeaderWord(const char* text, orinStringBuffer* destination);
