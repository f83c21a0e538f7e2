#include "orin_hashtable3.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "orin_memory.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_hashtable3.c"};

// Bytes of a copied key that choose its slot.
constexpr size_t HASHED_BYTES = 10;

bool copies(const OrinHashTable* table) {
    return table->copy == OrinHashTableCopy::yes;
}

OrinHashOwner ownerOf(const OrinHashTable* table) {
    return copies(table) ? OrinHashOwner::chains : OrinHashOwner::caller;
}

// Whether there is a table to look into, and a key that it can look for.
bool isUsable(const OrinHashTable* table) {
    return table != nullptr && table->slots != nullptr;
}

bool isUsable(const OrinHashTable* table, const void* key) {
    return isUsable(table) && (key != nullptr || !copies(table));
}

// Bytes of a key or value that count, at most `limit`.
size_t contentSize(const void* content, uint16_t size, size_t limit) {
    return size == 0 ? strnlen(static_cast<const char*>(content), limit) : std::min<size_t>(size, limit);
}

OrinHashEntry** slotOf(const OrinHashTable* table, const void* key) {
    const uintptr_t hash = copies(table) ? orin_hashchain_byteSum(key, contentSize(key, table->keySize, HASHED_BYTES))
                                         : reinterpret_cast<uintptr_t>(key);
    return &table->slots[hash % table->slotCount];
}

bool isSameKey(const OrinHashTable* table, const void* a, const void* b) {
    if (a == b) {
        return true;
    }
    if (table->keySize == 0) {
        return a != nullptr && b != nullptr &&
               strncmp(static_cast<const char*>(a), static_cast<const char*>(b), ORIN_HASH_TEXT_LIMIT) == 0;
    }
    return copies(table) && memcmp(a, b, table->keySize) == 0;
}

// The link to the key's entry, or the last one of its slot.
OrinHashEntry** linkOf(const OrinHashTable* table, const void* key) {
    return orin_hashchain_find(slotOf(table, key),
                               [table, key](const OrinHashEntry& entry) { return isSameKey(table, entry.key, key); });
}

// Stores key and value, or copies of them. -1: out of memory, nothing changed.
int store(const OrinHashTable* table, const void* key, void* value) {
    OrinHashEntry** head = slotOf(table, key);
    OrinHashEntry** link = linkOf(table, key);
    if (!copies(table)) {
        return orin_hashchain_store(head, link, const_cast<void*>(key), value, OrinHashOwner::caller);
    }
    Malloced<void> keyCopy(orin_hashchain_copy(key, contentSize(key, table->keySize, ORIN_HASH_TEXT_LIMIT)));
    Malloced<void> valueCopy(orin_hashchain_copy(value, contentSize(value, table->valueSize, ORIN_HASH_TEXT_LIMIT)));
    if (keyCopy == nullptr || valueCopy == nullptr ||
        orin_hashchain_store(head, link, keyCopy.get(), valueCopy.get(), OrinHashOwner::chains) != 0) {
        return -1;
    }
    static_cast<void>(keyCopy.release());
    static_cast<void>(valueCopy.release());
    return 0;
}

}  // namespace

int orin_createHashTable(OrinHashTable* table, uint32_t slotCount, uint16_t keySize, uint16_t valueSize,
                         OrinHashTableCopy copy) {
    if (table != nullptr) {
        *table = {};
    }
    if (table == nullptr || slotCount == 0) {
        ORINLOG(ORINLOG_ERROR, "orin_createHashTable(): illegal param error -> context=%p slotCount=%i",
                static_cast<void*>(table), slotCount);
        return -1;
    }
    *table = {orin_hashchain_newSlots(slotCount), slotCount, keySize, valueSize, copy};
    if (table->slots == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_createHashTable(...): out of memory error");
        return -1;
    }
    return 0;
}

int orin_putIntoHashTable(OrinHashTable* table, const void* key, void* value, const char* file, int line) {
    if (!isUsable(table, key) || value == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_putIntoHashTable(): illegal param error -> context=%p key=%p value=%p",
                static_cast<void*>(table), key, value);
    } else if (store(table, key, value) != 0) {
        ORINLOG(ORINLOG_ERROR, "orin_putIntoHashTable(): out of memory error");
    } else {
        return 0;
    }
    ORINLOG_FN(ORINLOG_DEBUG, "happens in file=%s:%i", file, line);
    return -1;
}

