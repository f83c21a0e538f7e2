#include "orin_hashtable2.h"

#include <cstdlib>
#include <cstring>

#include "orin_memory.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_OTHER, "orin_hashtable2.c"};

// Characters of a key that choose its slot.
constexpr size_t HASHED_CHARACTERS = 20;

bool isUsable(const OrinHashMap* map) {
    return map != nullptr && map->slots != nullptr;
}

OrinHashEntry** slotOf(const OrinHashMap* map, const char* key) {
    return &map->slots[orin_hashchain_byteSum(key, strnlen(key, HASHED_CHARACTERS)) % map->slotCount];
}

const char* keyOf(const OrinHashEntry& entry) {
    return static_cast<const char*>(entry.key);
}

// The link to the key's entry, or the last one of its slot.
OrinHashEntry** linkOf(const OrinHashMap* map, const char* key) {
    return orin_hashchain_find(slotOf(map, key),
                               [key](const OrinHashEntry& entry) { return strcmp(keyOf(entry), key) == 0; });
}

// Stores copies of key and value. -1: out of memory, nothing changed.
int store(const OrinHashMap* map, const char* key, const void* value, uint16_t valueSize) {
    const bool hasValue = value != nullptr && valueSize > 0;
    Malloced<void> keyCopy(orin_hashchain_copy(key, strlen(key)));
    Malloced<void> valueCopy(hasValue ? orin_hashchain_copy(value, valueSize) : nullptr);
    if (keyCopy == nullptr || (hasValue && valueCopy == nullptr) ||
        orin_hashchain_store(slotOf(map, key), linkOf(map, key), keyCopy.get(), valueCopy.get(),
                             OrinHashOwner::chains) != 0) {
        return -1;
    }
    static_cast<void>(keyCopy.release());
    static_cast<void>(valueCopy.release());
    return 0;
}

}  // namespace

int orin_createHashMap(OrinHashMap* map, uint32_t slotCount) {
    if (map != nullptr) {
        *map = {};
    }
    if (map == nullptr || slotCount == 0) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p, size %u)", static_cast<void*>(map), slotCount);
        return -1;
    }
    *map = {orin_hashchain_newSlots(slotCount), slotCount, 0};
    if (map->slots == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error");
        return -1;
    }
    return 0;
}

OrinHashMap* orinHashMap_New(uint32_t slotCount) {
    auto* map = static_cast<OrinHashMap*>(calloc(1, sizeof(OrinHashMap)));
    if (map == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s kein Speicher", __func__);
        return nullptr;
    }
    if (orin_createHashMap(map, slotCount) != 0) {
        ORINLOG(ORINLOG_ERROR, "%s[%p] Fehler beim Initialisieren", __func__, static_cast<void*>(map));
        free(map);
        return nullptr;
    }
    return map;
}

int orinHashMap_Delete(OrinHashMap* map) {
    if (map == nullptr) {
        ORINLOG(ORINLOG_ERROR, "%s[%p] Parameter ungueltig", __func__, static_cast<void*>(map));
        return -1;
    }
    orin_destroyHashMap(map);
    free(map);
    return 0;
}

int __orin_insertIntoHashMap(OrinHashMap* map, const char* key, const void* value, uint16_t valueSize, const char* file,
                             int line) {
    if (!isUsable(map) || key == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p, key %s), happens in file=%s:%i",
                   static_cast<void*>(map), key, file, line);
        return -1;
    }
    if (store(map, key, value, valueSize) != 0) {
        ORINLOG_FN(ORINLOG_ERROR, "out of memory error, happens in file=%s:%i", file, line);
        return -1;
    }
    return 0;
}

int __orin_insertStringValueIntoHashMap(OrinHashMap* map, const char* key, const char* text, const char* file,
                                        int line) {
    // The copy gets a NUL of its own where the text's is cut off.
    const size_t size = text == nullptr ? 0 : strnlen(text, ORIN_HASH_TEXT_LIMIT - 1) + 1;
    return __orin_insertIntoHashMap(map, key, text, static_cast<uint16_t>(size), file, line);
}

