// How a vector stores an item; known to the vector's own sources only.
#pragma once

#include <cstddef>

// Stands before each item in the same piece of storage and keeps the item aligned for any object.
struct alignas(std::max_align_t) OrinVectorItem {
    size_t size;  // bytes of the item
};

// The size that the object was added to its vector with, in bytes.
[[nodiscard]] inline size_t orin_vectorItemSize(const void* object) {
    return (static_cast<const OrinVectorItem*>(object) - 1)->size;
}
