#include "orin_vector.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "orin_vector_item.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_vector.c"};

bool isUsable(const OrinVector* vector) {
    return vector != nullptr && vector->items != nullptr;
}

// Makes room for one more item. A vector that was not created has none and cannot grow.
bool makeRoom(OrinVector* vector) {
    if (vector->count < vector->capacity) {
        return true;
    }
    const uint32_t step = std::min(vector->capacity, ORIN_VECTOR_LARGEST_STEP);
    if (step == 0 || vector->capacity > UINT32_MAX - step) {
        return false;
    }
    const uint32_t capacity = vector->capacity + step;
    auto* items = static_cast<void**>(reallocarray(vector->items, capacity, sizeof(void*)));
    if (items == nullptr) {
        return false;
    }
    vector->items = items;
    vector->capacity = capacity;
    return true;
}

// A new item of this size, or nullptr.
void* newItem(size_t size) {
    if (size > SIZE_MAX - sizeof(OrinVectorItem)) {
        return nullptr;
    }
    auto* item = static_cast<OrinVectorItem*>(malloc(sizeof(OrinVectorItem) + size));
    if (item == nullptr) {
        return nullptr;
    }
    item->size = size;
    return item + 1;
}

void freeItem(void* object) {
    free(static_cast<OrinVectorItem*>(object) - 1);
}

// For qsort_r: `left` and `right` point to item pointers, `compare` to the caller's function.
int compareItems(const void* left, const void* right, void* compare) {
    return (*static_cast<OrinVectorCompare*>(compare))(*static_cast<void* const*>(left),
                                                       *static_cast<void* const*>(right));
}

}  // namespace

int orin_createVector(OrinVector* vector) {
    if (vector == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<void*>(vector));
        return -1;
    }
    *vector = {static_cast<void**>(calloc(ORIN_VECTOR_FIRST_CAPACITY, sizeof(void*))), 0, ORIN_VECTOR_FIRST_CAPACITY};
    if (vector->items == nullptr) {
        vector->capacity = 0;
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error");
        return -1;
    }
    return 0;
}

int orin_addToVector(OrinVector* vector, const void* object, size_t size) {
    return orin_insertIntoVectorAt(vector, UINT32_MAX, object, size);
}

int orin_insertIntoVectorAt(OrinVector* vector, uint32_t position, const void* object, size_t size) {
    if (!isUsable(vector) || object == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p object=%p", static_cast<void*>(vector), object);
        return -1;
    }
    if (!makeRoom(vector)) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error");
        return -1;
    }
    void* copy = newItem(size);
    if (copy == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error (objCopy)");
        return -1;
    }
    memcpy(copy, object, size);
    void** place = vector->items + std::min(position, vector->count);
    void** end = vector->items + vector->count;
    std::move_backward(place, end, end + 1);
    *place = copy;
    vector->count++;
    return 0;
}

void* orin_getaddToVector(OrinVector* vector, size_t size) {
    if (!isUsable(vector)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<void*>(vector));
        return nullptr;
    }
    void* item = makeRoom(vector) ? newItem(size) : nullptr;
    if (item == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error");
        return nullptr;
    }
    vector->items[vector->count] = item;
    vector->count++;
    return item;
}

int __orin_getFromVector(const OrinVector* vector, uint32_t index, void** object, const char* file, int line) {
    if (!isUsable(vector) || object == nullptr || index >= vector->count) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vecIdx=%i size=%i, happens in file=%s:%i", index,
                   vector == nullptr ? 0 : vector->count, file, line);
        return -1;
    }
    *object = vector->items[index];
    return 0;
}

int orin_deleteFromVector(OrinVector* vector, uint32_t index) {
    if (!isUsable(vector) || index >= vector->count) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vecIdx=%i size=%i", index,
                   vector == nullptr ? 0 : vector->count);
        return -1;
    }
    void** place = vector->items + index;
    freeItem(*place);
    std::move(place + 1, vector->items + vector->count, place);
    vector->count--;
    return 0;
}

int orin_sortVector(OrinVector* vector, OrinVectorCompare compare) {
    if (!isUsable(vector) || compare == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<void*>(vector));
        return -1;
    }
    qsort_r(vector->items, vector->count, sizeof(void*), compareItems, &compare);
    return 0;
}

int32_t orin_VectorFindString(const OrinVector* vector, const char* text) {
    if (!isUsable(vector) || text == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p text=%s", static_cast<const void*>(vector), text);
        return -1;
    }
    const size_t size = strlen(text) + 1;
    for (uint32_t i = 0; i < vector->count; i++) {
        // Only what is in the item is looked at; it need not be a text.
        if (orin_vectorItemSize(vector->items[i]) >= size && memcmp(vector->items[i], text, size) == 0) {
            return static_cast<int32_t>(i);
        }
    }
    return -1;
}

int32_t orin_sizeOfVector(const OrinVector* vector) {
    if (!isUsable(vector)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<const void*>(vector));
        return -1;
    }
    return static_cast<int32_t>(vector->count);
}

int orin_clearVector(OrinVector* vector) {
    if (!isUsable(vector)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<void*>(vector));
        return -1;
    }
    std::for_each_n(vector->items, vector->count, freeItem);
    vector->count = 0;
    return 0;
}

int orin_destroyVector(OrinVector* vector) {
    if (vector == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error vector=%p", static_cast<void*>(vector));
        return -1;
    }
    std::for_each_n(vector->items, vector->count, freeItem);
    free(vector->items);
    *vector = {};
    return 0;
}
