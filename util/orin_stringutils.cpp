#include "orin_stringutils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "orin_memory.h"
#include "orin_stringbuffer.h"
#include "orin_utf8.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_stringutils.c"};

// A phone number that is longer than this is laid out.
constexpr size_t SHORT_PHONE_NUMBER = 8;

const char* findFilter(const char* text, const char* filter) {
    return *filter == '\0' ? nullptr : strstr(text, filter);
}

// Appends the text with the filter replaced. `match` is where the filter occurs first, nullptr for nowhere.
int appendReplaced(orinStringBuffer* sb, const char* text, const char* match, const char* filter,
                   const char* replacement) {
    const size_t filterLength = strlen(filter);
    for (; match != nullptr; match = findFilter(text, filter)) {
        if (orin_appendToStringBuffer(sb, text, static_cast<size_t>(match - text)) != 0 ||
            orin_appendStringToStringBuffer(sb, replacement) != 0) {
            return -1;
        }
        text = match + filterLength;
    }
    return orin_appendStringToStringBuffer(sb, text);
}

int32_t copySize(uint32_t size) {
    return static_cast<int32_t>(std::min<uint32_t>(size, INT32_MAX));
}

}  // namespace

char* orin_strncpy(char* destination, const char* source, int32_t size) {
    if (size < 1) {
        fprintf(stderr, "%s: ungueltiger Aufruf mit size = %d durch %p!", __func__, size, __builtin_return_address(0));
        return destination;
    }
    if (destination == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "destination == NULL");
        return nullptr;
    }
    const auto bytes = static_cast<size_t>(size);
    strncpy(destination, source == nullptr ? "" : source, bytes);
    destination[bytes - 1] = '\0';
    return destination;
}

char* orin_strncpy_utf8(char* destination, const char* source, int32_t size) {
    orin_strncpy(destination, source, size);
    if (size >= 1) {
        orin_utf8_fix_tail(destination);
    }
    return destination;
}

int orin_copyAndReplaceString(const char* text, const char* filter, const char* replacement, char* destination,
                              uint32_t destinationSize) {
    const auto fail = [destination, text] {
        if (destination != nullptr && destination != text) {
            *destination = '\0';
        }
        return -1;
    };
    if (text == nullptr || filter == nullptr || replacement == nullptr || destination == nullptr ||
        destinationSize == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "missing argument");
        return fail();
    }
    const char* match = findFilter(text, filter);
    if (match == nullptr) {
        if (destination != text) {
            orin_strncpy(destination, text, copySize(destinationSize));
        }
        return 0;
    }
    const orinStringBufferPtr replaced(orinStringBuffer_New(destinationSize));
    if (replaced == nullptr || appendReplaced(replaced.get(), text, match, filter, replacement) != 0) {
        return fail();
    }
    const bool fits = replaced->length < destinationSize;
    if (!fits) {
        ORINLOG_FN(ORINLOG_ERROR, "Zielbuffer zu klein: filter=%s replace=%s destSize=%i text=%s", filter, replacement,
                   destinationSize, text);
    }
    orin_strncpy(destination, replaced->data, copySize(destinationSize));
    return fits ? 0 : -1;
}

int orin_replaceString(char* text, uint32_t size, const char* filter, const char* replacement) {
    return orin_copyAndReplaceString(text, filter, replacement, text, size);
}

char* orin_dupAndReplaceString(const char* text, const char* filter, const char* replacement) {
    if (text == nullptr || filter == nullptr || replacement == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "missing argument");
        return nullptr;
    }
    // As if the text were nothing but filters. What stands between them may need more: the buffer then grows.
    const size_t evenLength = (strlen(text) + 1) & ~size_t{1};
    const uint64_t matches = evenLength / std::max<size_t>(strlen(filter), 1);
    const uint64_t estimate = strlen(replacement) * matches + 1;

    orinStringBuffer result = {};
    const orinStringBufferData guard(&result);
    if (orin_initStringBufferPreAlloc(&result, static_cast<uint32_t>(std::min<uint64_t>(estimate, UINT32_MAX))) != 0 ||
        appendReplaced(&result, text, findFilter(text, filter), filter, replacement) != 0) {
        return nullptr;
    }
    return orinStringBuffer_ExtractString(&result);
}

int orin_replaceChar(char* text, char from, char to) {
    if (text == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "missing argument");
        return -1;
    }
    for (; *text != '\0'; text++) {
        if (*text == from) {
            *text = to;
        }
    }
    return 0;
}

int orin_formatPhoneNumber(char* text, size_t size) {
    if (text == nullptr || size == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "text=%p size=%zu", static_cast<void*>(text), size);
        return -1;
    }
    if (strlen(text) <= SHORT_PHONE_NUMBER) {
        return 0;
    }
    const Malloced<char> number(strdup(text));
    if (number == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s kein Speicher", __func__);
        return -1;
    }
    const char* digits = number.get();
    snprintf(text, size, "(%.1s %.2s %.2s) %.2s %.2s %s", digits, digits + 1, digits + 3, digits + 5, digits + 7,
             digits + 9);
    return 0;
}

int orin_hexDump(const void* bytes, size_t count, char* destination, size_t destinationSize) {
    const bool fits = destinationSize > 0 && count <= (destinationSize - 1) / 2;
    if (bytes == nullptr || destination == nullptr || !fits) {
        ORINLOG_FN(ORINLOG_ERROR, "bytes=%p count=%zu destination=%p size=%zu", bytes, count,
                   static_cast<void*>(destination), destinationSize);
        if (destination != nullptr && destinationSize > 0) {
            *destination = '\0';
        }
        return -1;
    }
    *destination = '\0';
    const auto* byte = static_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < count; i++) {
        snprintf(destination + 2 * i, 3, "%02x", byte[i]);
    }
    return 0;
}
