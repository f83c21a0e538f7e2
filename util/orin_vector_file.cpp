#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>

#include "orin_guards.h"
#include "orin_vector.h"
#include "orin_vector_item.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_vector_file.c"};

// What a file begins with: its kind and version. The number of items follows.
constexpr char FILE_START[] = "orinvector 1 ";
constexpr size_t FILE_START_LENGTH = sizeof(FILE_START) - 1;

// Writes all items and brings them to the disk.
bool writeItems(const OrinVector* vector, const char* path) {
    const File file(fopen(path, "we"));
    if (file == nullptr) {
        return false;
    }
    fprintf(file.get(), "%s%" PRIu32 "\n", FILE_START, vector->count);
    for (uint32_t i = 0; i < vector->count; i++) {
        const size_t size = orin_vectorItemSize(vector->items[i]);
        fprintf(file.get(), "%zu:", size);
        fwrite(vector->items[i], 1, size, file.get());
        putc('\n', file.get());
    }
    return ferror(file.get()) == 0 && fflush(file.get()) == 0 && fsync(fileno(file.get())) == 0;
}

// Reads digits and the character that must stand behind them.
bool readNumber(FILE* file, char end, uint64_t* number) {
    int digits = 0;
    int character = getc(file);
    for (*number = 0; character >= '0' && character <= '9' && digits < 10; character = getc(file)) {
        *number = *number * 10 + static_cast<uint64_t>(character - '0');
        digits++;
    }
    return digits > 0 && character == end;
}

// Reads one item, which cannot be larger than the file.
bool readItem(FILE* file, uint64_t fileSize, OrinVector* vector) {
    uint64_t size = 0;
    if (!readNumber(file, ':', &size) || size > fileSize) {
        return false;
    }
    const auto bytes = static_cast<size_t>(size);
    void* item = orin_getaddToVector(vector, bytes);
    return item != nullptr && fread(item, 1, bytes, file) == bytes && getc(file) == '\n';
}

// Reads the whole file. What has been read before a failure stays in the vector.
bool readItems(FILE* file, OrinVector* vector) {
    struct stat status = {};
    std::array<char, FILE_START_LENGTH> start;
    uint64_t count = 0;
    if (fstat(fileno(file), &status) != 0 || fread(start.data(), 1, start.size(), file) != start.size() ||
        memcmp(start.data(), FILE_START, start.size()) != 0 || !readNumber(file, '\n', &count)) {
        return false;
    }
    for (; count > 0; count--) {
        if (!readItem(file, static_cast<uint64_t>(status.st_size), vector)) {
            return false;
        }
    }
    return getc(file) == EOF && ferror(file) == 0;
}

}  // namespace

int orin_VectorToFile(const OrinVector* vector, const char* path) {
    if (vector == nullptr || vector->items == nullptr || path == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p path=%s", static_cast<const void*>(vector), path);
        return -1;
    }
    std::array<char, PATH_MAX> newPath;
    const int length = snprintf(newPath.data(), newPath.size(), "%s.new", path);
    if (length < 0 || static_cast<size_t>(length) >= newPath.size()) {
        ORINLOG_FN(ORINLOG_ERROR, "path too long: %s", path);
        return -1;
    }
    if (!writeItems(vector, newPath.data()) || rename(newPath.data(), path) != 0) {
        ORINLOG_FN(ORINLOG_ERROR, "writing %s failed: %s", path, strerror(errno));
        unlink(newPath.data());
        return -1;
    }
    return 0;
}

int orin_VectorFromFile(OrinVector* vector, const char* path) {
    if (vector == nullptr || vector->items == nullptr || path == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p path=%s", static_cast<void*>(vector), path);
        return -1;
    }
    const File file(fopen(path, "re"));
    if (file == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "opening %s failed: %s", path, strerror(errno));
        return -1;
    }
    OrinVector read;
    if (orin_createVector(&read) != 0) {
        return -1;
    }
    if (!readItems(file.get(), &read)) {
        ORINLOG_FN(ORINLOG_ERROR, "%s is damaged or cannot be read, at position %ld", path, ftell(file.get()));
        orin_destroyVector(&read);
        return -1;
    }
    orin_destroyVector(vector);
    *vector = read;
    return 0;
}
