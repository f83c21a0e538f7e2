#include "orindb_array.h"

#include <cstdlib>
#include <cstring>

#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_DB, "orindb_array.c"};

constexpr uint32_t FIRST_CAPACITY = 16;

bool grow(OrindbArray* array) {
    const uint32_t capacity = array->capacity == 0 ? FIRST_CAPACITY : array->capacity * 2;
    if (capacity <= array->capacity || capacity > SIZE_MAX / array->elementSize) {
        return false;
    }
    void* items = realloc(array->items, size_t{capacity} * array->elementSize);
    if (items == nullptr) {
        return false;
    }
    array->items = items;
    array->capacity = capacity;
    return true;
}

}  // namespace

void orindb_initArray(OrindbArray* array, uint32_t elementSize) {
    *array = {nullptr, 0, 0, elementSize};
}

void* orindb_appendToArray(OrindbArray* array) {
    if (array->count == array->capacity && !grow(array)) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error");
        return nullptr;
    }
    void* element = static_cast<char*>(array->items) + size_t{array->count} * array->elementSize;
    memset(element, 0, array->elementSize);
    ++array->count;
    return element;
}

void orindb_freeArray(OrindbArray* array) {
    free(array->items);
    orindb_initArray(array, array->elementSize);
}
