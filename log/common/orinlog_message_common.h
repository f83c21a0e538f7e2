// Log records: built on the caller's stack and handed to the kernel logger in one request.
//
// Where the logger device cannot be opened a record goes as text to the terminal, else to the console, else nowhere.
// Nothing here fails towards the caller, whatever argument is missing, or changes errno. Nor does it allocate memory,
// but for what the C library needs to read the time zone, once, for the first record that goes as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The record's wire format (little-endian, no padding).
struct OrinlogRecord {
    uint32_t seconds;  // real-time clock; this and `nanoseconds` are filled in here only on the text path
    uint32_t nanoseconds;
    int32_t minusOne;   // always -1 from a process
    uint32_t threadId;  // filled in here only on the text path
    uint8_t unused16[36];
    uint32_t category;
    uint32_t level;
    char file[32];      // without a NUL when 32 characters long
    char function[32];  // likewise
    uint32_t line;
    uint8_t unused128[44];
    uint32_t number;  // filled in by the kernel module
    uint32_t flags;
    uint32_t textLength;  // without the NUL
    char text[3912];      // NUL-terminated
};
constexpr uint32_t ORINLOG_RECORD_TRUNCATED = 1U << 0;
constexpr uint32_t ORINLOG_RECORD_SHOW_NUMBER = 1U << 3;
constexpr size_t ORINLOG_RECORD_HEADER_SIZE = offsetof(OrinlogRecord, text);
static_assert(offsetof(OrinlogRecord, category) == 52 && offsetof(OrinlogRecord, line) == 124);
static_assert(offsetof(OrinlogRecord, number) == 172 && ORINLOG_RECORD_HEADER_SIZE == 184);
static_assert(sizeof(OrinlogRecord) == 4096);

// The device control request that hands over a record; its argument is the record's address.
constexpr unsigned long ORINLOG_SUBMIT_REQUEST = 0x4004A400;

// Length of a name with its NUL, as orinlog_message wants it, 0 for none; a constant where the name is one.
constexpr uint32_t orinlog_nameLength(const char* name) {
    return name == nullptr ? 0 : static_cast<uint32_t>(__builtin_strlen(name)) + 1;
}

// Emits one record. The caller has asked orinlog_levelEnabled; the macros of orinlog.h do both.
//   file, fileLength          source file's name and its length with the NUL; of a length above 32 only the part behind
//                             the last '/' is kept, at most 32 bytes
//   function, functionLength  likewise; at most 32 bytes are kept
//   reserved                  0
// A message of more than 3911 characters is cut and marked as truncated. Returns 0.
int orinlog_message(uint32_t category, uint32_t level, const char* file, uint32_t fileLength, const char* function,
                    uint32_t functionLength, uint32_t line, uint32_t reserved, const char* format, ...)
    __attribute__((format(printf, 9, 10)));

// Emits one record for each piece of `buffer` (length bytes, no NUL needed) between delimiters: the formatted header
// text followed by the piece. A delimiter at the end starts no further piece. `flags` are the records' flags. Returns
// 0.
int orinlog_message_split_by_delim(uint32_t category, uint32_t level, uint32_t flags, const char* buffer, size_t length,
                                   char delimiter, const char* format, ...) __attribute__((format(printf, 7, 8)));

// Where the lines of the TLS library's error printing belong.
struct OrinlogOpensslContext {
    uint32_t category;
    uint32_t level;
    const char* file;
    int line;
    const char* function;
};

// A line callback for ERR_print_errors_cb: logs the text without its line feed as the place in `context` (an
// OrinlogOpensslContext). A missing text or context is ignored. Returns 0.
int orinlog_openssl_cb(const char* text, size_t length, void* context);
