#include "orin_sharedmem.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_sharedmem.c"};

// Every process of the PBX may take part, whoever it runs as.
constexpr int CREATE_FOR_ALL = IPC_CREAT | 0666;

// The operations on the semaphore as one step of the kernel's; a signal does not end the wait.
template <size_t Count>
int operate(const OrinSharedMem* memory, std::array<sembuf, Count> operations, const char* function) {
    if (memory == nullptr || memory->data == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s: memory=%p is not attached", function, static_cast<const void*>(memory));
        return -1;
    }
    while (semop(memory->semaphoreId, operations.data(), operations.size()) != 0) {
        if (errno != EINTR) {
            ORINLOG(ORINLOG_ERROR, "%s: semop failed semaphoreId=%d error=%s", function, memory->semaphoreId,
                    strerror(errno));
            return -1;
        }
    }
    return 0;
}

}  // namespace

int orin_attachSharedMem(OrinSharedMem* memory, int32_t key, int32_t semaphoreKey, size_t size) {
    if (memory == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "memory == NULL");
        return -1;
    }
    *memory = OrinSharedMem{};
    const int memoryId = shmget(key, size, CREATE_FOR_ALL);
    const int semaphoreId = memoryId < 0 ? -1 : semget(semaphoreKey, 1, CREATE_FOR_ALL);
    void* const data = semaphoreId < 0 ? nullptr : shmat(memoryId, nullptr, 0);
    // shmat answers its failure as address -1.
    if (data == nullptr || data == reinterpret_cast<void*>(-1)) {
        ORINLOG_FN(ORINLOG_ERROR, "failed, key=%d memoryId=%d semaphoreKey=%d semaphoreId=%d error=%s", key, memoryId,
                   semaphoreKey, semaphoreId, strerror(errno));
        return -1;
    }
    *memory = OrinSharedMem{memoryId, semaphoreId, data};
    return 0;
}

void orin_detachSharedMem(OrinSharedMem* memory) {
    if (memory == nullptr || memory->data == nullptr) {
        return;
    }
    if (shmdt(memory->data) != 0) {
        ORINLOG_FN(ORINLOG_ERROR, "shmdt failed memoryId=%d error=%s", memory->memoryId, strerror(errno));
    }
    *memory = OrinSharedMem{};
}

int orin_lockSharedMem(OrinSharedMem* memory) {
    // Both in one step: nobody can come between the wait for 0 and the entry.
    constexpr std::array WAIT_AND_ENTER{sembuf{0, 0, 0}, sembuf{0, 1, SEM_UNDO}};
    return operate(memory, WAIT_AND_ENTER, __func__);
}

int orin_unlockSharedMem(OrinSharedMem* memory) {
    // Does not wait: nobody inside is a mistake to be told.
    constexpr std::array LEAVE{sembuf{0, -1, SEM_UNDO | IPC_NOWAIT}};
    return operate(memory, LEAVE, __func__);
}
