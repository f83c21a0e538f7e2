#include "orin_stringbuffer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orin_memory.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_stringbuffer.c"};

constexpr uint32_t GROWTH_PERCENT = 50;

// Reserves storage for `count` characters behind the text, and the NUL.
int reserveBehind(orinStringBuffer* sb, size_t count) {
    if (sb->data == nullptr && sb->capacity != 0) {
        return -1;  // the text was lost, and that logged, in an earlier reservation
    }
    if (count >= UINT32_MAX - sb->length) {
        ORINLOG_FN(ORINLOG_ERROR, "sb=%p length=%u: %zu more bytes are too many", static_cast<void*>(sb), sb->length,
                   count);
        return -1;
    }
    return orinStringBuffer_EnsureSize(sb, sb->length + static_cast<uint32_t>(count) + 1);
}

}  // namespace

orinStringBuffer* orinStringBuffer_New(uint32_t capacity) {
    auto* sb = static_cast<orinStringBuffer*>(calloc(1, sizeof(orinStringBuffer)));
    if (sb == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s kein Speicher", __func__);
        return nullptr;
    }
    if (orin_initStringBufferPreAlloc(sb, capacity) != 0) {
        ORINLOG(ORINLOG_ERROR, "%s[%p] Fehler beim Initialisieren", __func__, static_cast<void*>(sb));
        free(sb);
        return nullptr;
    }
    return sb;
}

int orinStringBuffer_Delete(orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s[%p] Parameter ungueltig", __func__, static_cast<void*>(sb));
        return -1;
    }
    free(sb->data);
    free(sb);
    return 0;
}

int orin_initStringBufferPreAlloc(orinStringBuffer* sb, uint32_t capacity) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return -1;
    }
    *sb = {};
    return orinStringBuffer_EnsureSize(sb, capacity);
}

int orin_initStringBuffer(orinStringBuffer* sb, const char* text) {
    // The append reserves strlen(text) + 1 by itself.
    return orin_initStringBufferPreAlloc(sb, 0) != 0 ? -1 : orin_appendStringToStringBuffer(sb, text);
}

int orinStringBuffer_EnsureSize(orinStringBuffer* sb, uint32_t needed) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return -1;
    }
    if (sb->capacity >= needed) {
        return 0;
    }
    if (sb->data == nullptr && sb->capacity != 0) {
        return -1;  // the text was lost, and that logged, in an earlier reservation
    }
    uint64_t grown = ORIN_STRINGBUFFER_FIRST_CAPACITY;
    if (sb->capacity != 0) {
        grown = sb->capacity + uint64_t{sb->capacity} * GROWTH_PERCENT / 100;
    }
    const auto capacity = static_cast<uint32_t>(std::clamp<uint64_t>(grown, needed, UINT32_MAX));

    // The text is given up when memory runs out: its owner is to stop here, not to go on with half of it.
    char* old = sb->data;
    sb->data = static_cast<char*>(realloc(old, capacity));
    if (sb->data == nullptr) {
        free(old);
        ORINLOG_FN(ORINLOG_ERROR, "realloc failed: out of memory");
        return -1;
    }
    if (sb->capacity == 0) {
        sb->data[0] = '\0';
    }
    sb->capacity = capacity;
    return 0;
}

int orin_appendToStringBuffer(orinStringBuffer* sb, const char* bytes, size_t count) {
    if (sb == nullptr || bytes == nullptr) {
        // The bytes need not end with a NUL, so a copy of them is shown.
        const Malloced<char> shown(bytes == nullptr ? nullptr : strndup(bytes, count));
        ORINLOG_FN(ORINLOG_ERROR, "sb=%p stringToAppend=%s", static_cast<void*>(sb), shown.get());
        return -1;
    }
    if (reserveBehind(sb, count) != 0) {
        return -1;
    }
    memcpy(sb->data + sb->length, bytes, count);
    sb->length += static_cast<uint32_t>(count);
    sb->data[sb->length] = '\0';
    return 0;
}

int orin_appendStringToStringBuffer(orinStringBuffer* sb, const char* text) {
    if (sb != nullptr && text == nullptr) {
        return 0;
    }
    return orin_appendToStringBuffer(sb, text, text == nullptr ? 0 : strlen(text));
}

int orin_setStringBuffer(orinStringBuffer* sb, const char* text) {
    if (sb == nullptr || text == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb=%p stringToSet=%s", static_cast<void*>(sb), text);
        return -1;
    }
    const Malloced<char> old(orinStringBuffer_ExtractString(sb));  // kept so long: the new text may be a part of it
    return orin_appendStringToStringBuffer(sb, text);
}

int orin_stringbuffer_printf(orinStringBuffer* sb, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = orin_stringbuffer_vprintf(sb, format, arguments);
    va_end(arguments);
    return result;
}

int orin_stringbuffer_vprintf(orinStringBuffer* sb, const char* format, va_list arguments) {
    if (sb == nullptr || format == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb=%p format=%s", static_cast<void*>(sb), format);
        return -1;
    }
    va_list measured;
    va_copy(measured, arguments);
    const int measure = vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (measure < 0) {
        ORINLOG_FN(ORINLOG_ERROR, "vsnprintf failed: cannot determine length for format=%s", format);
        return -1;
    }
    if (measure == 0) {
        return orin_appendStringToStringBuffer(sb, "");
    }
    const auto size = static_cast<size_t>(measure);
    if (reserveBehind(sb, size) != 0) {
        return -1;
    }
    const int written = vsnprintf(sb->data + sb->length, size + 1, format, arguments);
    if (written < 0) {
        sb->data[sb->length] = '\0';
        ORINLOG_FN(ORINLOG_ERROR, "vsnprintf failed: format=%s", format);
        return -1;
    }
    sb->length += static_cast<uint32_t>(written);
    return 0;
}

int orin_truncateStringBuffer(orinStringBuffer* sb, uint32_t newLength) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb=%p", static_cast<void*>(sb));
        return -1;
    }
    if (newLength >= sb->length) {
        return 0;
    }
    // The storage of a longer text is there already, unless the text was lost.
    if (sb->data == nullptr || orinStringBuffer_EnsureSize(sb, newLength + 1) != 0) {
        return -1;
    }
    sb->data[newLength] = '\0';
    sb->length = newLength;
    return 0;
}

char* orin_clearStringBuffer(orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return nullptr;
    }
    if (sb->data != nullptr) {
        sb->data[0] = '\0';
        sb->length = 0;
    }
    return sb->data;
}

char* orin_getStringBuffer(const orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return nullptr;
    }
    return sb->data;
}

uint32_t orin_getStringBufferLength(const orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return 0;
    }
    return sb->length;
}

char* orinStringBuffer_ExtractString(orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s[%p] Parameter ungueltig", __func__, static_cast<void*>(sb));
        return nullptr;
    }
    char* text = sb->data;
    *sb = {};
    return text;
}

int orin_freeStringBufferData(orinStringBuffer* sb) {
    if (sb == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "sb==NULL");
        return -1;
    }
    free(orinStringBuffer_ExtractString(sb));
    return 0;
}
