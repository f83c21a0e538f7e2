// A stand-in of the kernel logger, to be preloaded: /dev/orin/logger is the file levels in the folder ORIN_LOGGER_DIR,
// and what is submitted to it is appended to the file records, each record behind its length (32 bits, native order).
//
// The levels are made on demand, with ORIN_LOGGER_LEVEL (default 5) for every category. Without ORIN_LOGGER_DIR all
// calls go through. Nothing here allocates or waits: records are submitted from signal handlers and forked children.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/orinlog_message_common.h"
#include "orinlog_level_user.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr const char* DEVICE_PATH = "/dev/orin/logger";
constexpr uint32_t DEFAULT_LEVEL = ORINLOG_EDEBUG;
constexpr mode_t FILE_MODE = 0666;
constexpr mode_t FOLDER_MODE = 0777;
constexpr size_t PATH_SIZE = 512;

// Read once, before main: the environment may change under a signal handler.
char folderPath[PATH_SIZE];
char levelsPath[PATH_SIZE + 16];
char recordsPath[PATH_SIZE + 16];
uint32_t defaultLevel = DEFAULT_LEVEL;
bool present = false;
// Which file submitted records must come through.
std::atomic<ino64_t> levelsInode{0};

__attribute__((constructor)) void readSettings() {
    const char* folder = getenv("ORIN_LOGGER_DIR");
    if (folder == nullptr || *folder == '\0') {
        return;
    }
    const char* level = getenv("ORIN_LOGGER_LEVEL");
    if (level != nullptr && *level != '\0') {
        defaultLevel = static_cast<uint32_t>(strtoul(level, nullptr, 10));
    }
    snprintf(folderPath, sizeof(folderPath), "%s", folder);
    snprintf(levelsPath, sizeof(levelsPath), "%s/levels", folderPath);
    snprintf(recordsPath, sizeof(recordsPath), "%s/records", folderPath);
    present = true;
}

