// The hash map: finds a value by a text, in slots whose number is chosen at creation and never changes.
//
// The map owns copies of its keys and values. Only the first 20 characters of a key choose its slot, so long keys with
// equal beginnings share one.
//
// Functions return 0, or -1 on failure. A missing argument, and memory that runs out, is logged as an error under
// ORINLOG_CAT_OTHER; a key or index that is not there is logged at level 4 (debug), being an ordinary answer. An
// insertion that fails leaves the map as it was. A map belongs to one thread at a time.
#pragma once

#include <cstdint>

#include "orin_hashchain.h"

struct OrinHashMap {
    OrinHashEntry** slots;  // heads of the chains of entries
    uint32_t slotCount;     // never 0
    uint32_t unused;        // 0
};

// Makes an empty map with `slotCount` slots (not 0). What the record held before is not looked at; destroy it with
// orin_destroyHashMap, which is allowed after a failure too.
[[nodiscard]] int orin_createHashMap(OrinHashMap* map, uint32_t slotCount);

// A new map object, or nullptr, logged. The caller's to delete.
[[nodiscard]] OrinHashMap* orinHashMap_New(uint32_t slotCount);

// Removes all entries and frees the slots and the object.
int orinHashMap_Delete(OrinHashMap* map);

// Stores a copy of `valueSize` bytes under the key, in place of the value that the key had before. Without a value or
// with size 0 the key is stored with no value. `file` and `line` tell in the log who called.
[[nodiscard]] int __orin_insertIntoHashMap(OrinHashMap* map, const char* key, const void* value, uint16_t valueSize,
                                           const char* file, int line);

// The same with a text and its NUL, or with no value for a missing text; the copy keeps at most 65,535 characters.
[[nodiscard]] int __orin_insertStringValueIntoHashMap(OrinHashMap* map, const char* key, const char* text,
                                                      const char* file, int line);

// The two insertions, told by themselves where they are called.
[[nodiscard]] inline int orin_insertIntoHashMap(OrinHashMap* map, const char* key, const void* value,
                                                uint16_t valueSize, const char* file = __builtin_FILE(),
                                                int line = __builtin_LINE()) {
    return __orin_insertIntoHashMap(map, key, value, valueSize, file, line);
}
[[nodiscard]] inline int orin_insertStringValueIntoHashMap(OrinHashMap* map, const char* key, const char* text,
                                                           const char* file = __builtin_FILE(),
                                                           int line = __builtin_LINE()) {
    return __orin_insertStringValueIntoHashMap(map, key, text, file, line);
}

// Stores the key's value, which stays the map's and may be nullptr, in *value. Returns -1 when the key is not there,
// which is not logged. *value is set only on success.
[[nodiscard]] int orin_findInHashMap(const OrinHashMap* map, const char* key, void** value);

// Key and value of an entry by its place in the iteration order: slots ascending, in each slot the newest first. Every
// call walks from the beginning. `caller` is named in the log.
[[nodiscard]] int orin_getFromHashMap(const OrinHashMap* map, uint32_t index, const char** key, void** value,
                                      const char* caller = __builtin_FUNCTION());

// Removes the key with its value.
int orin_deleteFromHashMap(OrinHashMap* map, const char* key);

// Number of entries, counted by walking all chains; -1 for a missing map.
[[nodiscard]] int32_t orin_sizeOfHashMap(const OrinHashMap* map);

// What a traversal calls for each entry, in iteration order. It may remove the entry it is called for, no other.
using OrinHashMapVisitor = int (*)(const char* key, void* value, void* context);

// Calls `visit` for every entry; its answers are ignored.
int orin_traverseHashMap(OrinHashMap* map, OrinHashMapVisitor visit, void* context);

// Calls `visit` for every entry and removes those for which it answers other than 0 (it must not do so itself).
int orin_traverseDeleting(OrinHashMap* map, OrinHashMapVisitor visit, void* context);

// Removes all entries and keeps the slots.
int orin_clearHashMap(OrinHashMap* map);

// Removes all entries and frees the slots. Destroying twice does no harm.
int orin_destroyHashMap(OrinHashMap* map);

// Logs every entry, at level 4 (debug); values are shown as texts.
int orin_dumpHashMap(const OrinHashMap* map);
