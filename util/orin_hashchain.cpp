#include "orin_hashchain.h"

#include <cstdlib>
#include <cstring>

namespace {

void freeContent(OrinHashEntry* entry, OrinHashOwner owner) {
    if (owner == OrinHashOwner::chains) {
        free(entry->key);
        free(entry->value);
    }
}

}  // namespace

OrinHashEntry** orin_hashchain_newSlots(uint32_t slotCount) {
    return static_cast<OrinHashEntry**>(calloc(slotCount, sizeof(void*)));
}

uint16_t orin_hashchain_byteSum(const void* bytes, size_t count) {
    uint32_t sum = 0;
    for (const auto* byte = static_cast<const unsigned char*>(bytes); count > 0; byte++, count--) {
        sum += *byte;
    }
    return static_cast<uint16_t>(sum);
}

void* orin_hashchain_copy(const void* bytes, size_t size) {
    auto* copy = static_cast<char*>(malloc(size + 1));
    if (copy != nullptr) {
        memcpy(copy, bytes, size);
        copy[size] = '\0';
    }
    return copy;
}

int orin_hashchain_store(OrinHashEntry** head, OrinHashEntry** link, void* key, void* value, OrinHashOwner owner) {
    OrinHashEntry* entry = *link;
    if (entry != nullptr) {
        freeContent(entry, owner);
    } else {
        entry = static_cast<OrinHashEntry*>(malloc(sizeof(OrinHashEntry)));
        if (entry == nullptr) {
            return -1;
        }
        entry->next = *head;
        *head = entry;
    }
    entry->key = key;
    entry->value = value;
    return 0;
}

void orin_hashchain_remove(OrinHashEntry** link, OrinHashOwner owner) {
    OrinHashEntry* entry = *link;
    *link = entry->next;
    freeContent(entry, owner);
    free(entry);
}

void orin_hashchain_clear(OrinHashEntry** slots, uint32_t slotCount, OrinHashOwner owner) {
    for (uint32_t slot = 0; slot < slotCount; slot++) {
        while (slots[slot] != nullptr) {
            orin_hashchain_remove(&slots[slot], owner);
        }
    }
}

OrinHashEntry* orin_hashchain_at(OrinHashEntry* const* slots, uint32_t slotCount, uint32_t index) {
    return orin_hashchain_walk(slots, slotCount, [&index](const OrinHashEntry&) { return index-- == 0; });
}

uint32_t orin_hashchain_count(OrinHashEntry* const* slots, uint32_t slotCount) {
    uint32_t count = 0;
    orin_hashchain_walk(slots, slotCount, [&count](const OrinHashEntry&) {
        count++;
        return false;
    });
    return count;
}
