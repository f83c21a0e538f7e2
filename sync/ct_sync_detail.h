// What the parts of a pass share: how its errors are recorded.
#pragma once

#include "ct_sync_google.h"

// Keeps a code when it is the first one; CT_SYNC_CAPACITY always wins. Codes of the database library are kept in 16
// bits.
inline void ct_recordError(SyncContext& sync, int code) {
    if (sync.lastError == 0 || code == CT_SYNC_CAPACITY) {
        sync.lastError = static_cast<uint16_t>(code);
    }
}

inline void ct_recordFirstError(SyncContext& sync, uint16_t code) {
    if (sync.lastError == 0) {
        sync.lastError = code;
    }
}
