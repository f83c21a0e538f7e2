// The hash table: finds a word by a key, in slots whose number is chosen at creation and never changes.
//
// With OrinHashTableCopy::no the table stores the caller's key and value words as they are and compares keys by
// identity; a number makes a good key. Give it the size of a word: with key size 0 the words are still read as texts,
// and the key words that share a slot are compared by content. With OrinHashTableCopy::yes the table owns copies of
// keys and values and compares keys by content. A size of 0 means: a NUL-terminated text, of which a copy keeps at
// most 65,535 characters.
//
// Functions return 0, or -1 on failure. A missing argument, and memory that runs out, is logged as an error under
// ORINLOG_CAT_OTHER; a key or index that is not there is logged at level 4 (debug), being an ordinary answer. A put
// that fails leaves the table as it was. A table belongs to one thread at a time.
#pragma once

#include <cstdint>

#include "orin_hashchain.h"

enum class OrinHashTableCopy : uint8_t { no = 0, yes = 1 };

struct OrinHashTable {
    OrinHashEntry** slots;  // heads of the chains of entries
    uint32_t slotCount;     // never 0
    uint16_t keySize;       // bytes; 0: a text
    uint16_t valueSize;     // likewise
    OrinHashTableCopy copy;
};

// Makes an empty table with `slotCount` slots (not 0). What the record held before is not looked at; destroy it with
// orin_destroyHashTable, which is allowed after a failure too.
[[nodiscard]] int orin_createHashTable(OrinHashTable* table, uint32_t slotCount, uint16_t keySize, uint16_t valueSize,
                                       OrinHashTableCopy copy);

// Stores the value under the key, in place of the value that the key had before. The value must not be nullptr, nor
// may the key where keys are copied. `file` and `line` tell in the log who called.
[[nodiscard]] int orin_putIntoHashTable(OrinHashTable* table, const void* key, void* value,
                                        const char* file = __builtin_FILE(), int line = __builtin_LINE());

// Stores the key's value, which stays the table's where values are copied, in *value. *value is set only on success.
[[nodiscard]] int orin_getFromHashTable(const OrinHashTable* table, const void* key, void** value);

// Removes the key and, where they are copied, frees key and value.
int orin_deleteFromHashTable(OrinHashTable* table, const void* key);

// Counts the entries by walking all chains.
[[nodiscard]] int orin_getHashTableSize(const OrinHashTable* table, uint32_t* size);

// Key and value of an entry by its place in the iteration order: slots ascending, in each slot the newest first. Every
// call walks from the beginning.
[[nodiscard]] int orin_getFromHashTableAtIndex(const OrinHashTable* table, uint32_t index, const void** key,
                                               void** value);

// Removes all entries and keeps the slots.
int orin_clearHashTable(OrinHashTable* table);

// Removes all entries and frees the slots. Destroying twice does no harm.
int orin_destroyHashTable(OrinHashTable* table);

// Logs every entry, at level 4 (debug).
int orin_dumpHashTable(const OrinHashTable* table);
