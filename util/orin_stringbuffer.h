// A growable text, for what is assembled without a known length: HTTP bodies, SQL statements, JSON.
//
// A buffer is either embedded in its user's record (orin_initStringBufferPreAlloc ... orin_freeStringBufferData) or an
// object of its own (orinStringBuffer_New ... orinStringBuffer_Delete). Functions return 0, or -1 on failure, unless
// their comment says otherwise. A missing argument, and memory that runs out, is logged as an error under
// ORINLOG_CAT_OTHER.
//
// A reservation that fails for lack of memory loses the text: `data` is none from then on while `length` and `capacity`
// keep their values. Every later append or truncation of such a buffer fails; it can only be freed (and then be used
// anew) or deleted.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>

struct orinStringBuffer {
    char* data;         // NUL-terminated storage, the buffer's own; none until the first reservation
    uint32_t length;    // characters before the terminating NUL
    uint32_t capacity;  // bytes of storage
};

// Bytes of a first reservation that asks for less.
constexpr uint32_t ORIN_STRINGBUFFER_FIRST_CAPACITY = 32;

// A new buffer object with `capacity` bytes reserved, or nullptr, logged. The caller's to delete.
[[nodiscard]] orinStringBuffer* orinStringBuffer_New(uint32_t capacity);

// Frees the storage and the object.
int orinStringBuffer_Delete(orinStringBuffer* sb);

// Makes an embedded buffer empty and reserves `capacity` bytes. What its fields held before is not looked at.
[[nodiscard]] int orin_initStringBufferPreAlloc(orinStringBuffer* sb, uint32_t capacity);

// Likewise, and appends the text. Without a text nothing is reserved.
[[nodiscard]] int orin_initStringBuffer(orinStringBuffer* sb, const char* text);

// Makes sure of `needed` bytes of storage, the NUL included. Storage grows by half its size, or to what is needed when
// that is more, and never shrinks.
[[nodiscard]] int orinStringBuffer_EnsureSize(orinStringBuffer* sb, uint32_t needed);

// Appends `count` bytes, which need no NUL and may contain some. REQUIRES: they do not lie in the buffer's own storage.
// A text that would pass 4 GiB - 1 is refused, logged, and the buffer stays as it was.
[[nodiscard]] int orin_appendToStringBuffer(orinStringBuffer* sb, const char* bytes, size_t count);

// Appends a text; a missing one appends nothing, which is no failure.
[[nodiscard]] int orin_appendStringToStringBuffer(orinStringBuffer* sb, const char* text);

// Replaces the text. The storage is given up for new storage; `text` may point into the old one.
[[nodiscard]] int orin_setStringBuffer(orinStringBuffer* sb, const char* text);

// Append what printf makes of the arguments, formatted directly behind the text after one measuring pass. REQUIRES:
// no argument lies in the buffer's own storage. When formatting fails the text stays as it was.
[[nodiscard]] int orin_stringbuffer_printf(orinStringBuffer* sb, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
[[nodiscard]] int orin_stringbuffer_vprintf(orinStringBuffer* sb, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// Cuts the text to `newLength` characters; a text that is not longer stays as it is.
int orin_truncateStringBuffer(orinStringBuffer* sb, uint32_t newLength);

// Empties the text and keeps the storage, which is returned (nullptr when there is none).
char* orin_clearStringBuffer(orinStringBuffer* sb);

// The text, the buffer's own; nullptr for a buffer that never reserved storage.
[[nodiscard]] char* orin_getStringBuffer(const orinStringBuffer* sb);

// Characters of the text; 0 for a missing buffer.
[[nodiscard]] uint32_t orin_getStringBufferLength(const orinStringBuffer* sb);

// Hands the text over to the caller, who frees it with free(), and leaves the buffer empty and without storage. Returns
// nullptr when there is no storage.
[[nodiscard]] char* orinStringBuffer_ExtractString(orinStringBuffer* sb);

// Frees the storage and leaves the buffer empty; it can be used again.
int orin_freeStringBufferData(orinStringBuffer* sb);

// A guard that owns a buffer object, and one that frees the storage of a buffer embedded in the current block.
struct orinStringBufferRelease {
    void operator()(orinStringBuffer* sb) const {
        orinStringBuffer_Delete(sb);
    }
};
using orinStringBufferPtr = std::unique_ptr<orinStringBuffer, orinStringBufferRelease>;

struct orinStringBufferDataRelease {
    void operator()(orinStringBuffer* sb) const {
        orin_freeStringBufferData(sb);
    }
};
using orinStringBufferData = std::unique_ptr<orinStringBuffer, orinStringBufferDataRelease>;
