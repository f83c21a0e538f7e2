// Thin wrappers of the C library's file functions. They log nothing: their callers know what a failure means.
#pragma once

#include <cstdint>
#include <cstdio>

// Opens `path` as fopen does. Returns 1 with the handle in *file, the caller's to close with orin_fclose, or 0 with
// *file set to nullptr and errno telling why.
[[nodiscard]] uint8_t orin_fopen(FILE** file, const char* path, const char* mode);

// Closes the handle and sets it to nullptr. REQUIRES: a handle. Without one the process ends, also in a release build:
// a second close would tear down a file that is somebody else's by now. Whoever has written and needs to know that
// everything arrived flushes first.
void orin_fclose(FILE** ptr);

// Removes a file or an empty directory. Returns 1 when it is removed, else 0 with errno telling why.
uint8_t orin_remove(const char* path);
