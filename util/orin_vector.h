// The vector: an ordered array of objects, each a copy that the vector owns, of any size.
//
// Functions return 0, or -1 on failure, unless their comment says otherwise. A missing argument, an index out of range,
// and memory that runs out, is logged as an error under ORINLOG_CAT_OTHER. An insertion that fails leaves the items as
// they were. A vector belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

struct OrinVector {
    void** items;       // the items in order; each is the vector's own and not to be freed by others
    uint32_t count;     // number of items
    uint32_t capacity;  // size of `items`
};

// Capacity of a new vector, and the most by which it grows: it doubles up to this many items, then grows by as many.
constexpr uint32_t ORIN_VECTOR_FIRST_CAPACITY = 10;
constexpr uint32_t ORIN_VECTOR_LARGEST_STEP = 200;

// Makes an empty vector. What the record held before is not looked at; destroy it with orin_destroyVector, which is
// allowed after a failure too.
[[nodiscard]] int orin_createVector(OrinVector* vector);

// Appends a copy of the object's `size` bytes.
[[nodiscard]] int orin_addToVector(OrinVector* vector, const void* object, size_t size);

// Inserts a copy before the item at `position`; at the end when there is none. Later items move up.
[[nodiscard]] int orin_insertIntoVectorAt(OrinVector* vector, uint32_t position, const void* object, size_t size);

// Appends an uninitialised item of `size` bytes, aligned for any object, and returns it; nullptr on failure.
[[nodiscard]] void* orin_getaddToVector(OrinVector* vector, size_t size);

// Stores the item, which stays the vector's, in *object. `file` and `line` tell in the log who called.
[[nodiscard]] int __orin_getFromVector(const OrinVector* vector, uint32_t index, void** object, const char* file,
                                       int line);

// The same, told by itself where it is called.
[[nodiscard]] inline int orin_getFromVector(const OrinVector* vector, uint32_t index, void** object,
                                            const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return __orin_getFromVector(vector, index, object, file, line);
}

// Frees an item and closes the gap.
int orin_deleteFromVector(OrinVector* vector, uint32_t index);

// Compares two items: below 0, 0 or above 0 as `left` belongs before, beside or behind `right`.
using OrinVectorCompare = int (*)(const void* left, const void* right);

// Sorts the items. A comparison that contradicts itself makes for an arbitrary order and no other harm.
int orin_sortVector(OrinVector* vector, OrinVectorCompare compare);

// Index of the first item that is this text with its NUL, or -1 when there is none.
[[nodiscard]] int32_t orin_VectorFindString(const OrinVector* vector, const char* text);

// Number of items; -1 for a missing vector.
[[nodiscard]] int32_t orin_sizeOfVector(const OrinVector* vector);

// Frees all items and keeps the array.
int orin_clearVector(OrinVector* vector);

// Frees all items and the array. Destroying twice does no harm.
int orin_destroyVector(OrinVector* vector);

// Writes the items, whatever bytes they hold, to a file: the line "orinvector 1 <count>", then for each item its size
// in bytes, a ":", its bytes and a line feed. The file is replaced as a whole or, when -1 is returned, not at all.
[[nodiscard]] int orin_VectorToFile(const OrinVector* vector, const char* path);

// Replaces the items of a created vector by those of a file. Returns -1, logged, with the vector as it was, when the
// file cannot be read or is damaged.
[[nodiscard]] int orin_VectorFromFile(OrinVector* vector, const char* path);
