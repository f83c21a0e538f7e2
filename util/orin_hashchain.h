// The chains that the hash table and the hash map are made of: an array of slots, each the head of a list of entries.
//
// New entries go to the head of their slot's list. The iteration order is: slots ascending, each list from its head.
// Nothing is logged here; the containers name themselves in their messages. See orin_hashtable2.h, orin_hashtable3.h.
#pragma once

#include <cstddef>
#include <cstdint>

struct OrinHashEntry {
    OrinHashEntry* next;
    void* key;
    void* value;
};

// Whose the key and the value of an entry are: chains free them with their entry.
enum class OrinHashOwner : uint8_t { caller, chains };

// Bytes of a text that count and that a copy keeps.
constexpr size_t ORIN_HASH_TEXT_LIMIT = UINT16_MAX;

// The link that points to the first entry of a list for which `matches(entry)` holds, or the list's last link, which
// points to nothing.
template <typename Matches>
[[nodiscard]] OrinHashEntry** orin_hashchain_find(OrinHashEntry** link, Matches matches) {
    while (*link != nullptr && !matches(**link)) {
        link = &(*link)->next;
    }
    return link;
}

// Calls `visit(entry)` in iteration order until it answers true. Returns that entry, or nullptr. `visit` may
// remove the entry it is called for.
template <typename Visit>
OrinHashEntry* orin_hashchain_walk(OrinHashEntry* const* slots, uint32_t slotCount, Visit visit) {
    for (uint32_t slot = 0; slot < slotCount; slot++) {
        OrinHashEntry* next = nullptr;
        for (OrinHashEntry* entry = slots[slot]; entry != nullptr; entry = next) {
            next = entry->next;
            if (visit(*entry)) {
                return entry;
            }
        }
    }
    return nullptr;
}

// A new array of empty slots, to be freed with free(); nullptr when memory runs out.
[[nodiscard]] OrinHashEntry** orin_hashchain_newSlots(uint32_t slotCount);

// The sum of the bytes.
[[nodiscard]] uint16_t orin_hashchain_byteSum(const void* bytes, size_t count);

// A copy of the bytes with a NUL behind them, to be freed with free(); nullptr when memory runs out.
[[nodiscard]] void* orin_hashchain_copy(const void* bytes, size_t size);

// Stores key and value in the entry that *link points to, or in a new one at the list's head. What the entry held
// before is freed when the chains own it. Returns 0, or -1, with nothing stored, when memory runs out.
[[nodiscard]] int orin_hashchain_store(OrinHashEntry** head, OrinHashEntry** link, void* key, void* value,
                                       OrinHashOwner owner);

// Unlinks and frees the entry that *link points to.
void orin_hashchain_remove(OrinHashEntry** link, OrinHashOwner owner);

// Removes all entries. The slots stay.
void orin_hashchain_clear(OrinHashEntry** slots, uint32_t slotCount, OrinHashOwner owner);

// The entry at this place of the iteration order, or nullptr beyond the end; and the number of entries.
[[nodiscard]] OrinHashEntry* orin_hashchain_at(OrinHashEntry* const* slots, uint32_t slotCount, uint32_t index);
[[nodiscard]] uint32_t orin_hashchain_count(OrinHashEntry* const* slots, uint32_t slotCount);