int orin_findInHashMap(const OrinHashMap* map, const char* key, void** value) {
    if (!isUsable(map) || key == nullptr || value == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p, key %s, value %p)",
                   static_cast<const void*>(map), key, static_cast<void*>(value));
        return -1;
    }
    const OrinHashEntry* entry = *linkOf(map, key);
    if (entry == nullptr) {
        return -1;
    }
    *value = entry->value;
    return 0;
}

int orin_getFromHashMap(const OrinHashMap* map, uint32_t index, const char** key, void** value, const char* caller) {
    if (!isUsable(map) || key == nullptr || value == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "[called from %s]: illegal parameter error (context %p, key %p, value %p)", caller,
                   static_cast<const void*>(map), static_cast<const void*>(key), static_cast<void*>(value));
        return -1;
    }
    const OrinHashEntry* entry = orin_hashchain_at(map->slots, map->slotCount, index);
    if (entry == nullptr) {
        ORINLOG_FN(ORINLOG_DEBUG, "[called from %s]: entry with index=%i not found", caller, index);
        return -1;
    }
    *key = keyOf(*entry);
    *value = entry->value;
    return 0;
}

int orin_deleteFromHashMap(OrinHashMap* map, const char* key) {
    if (!isUsable(map) || key == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p, key %s)", static_cast<void*>(map), key);
        return -1;
    }
    OrinHashEntry** link = linkOf(map, key);
    if (*link == nullptr) {
        ORINLOG_FN(ORINLOG_DEBUG, "key=%s not found", key);
        return -1;
    }
    orin_hashchain_remove(link, OrinHashOwner::chains);
    return 0;
}

int32_t orin_sizeOfHashMap(const OrinHashMap* map) {
    if (!isUsable(map)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<const void*>(map));
        return -1;
    }
    return static_cast<int32_t>(orin_hashchain_count(map->slots, map->slotCount));
}

int orin_traverseHashMap(OrinHashMap* map, OrinHashMapVisitor visit, void* context) {
    if (!isUsable(map) || visit == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<void*>(map));
        return -1;
    }
    orin_hashchain_walk(map->slots, map->slotCount, [visit, context](const OrinHashEntry& entry) {
        visit(keyOf(entry), entry.value, context);
        return false;
    });
    return 0;
}

int orin_traverseDeleting(OrinHashMap* map, OrinHashMapVisitor visit, void* context) {
    if (!isUsable(map) || visit == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<void*>(map));
        return -1;
    }
    for (uint32_t slot = 0; slot < map->slotCount; slot++) {
        OrinHashEntry** link = &map->slots[slot];
        while (*link != nullptr) {
            if (visit(keyOf(**link), (*link)->value, context) != 0) {
                orin_hashchain_remove(link, OrinHashOwner::chains);
            } else {
                link = &(*link)->next;
            }
        }
    }
    return 0;
}

int orin_clearHashMap(OrinHashMap* map) {
    if (!isUsable(map)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<void*>(map));
        return -1;
    }
    orin_hashchain_clear(map->slots, map->slotCount, OrinHashOwner::chains);
    return 0;
}

int orin_destroyHashMap(OrinHashMap* map) {
    if (map == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<void*>(map));
        return -1;
    }
    if (map->slots != nullptr) {
        orin_hashchain_clear(map->slots, map->slotCount, OrinHashOwner::chains);
        free(map->slots);
        map->slots = nullptr;
    }
    return 0;
}

int orin_dumpHashMap(const OrinHashMap* map) {
    if (!isUsable(map)) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter error (context %p)", static_cast<const void*>(map));
        return -1;
    }
    for (uint32_t slot = 0; slot < map->slotCount; slot++) {
        for (const OrinHashEntry* entry = map->slots[slot]; entry != nullptr; entry = entry->next) {
            // Every value has a NUL behind it.
            ORINLOG(ORINLOG_DEBUG, "Slot=%i Key=%s Value=%s ValuePtr=%p", slot, keyOf(*entry),
                    static_cast<const char*>(entry->value), entry->value);
        }
    }
    return 0;
}
