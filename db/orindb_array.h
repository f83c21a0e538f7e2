// A growable array of records in one contiguous block, as the table modules return them.
//
// The block is the caller's once it has been handed out, and is released with free().
#pragma once

#include <cstdint>

struct OrindbArray {
    void* items;  // none while nothing was appended
    uint32_t count;
    uint32_t capacity;     // in elements
    uint32_t elementSize;  // in bytes
};

// Makes the array empty, without releasing anything.
void orindb_initArray(OrindbArray* array, uint32_t elementSize);

// Appends a zeroed element and returns it, valid until the next append; nullptr (logged, array unchanged) when memory
// is out.
[[nodiscard]] void* orindb_appendToArray(OrindbArray* array);

// Releases the block and makes the array empty.
void orindb_freeArray(OrindbArray* array);
