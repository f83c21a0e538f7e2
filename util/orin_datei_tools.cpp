#include "orin_datei_tools.h"

#include <sys/stat.h>

namespace {

// The kind of what is at the path (S_IFMT bits of its mode), 0 for nothing.
mode_t kindOf(const char* path) {
    struct stat status {};
    return path != nullptr && stat(path, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

}  // namespace

bool orin_fileExists(const char* path) {
    return kindOf(path) != 0;
}

bool orin_isRegularFile(const char* path) {
    return kindOf(path) == S_IFREG;
}

bool orin_isDirectory(const char* path) {
    return kindOf(path) == S_IFDIR;
}
