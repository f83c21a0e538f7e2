// The guard of malloc'ed storage: what a library call hands over to be freed by its caller is held by it on our side.
#pragma once

#include <cstdlib>
#include <memory>

struct MallocRelease {
    void operator()(void* storage) const {
        free(storage);
    }
};

// Malloced<char> text(...), Malloced<Contact[]> contacts(...).
template <typename T>
using Malloced = std::unique_ptr<T, MallocRelease>;
