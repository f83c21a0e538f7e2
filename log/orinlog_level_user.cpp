#include "orinlog_level_user.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "orinlog.h"
#include "orinlog_guards.h"

OrinlogLevelMem orinlog_level_mem = {{0}, {0}, PTHREAD_MUTEX_INITIALIZER, nullptr};

OrinlogDevice orinlog_device_orinlog = {
    {-1}, {0}, {0}, PTHREAD_MUTEX_INITIALIZER, "/dev/orin/logger", O_RDWR | O_NONBLOCK | O_CLOEXEC};
OrinlogDevice orinlog_device_tty = {
    {-1}, {0}, {0}, PTHREAD_MUTEX_INITIALIZER, "/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC};
OrinlogDevice orinlog_device_console = {
    {-1}, {0}, {0}, PTHREAD_MUTEX_INITIALIZER, "/dev/console", O_WRONLY | O_NOCTTY | O_CLOEXEC};

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_ORINLOG, "orinlog_level_user.c"};

constexpr uint32_t RETRY_SECONDS = 1;

uint32_t monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<uint32_t>(now.tv_sec);
}

uint32_t loadLevel(const uint32_t* levels, uint32_t category) {
    return __atomic_load_n(&levels[category], __ATOMIC_RELAXED);
}

void storeLevel(uint32_t* levels, uint32_t category, uint32_t level) {
    __atomic_store_n(&levels[category], level, __ATOMIC_RELAXED);
}

uint32_t* mappedLevels(const OrinlogLevelMem* memory) {
    return memory != nullptr && memory->mapped.load(std::memory_order_acquire) != 0 ? memory->shared->levels : nullptr;
}

void* mapShared(int descriptor, OrinlogWait wait) {
    for (;;) {
        void* mapping = mmap(nullptr, sizeof(OrinlogSharedLevels), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        if (mapping != MAP_FAILED) {
            return mapping;
        }
        if (wait == OrinlogWait::no || errno != EAGAIN) {
            return nullptr;
        }
        sleep(RETRY_SECONDS);
    }
}

// A table of another layout or list is used all the same: wrong levels are better than no log at all.
void reportIncompatibleHeader(const OrinlogSharedLevels* shared) {
    const char* process = program_invocation_short_name;
    if (shared->layoutId != ORINLOG_LAYOUT_ID) {
        ORINLOG(ORINLOG_ERROR,
                "%s: Shared-Memory-Layout des Logger-Kernelmoduls ist inkompatibel (Layout-ID ist %#x, erwartet wurde "
                "%#x).\n%s: Das Kernelmodul oder das Programm selbst muss aktualisiert werden.",
                process, shared->layoutId, ORINLOG_LAYOUT_ID, process);
    } else if (shared->categoryListId != ORINLOG_CATEGORY_LIST_ID) {
        ORINLOG(ORINLOG_ERROR,
                "%s: Logger-Kategorieliste des Logger-Kernelmoduls ist inkompatibel (Listen-ID ist %#x, erwartet wurde "
                "%#x).\n%s: Das Kernelmodul oder das Programm selbst muss aktualisiert werden.",
                process, shared->categoryListId, ORINLOG_CATEGORY_LIST_ID, process);
    }
}

// The table of a memory, mapping this process's own one if need be.
uint32_t* currentLevels(OrinlogLevelMem* memory) {
    uint32_t* levels = mappedLevels(memory);
    if (levels != nullptr || memory != &orinlog_level_mem) {
        return levels;
    }
    const uint32_t now = monotonicSeconds();
    if (now < memory->retryAfter.load(std::memory_order_relaxed)) {
        return nullptr;
    }
    levels = orinlog_level_mem_init(memory, OrinlogWait::no);
    if (levels == nullptr) {
        memory->retryAfter.store(now + RETRY_SECONDS, std::memory_order_relaxed);
    }
    return levels;
}

void setDisabled(OrinlogDevice* device, uint8_t disabled) {
    if (device != nullptr) {
        const MutexLock lock(&device->mutex, OrinlogWait::asLongAsNeeded);
        device->disabled.store(disabled);
    }
}

}  // namespace