int orin_getFromHashTable(const OrinHashTable* table, const void* key, void** value) {
    if (!isUsable(table, key) || value == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_getFromHashTable(): illegal param error -> context=%p key=%p value=%p",
                static_cast<const void*>(table), key, static_cast<void*>(value));
        return -1;
    }
    const OrinHashEntry* entry = *linkOf(table, key);
    if (entry == nullptr) {
        ORINLOG(ORINLOG_DEBUG, "orin_getFromHashTable(...): key=%p not found", key);
        return -1;
    }
    *value = entry->value;
    return 0;
}

int orin_deleteFromHashTable(OrinHashTable* table, const void* key) {
    if (!isUsable(table, key)) {
        ORINLOG(ORINLOG_ERROR, "orin_deleteFromHashTable(): illegal param error -> context=%p key=%p",
                static_cast<void*>(table), key);
        return -1;
    }
    OrinHashEntry** link = linkOf(table, key);
    if (*link == nullptr) {
        ORINLOG(ORINLOG_DEBUG, "orin_deleteFromHashTable(...): key=%p not found", key);
        return -1;
    }
    orin_hashchain_remove(link, ownerOf(table));
    return 0;
}

int orin_getHashTableSize(const OrinHashTable* table, uint32_t* size) {
    if (!isUsable(table) || size == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_getHashTableSize(): illegal param error -> context=%p size=%p",
                static_cast<const void*>(table), static_cast<void*>(size));
        return -1;
    }
    *size = orin_hashchain_count(table->slots, table->slotCount);
    return 0;
}

int orin_getFromHashTableAtIndex(const OrinHashTable* table, uint32_t index, const void** key, void** value) {
    if (!isUsable(table) || key == nullptr || value == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_getFromHashTableAtIndex(): illegal param error -> context=%p key=%p value=%p",
                static_cast<const void*>(table), static_cast<const void*>(key), static_cast<void*>(value));
        return -1;
    }
    const OrinHashEntry* entry = orin_hashchain_at(table->slots, table->slotCount, index);
    if (entry == nullptr) {
        ORINLOG(ORINLOG_DEBUG, "orin_getFromHashTableAtIndex(...): entry with index=%i not found", index);
        return -1;
    }
    *key = entry->key;
    *value = entry->value;
    return 0;
}

int orin_clearHashTable(OrinHashTable* table) {
    if (!isUsable(table)) {
        ORINLOG(ORINLOG_ERROR, "orin_clearHashTable(): illegal param error -> context=%p", static_cast<void*>(table));
        return -1;
    }
    orin_hashchain_clear(table->slots, table->slotCount, ownerOf(table));
    return 0;
}

int orin_destroyHashTable(OrinHashTable* table) {
    if (table == nullptr) {
        ORINLOG(ORINLOG_ERROR, "orin_destroyHashTable(): illegal param error -> context=%p", static_cast<void*>(table));
        return -1;
    }
    if (table->slots != nullptr) {
        orin_hashchain_clear(table->slots, table->slotCount, ownerOf(table));
        free(table->slots);
        table->slots = nullptr;
    }
    return 0;
}

int orin_dumpHashTable(const OrinHashTable* table) {
    if (!isUsable(table)) {
        ORINLOG(ORINLOG_ERROR, "orin_dumpHashTable(): illegal param error -> context=%p",
                static_cast<const void*>(table));
        return -1;
    }
    for (uint32_t slot = 0; slot < table->slotCount; slot++) {
        for (const OrinHashEntry* entry = table->slots[slot]; entry != nullptr; entry = entry->next) {
            const char* text = table->keySize == 0 ? static_cast<const char*>(entry->key) : "";
            ORINLOG(ORINLOG_DEBUG, "Slot=%i Key=%s KeyPtr=%p ValuePtr=%p", slot, text, entry->key, entry->value);
        }
    }
    return 0;
}
