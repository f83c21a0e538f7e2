// System V shared memory with the semaphore that guards it, both shared with other processes of the PBX.
//
// The semaphore counts the processes inside: 0 is free (as a new one is, so that nobody has to initialise it), 1 is
// taken. The kernel takes a dead process's 1 back. Memory and semaphore are never removed; they end with the system.
// Errors are logged under ORINLOG_CAT_OTHER.
#pragma once

#include <cstddef>
#include <cstdint>

struct OrinSharedMem {
    int memoryId = -1;
    int semaphoreId = -1;
    void* data = nullptr;  // the memory, zero-filled when it was created; nullptr while not attached
};

// Creates the memory (`size` bytes) and the semaphore with permissions 0666, or opens those that exist, and attaches.
// Returns 0, or -1 with everything at its default, among others when memory exists that is smaller than `size`.
[[nodiscard]] int orin_attachSharedMem(OrinSharedMem* memory, int32_t key, int32_t semaphoreKey, size_t size);

// Detaches; the other processes keep the memory. What is not attached stays so.
void orin_detachSharedMem(OrinSharedMem* memory);

// Waits until no other process is inside and enters. Not recursive. Returns 0, or -1 when there is no semaphore (any
// more).
[[nodiscard]] int orin_lockSharedMem(OrinSharedMem* memory);

// Leaves. Returns 0, or -1 when nobody is inside or there is no semaphore.
int orin_unlockSharedMem(OrinSharedMem* memory);