// The next definition of a function behind this library's own.
template <typename Function>
Function* next(std::atomic<Function*>& known, const char* name) {
    Function* function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

using OpenFunction = int(const char*, int, ...);
using OpenAtFunction = int(int, const char*, int, ...);
using IoctlFunction = int(int, unsigned long, ...);
std::atomic<OpenFunction*> nextOpen{nullptr};
std::atomic<OpenFunction*> nextOpen64{nullptr};
std::atomic<OpenAtFunction*> nextOpenAt{nullptr};
std::atomic<OpenAtFunction*> nextOpenAt64{nullptr};
std::atomic<IoctlFunction*> nextIoctl{nullptr};

int realOpen(const char* path, int flags, mode_t mode) {
    return next(nextOpen, "open")(path, flags, mode);
}

// dlsym must not run first in a signal handler.
__attribute__((constructor)) void findNextFunctions() {
    next(nextOpen, "open");
    next(nextOpen64, "open64");
    next(nextOpenAt, "openat");
    next(nextOpenAt64, "openat64");
    next(nextIoctl, "ioctl");
}

// Nobody may see a file that is not yet whole: it is written under another name and linked to its own.
void makeLevels() {
    mkdir(folderPath, FOLDER_MODE);
    char draft[sizeof(levelsPath) + 32];
    snprintf(draft, sizeof(draft), "%s.%d.%d", levelsPath, getpid(), gettid());
    const int file = realOpen(draft, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE);
    if (file < 0) {
        return;
    }
    OrinlogSharedLevels shared{};
    shared.layoutId = ORINLOG_LAYOUT_ID;
    shared.categoryListId = ORINLOG_CATEGORY_LIST_ID;
    shared.levels[ORINLOG_CAT_OTHER] = defaultLevel;
    if (write(file, &shared, sizeof(shared)) == static_cast<ssize_t>(sizeof(shared))) {
        [[maybe_unused]] const int lost = link(draft, levelsPath);
    }
    unlink(draft);
    close(file);
}

int openLevels(int flags) {
    const int savedErrno = errno;
    int file = realOpen(levelsPath, flags, 0);
    if (file < 0 && errno == ENOENT) {
        makeLevels();
        file = realOpen(levelsPath, flags, 0);
    }
    struct stat64 status {};
    if (file >= 0 && fstat64(file, &status) == 0) {
        levelsInode.store(status.st_ino);
        errno = savedErrno;
    }
    return file;
}

int appendRecord(int device, void* argument) {
    struct stat64 status {};
    if (fstat64(device, &status) != 0 || status.st_ino != levelsInode.load()) {
        errno = ENOTTY;
        return -1;
    }
    const int savedErrno = errno;
    const auto* record = static_cast<const OrinlogRecord*>(argument);
    if (record->textLength >= sizeof(record->text)) {
        errno = EINVAL;
        return -1;
    }
    uint32_t size = ORINLOG_RECORD_HEADER_SIZE + record->textLength + 1;
    const int file = realOpen(recordsPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, FILE_MODE);
    if (file < 0) {
        return -1;
    }
    const iovec parts[] = {{&size, sizeof(size)}, {argument, size}};
    const bool written = writev(file, parts, 2) == static_cast<ssize_t>(sizeof(size) + size);
    close(file);
    if (written) {
        errno = savedErrno;
    }
    return written ? 0 : -1;
}

bool isDevice(const char* path) {
    return present && path != nullptr && strcmp(path, DEVICE_PATH) == 0;
}

bool isSubmission(unsigned long request) {
    return present && request == ORINLOG_SUBMIT_REQUEST;
}

mode_t readMode(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

#define DEFINE_OPEN(name, nextName)                                                           \
    EXPORTED int name(const char* path, int flags, ...) {                                     \
        va_list arguments;                                                                    \
        va_start(arguments, flags);                                                           \
        const mode_t mode = readMode(flags, arguments);                                       \
        va_end(arguments);                                                                    \
        return isDevice(path) ? openLevels(flags) : next(nextName, #name)(path, flags, mode); \
    }                                                                                         \
    EXPORTED int __##name##_2(const char* path, int flags) {                                  \
        return isDevice(path) ? openLevels(flags) : next(nextName, #name)(path, flags, 0);    \
    }
DEFINE_OPEN(open, nextOpen)
DEFINE_OPEN(open64, nextOpen64)

#define DEFINE_OPEN_AT(name, nextName)                                                                \
    EXPORTED int name(int folder, const char* path, int flags, ...) {                                 \
        va_list arguments;                                                                            \
        va_start(arguments, flags);                                                                   \
        const mode_t mode = readMode(flags, arguments);                                               \
        va_end(arguments);                                                                            \
        return isDevice(path) ? openLevels(flags) : next(nextName, #name)(folder, path, flags, mode); \
    }                                                                                                 \
    EXPORTED int __##name##_2(int folder, const char* path, int flags) {                              \
        return isDevice(path) ? openLevels(flags) : next(nextName, #name)(folder, path, flags, 0);    \
    }
DEFINE_OPEN_AT(openat, nextOpenAt)
DEFINE_OPEN_AT(openat64, nextOpenAt64)

#define DEFINE_IOCTL(name, nextName)                                                                                  \
    EXPORTED int name(int file, unsigned long request, ...) {                                                         \
        va_list arguments;                                                                                            \
        va_start(arguments, request);                                                                                 \
        void* argument = va_arg(arguments, void*);                                                                    \
        va_end(arguments);                                                                                            \
        return isSubmission(request) ? appendRecord(file, argument) : next(nextName, #name)(file, request, argument); \
    }
DEFINE_IOCTL(ioctl, nextIoctl)
#ifndef __LP64__
// What ioctl is called where time has 64 bits and a pointer 32.
std::atomic<IoctlFunction*> nextIoctl64{nullptr};
DEFINE_IOCTL(__ioctl_time64, nextIoctl64)
#endif