uint32_t* orinlog_level_mem_init(OrinlogLevelMem* memory, OrinlogWait wait) {
    const KeepErrno keepErrno;
    if (memory == nullptr) {
        return nullptr;
    }
    {
        const MutexLock lock(&memory->mutex, wait);
        if (!lock.held()) {
            return nullptr;
        }
        if (uint32_t* levels = mappedLevels(memory); levels != nullptr) {
            return levels;
        }
        const int descriptor = orinlog_openDevice(&orinlog_device_orinlog, wait);
        void* mapping = descriptor < 0 ? nullptr : mapShared(descriptor, wait);
        if (mapping == nullptr) {
            return nullptr;
        }
        memory->shared = static_cast<OrinlogSharedLevels*>(mapping);
        memory->mapped.store(1, std::memory_order_release);
    }
    reportIncompatibleHeader(memory->shared);
    return memory->shared->levels;
}

bool orinlog_levelEnabled(OrinlogLevelMem* memory, uint32_t category, uint32_t level) {
    const uint32_t* levels = currentLevels(memory);
    if (levels == nullptr) {
        return level <= ORINLOG_ERROR;
    }
    if (category >= ORINLOG_LEVEL_ENTRY_COUNT || level > ORINLOG_EDEBUG) {
        return false;
    }
    const uint32_t own = loadLevel(levels, category);
    return level <= (own != 0 ? own : loadLevel(levels, ORINLOG_CAT_OTHER));
}

void orinlog_setAllLevels(OrinlogLevelMem* memory, uint32_t level) {
    if (uint32_t* levels = currentLevels(memory); levels != nullptr) {
        for (uint32_t category = 0; category < ORINLOG_LEVEL_ENTRY_COUNT; ++category) {
            storeLevel(levels, category, level);
        }
    }
}

void orinlog_setLevel(OrinlogLevelMem* memory, uint32_t category, uint32_t level) {
    uint32_t* levels = currentLevels(memory);
    if (levels != nullptr && category < ORINLOG_LEVEL_ENTRY_COUNT) {
        storeLevel(levels, category, level);
    }
}

uint32_t orinlog_getLevel(OrinlogLevelMem* memory, uint32_t category) {
    const uint32_t* levels = currentLevels(memory);
    if (category >= ORINLOG_LEVEL_ENTRY_COUNT) {
        return 0;
    }
    if (levels == nullptr) {
        return category == ORINLOG_CAT_OTHER ? ORINLOG_ERROR : 0;
    }
    return loadLevel(levels, category);
}

uint32_t orinlog_getEffectiveLevel(OrinlogLevelMem* memory, uint32_t category) {
    const uint32_t own = orinlog_getLevel(memory, category);
    return own != 0 ? own : orinlog_getLevel(memory, ORINLOG_CAT_OTHER);
}

void orinlog_copyLevels(OrinlogLevelMem* destination, OrinlogLevelMem* source) {
    uint32_t* to = currentLevels(destination);
    const uint32_t* from = currentLevels(source);
    if (to == nullptr || from == nullptr) {
        return;
    }
    storeLevel(to, ORINLOG_CAT_OTHER, 0);
    for (uint32_t category = 0; category < ORINLOG_LEVEL_ENTRY_COUNT; ++category) {
        storeLevel(to, category, loadLevel(from, category));
    }
}

int orinlog_openDevice(OrinlogDevice* device, OrinlogWait wait) {
    const KeepErrno keepErrno;
    if (device == nullptr || device->disabled.load() != 0) {
        return -1;
    }
    if (device->open.load(std::memory_order_acquire) != 0) {
        return device->descriptor.load();
    }
    const MutexLock lock(&device->mutex, wait);
    if (!lock.held() || device->disabled.load() != 0) {
        return -1;
    }
    if (device->open.load() != 0) {
        return device->descriptor.load();
    }
    int descriptor = open(device->path, device->flags);
    while (descriptor < 0 && wait == OrinlogWait::asLongAsNeeded && (errno == EAGAIN || errno == EINTR)) {
        sleep(RETRY_SECONDS);
        descriptor = open(device->path, device->flags);
    }
    if (descriptor < 0) {
        return -1;
    }
    device->descriptor.store(descriptor);
    device->open.store(1, std::memory_order_release);
    return descriptor;
}

void orinlog_disableDevice(OrinlogDevice* device) {
    setDisabled(device, 1);
}

void orinlog_enableDevice(OrinlogDevice* device) {
    setDisabled(device, 0);
}
