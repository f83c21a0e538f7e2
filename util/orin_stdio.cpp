// The assertion below holds in every build.
#undef NDEBUG
#include "orin_stdio.h"

#include <cassert>
#include <cerrno>

uint8_t orin_fopen(FILE** file, const char* path, const char* mode) {
    if (file == nullptr) {
        return 0;
    }
    *file = nullptr;
    if (path == nullptr || mode == nullptr) {
        errno = EINVAL;
        return 0;
    }
    *file = fopen(path, mode);
    return *file != nullptr ? 1 : 0;
}

void orin_fclose(FILE** ptr) {
    if (ptr == nullptr || *ptr == nullptr) {
        // The text is what the PBX's crash reports are searched for; a formatter would change it in an assert().
        __assert_fail("*ptr != ((void *)0)", "orin_stdio.c", __LINE__, __func__);
    }
    fclose(*ptr);
    *ptr = nullptr;
}

uint8_t orin_remove(const char* path) {
    return path != nullptr && remove(path) == 0 ? 1 : 0;
}
