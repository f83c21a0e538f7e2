// Log levels and log devices.
//
// The wanted level of every category lives in memory that the kernel logger module shares with all processes, so an
// administrator turns one category up or down for the whole PBX at once. A process maps that memory on first use; as
// long as it cannot, only errors are enabled. Records go to the logger device, else to the terminal, else to the
// console. Nothing has to be initialised, nothing is ever closed, and no function here changes errno. A missing memory
// or device counts as one that cannot be had.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "orinlog_categories.h"

// The memory shared with the kernel module, mapped from the logger device.
struct OrinlogSharedLevels {
    uint32_t layoutId;        // must be ORINLOG_LAYOUT_ID
    uint32_t categoryListId;  // must be ORINLOG_CATEGORY_LIST_ID
    uint32_t levels[ORINLOG_LEVEL_ENTRY_COUNT];
};
constexpr uint32_t ORINLOG_LAYOUT_ID = 0x19068201;
static_assert(sizeof(OrinlogSharedLevels) == 2508);

// A process's view of a level memory.
struct OrinlogLevelMem {
    std::atomic<uint8_t> mapped;       // 1 once `shared` may be used
    std::atomic<uint32_t> retryAfter;  // seconds of the monotonic clock before which no new attempt to map is made
    pthread_mutex_t mutex;             // held only while mapping
    OrinlogSharedLevels* shared;
};

// The level memory of this process, the one that every log statement asks.
extern OrinlogLevelMem orinlog_level_mem;

// A log device: opened on first use and kept open for the life of the process.
struct OrinlogDevice {
    std::atomic<int32_t> descriptor;  // -1 while closed
    std::atomic<uint8_t> open;
    std::atomic<uint8_t> disabled;  // a disabled device is never opened
    pthread_mutex_t mutex;          // held only while opening
    const char* path;
    int flags;  // of open(2)
};

extern OrinlogDevice orinlog_device_orinlog;
extern OrinlogDevice orinlog_device_tty;
extern OrinlogDevice orinlog_device_console;

// Whether to wait for a mutex and a busy device, or to give up at once (safe in a signal handler).
enum class OrinlogWait : uint8_t { no, asLongAsNeeded };

// Maps the level memory unless that has been done. Returns its table of 625 levels, or nullptr when there is no memory.
// A layout or category list that differs from this program's is reported once, under ORINLOG_CAT_ORINLOG, and used.
uint32_t* orinlog_level_mem_init(OrinlogLevelMem* memory, OrinlogWait wait);

// True when a record of this category and level is wanted. Maps the process's own memory on first use; once that is
// mapped it costs a few loads. Without memory exactly the levels up to ORINLOG_ERROR are enabled; mapping is attempted
// at most once in each second of the clock.
[[nodiscard]] bool orinlog_levelEnabled(OrinlogLevelMem* memory, uint32_t category, uint32_t level);

// Sets the threshold of all categories, or of one. Without memory, or for a category above 624, nothing happens.
void orinlog_setAllLevels(OrinlogLevelMem* memory, uint32_t level);
void orinlog_setLevel(OrinlogLevelMem* memory, uint32_t category, uint32_t level);

// The raw entry of a category: 0 above 624 and without memory, except that the default entry then reads 1.
[[nodiscard]] uint32_t orinlog_getLevel(OrinlogLevelMem* memory, uint32_t category);

// The entry of a category, or the default entry where that is 0.
[[nodiscard]] uint32_t orinlog_getEffectiveLevel(OrinlogLevelMem* memory, uint32_t category);

// Clears the destination's default entry, then copies the source's 625 entries. Nothing happens unless both exist.
void orinlog_copyLevels(OrinlogLevelMem* destination, OrinlogLevelMem* source);

// Returns the descriptor of a device, opening it if need be, or -1 when it is disabled or cannot be opened (now).
[[nodiscard]] int orinlog_openDevice(OrinlogDevice* device, OrinlogWait wait);

// A device that is open stays open, but a disabled one takes no more records.
void orinlog_disableDevice(OrinlogDevice* device);
void orinlog_enableDevice(OrinlogDevice* device);
