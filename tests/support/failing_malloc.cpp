#include "failing_malloc.h"

#include <cstddef>

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* storage, size_t size);
void* __real_reallocarray(void* storage, size_t count, size_t size);
char* __real_strdup(const char* text);

void* __wrap_malloc(size_t size) {
    return FailingMalloc::isDue() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
    return FailingMalloc::isDue() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* storage, size_t size) {
    return FailingMalloc::isDue() ? nullptr : __real_realloc(storage, size);
}
void* __wrap_reallocarray(void* storage, size_t count, size_t size) {
    return FailingMalloc::isDue() ? nullptr : __real_reallocarray(storage, count, size);
}
char* __wrap_strdup(const char* text) {
    return FailingMalloc::isDue() ? nullptr : __real_strdup(text);
}

}  // extern "C"
