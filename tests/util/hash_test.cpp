// The hash table in its three ways to keep keys against std::map, and the hash map, which is made of the same chains.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "failing_malloc.h"
#include "log_capture.h"
#include "orin_hashtable2.h"
#include "orin_hashtable3.h"
#include "orinlog.h"

namespace {

constexpr uint32_t KEYS = 40;
constexpr uint16_t KEY_LENGTH = 30;

// The n-th key as a text: some agree longer than any hash looks, some have bytes that a signed char makes negative.
std::string keyText(uint32_t number) {
    std::string text = (number % 2 == 0 ? "M\xC3\xBC" : "keys that begin all alike ") + std::to_string(number);
    text.resize(KEY_LENGTH, '.');
    return text;
}

// The ways to keep keys: sizes of keys and values, and whether they are copied.
struct Way {
    uint16_t keySize;
    uint16_t valueSize;
    OrinHashTableCopy copy;
};

// Does random things to a new table and to the model, and compares them after each.
void compareWithModel(const Way& way, int steps) {
    static const char* const values[] = {"v1", "v2", "v3"};
    std::vector<std::string> texts;
    std::map<uint32_t, std::string> model;
    std::minstd_rand random(1);
    for (uint32_t number = 0; number < KEYS; number++) {
        texts.push_back(keyText(number));
    }
    const auto keyOf = [&](uint32_t number) {
        return way.copy == OrinHashTableCopy::no ? reinterpret_cast<char*>(uintptr_t{number}) : texts[number].c_str();
    };
    OrinHashTable table;
    const int created = orin_createHashTable(&table, 7, way.keySize, way.valueSize, way.copy);
    EXPECT_EQ(created, FailingMalloc::hasFailed() ? -1 : 0);
    for (int step = 0; created == 0 && step < steps && !testing::Test::HasFailure(); step++) {
        const auto number = static_cast<uint32_t>(random() % KEYS);
        const auto choice = random() % 100;
        if (choice < 70) {
            if (orin_putIntoHashTable(&table, keyOf(number), const_cast<char*>(values[choice % 3])) == 0) {
                model[number] = values[choice % 3];
            } else {
                EXPECT_TRUE(FailingMalloc::hasFailed());
            }
        } else if (choice < 99) {
            EXPECT_EQ(orin_deleteFromHashTable(&table, keyOf(number)), model.erase(number) == 1 ? 0 : -1);
        } else {
            EXPECT_EQ(orin_clearHashTable(&table), 0);
            model.clear();
        }
        uint32_t size = 0;
        EXPECT_EQ(orin_getHashTableSize(&table, &size), 0);
        EXPECT_EQ(size, model.size());
        for (uint32_t wanted = 0; wanted < KEYS; wanted++) {
            void* value = nullptr;
            EXPECT_EQ(orin_getFromHashTable(&table, keyOf(wanted), &value), model.count(wanted) == 1 ? 0 : -1);
            EXPECT_TRUE(value == nullptr || model[wanted] == static_cast<char*>(value));
        }
    }
    EXPECT_EQ(orin_destroyHashTable(&table), 0);
}

TEST(HashTable, HoldsWhatAMapHoldsAndIsAsItWasWhenMemoryRunsOut) {
    orinlog_setAllLevels(&orinlog_level_mem, ORINLOG_ERROR);
    for (const Way& way : {Way{0, 0, OrinHashTableCopy::yes}, Way{KEY_LENGTH, 3, OrinHashTableCopy::yes},
                           Way{4, 4, OrinHashTableCopy::no}}) {
        compareWithModel(way, 3000);
        const int allocations = failEachAllocation([&way] {
            const LogCapture log;
            compareWithModel(way, 40);
            EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        });
        EXPECT_GT(allocations, 10);
    }
    orinlog_setAllLevels(&orinlog_level_mem, ORINLOG_EDEBUG);
}

TEST(HashContainers, AreWalkedBySlotsAndInEachSlotTheNewestFirst) {
    OrinHashTable numbers;
    OrinHashTable texts;
    OrinHashMap map;
    const void* word = nullptr;
    const char* text = nullptr;
    void* value = nullptr;
    ASSERT_EQ(orin_createHashTable(&numbers, 100, 4, 4, OrinHashTableCopy::no), 0);
    ASSERT_EQ(orin_createHashTable(&texts, 100, 0, 0, OrinHashTableCopy::yes), 0);
    ASSERT_EQ(orin_createHashMap(&map, 100), 0);
    for (const uintptr_t number : {4U, 3U, 103U, 0U}) {
        ASSERT_EQ(orin_putIntoHashTable(&numbers, reinterpret_cast<void*>(number), &map), 0);
    }
    for (uint32_t index = 0; const uintptr_t number : {0U, 103U, 3U, 4U}) {
        ASSERT_EQ(orin_getFromHashTableAtIndex(&numbers, index++, &word, &value), 0);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(word), number);
    }
    // A byte that is 199 and not -57; sums of 195 and 196; keys that differ only behind what is looked at.
    std::string keys[] = {
        "\xC7", "ab", "ba", "ac", "ten chars_a", "ten chars_b", "exactly 20 characterA", "exactly 20 characterB"};
    for (std::string& key : keys) {
        ASSERT_EQ(orin_putIntoHashTable(&texts, key.c_str(), key.data()), 0);
        ASSERT_EQ(orin_insertIntoHashMap(&map, key.c_str(), key.c_str(), 2), 0);
    }
    const int tableOrder[] = {5, 4, 7, 6, 2, 1, 3, 0};
    const int mapOrder[] = {7, 6, 4, 5, 2, 1, 3, 0};
    for (uint32_t index = 0; index < 8; index++) {
        ASSERT_EQ(orin_getFromHashTableAtIndex(&texts, index, &word, &value), 0);
        EXPECT_EQ(static_cast<const char*>(word), keys[tableOrder[index]]);
        ASSERT_EQ(orin_getFromHashMap(&map, index, &text, &value), 0);
        EXPECT_EQ(text, keys[mapOrder[index]]);
    }
    EXPECT_EQ(orin_getFromHashTableAtIndex(&texts, 8, &word, &value), -1);
    EXPECT_EQ(orin_getFromHashMap(&map, 8, &text, &value), -1);
    orin_destroyHashTable(&numbers);
    orin_destroyHashTable(&texts);
    orin_destroyHashMap(&map);
}

TEST(HashTable, TakesItsOwnCopiesAndTextsBeyondSixteenBits) {
    OrinHashTable table;
    ASSERT_EQ(orin_createHashTable(&table, 3, 0, 0, OrinHashTableCopy::yes), 0);
    std::string huge(70000, 'x');
    ASSERT_EQ(orin_putIntoHashTable(&table, huge.c_str(), huge.data()), 0);
    const void* key = nullptr;
    void* value = nullptr;
    ASSERT_EQ(orin_getFromHashTableAtIndex(&table, 0, &key, &value), 0);
    ASSERT_EQ(orin_putIntoHashTable(&table, key, value), 0);
    ASSERT_EQ(orin_getFromHashTable(&table, huge.c_str(), &value), 0);
    EXPECT_EQ(std::string(static_cast<char*>(value)), huge.substr(0, 65535));
    uint32_t size = 0;
    EXPECT_EQ(orin_getHashTableSize(&table, &size), 0);
    EXPECT_EQ(size, 1U);
    orin_destroyHashTable(&table);
}

TEST(HashMap, HoldsItsEntriesWhenMemoryRunsOutAndATraversalRemovesThem) {
    failEachAllocation([] {
        const LogCapture log;
        std::unique_ptr<OrinHashMap, int (*)(OrinHashMap*)> map(orinHashMap_New(1), orinHashMap_Delete);
        if (map == nullptr) {
            EXPECT_TRUE(FailingMalloc::hasFailed());
            return;
        }
        uint32_t expected = 0;
        for (uint32_t i = 0; i < 10; i++) {  // each key twice
            const uint32_t number = i / 2;
            const int result = orin_insertIntoHashMap(map.get(), keyText(number).c_str(), &number, sizeof(number));
            expected |= result == 0 ? 1U << number : 0;
        }
        EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        const auto isOdd = [](const char*, void* value, void* seen) {
            *static_cast<uint32_t*>(seen) |= 1U << *static_cast<uint32_t*>(value);
            return static_cast<int>(*static_cast<uint32_t*>(value) % 2);
        };
        uint32_t seen[3] = {};
        EXPECT_EQ(orin_traverseHashMap(map.get(), isOdd, &seen[0]), 0);
        EXPECT_EQ(orin_traverseDeleting(map.get(), isOdd, &seen[1]), 0);
        EXPECT_EQ(orin_traverseHashMap(map.get(), isOdd, &seen[2]), 0);
        EXPECT_TRUE(seen[0] == 0x1F && seen[0] == expected && seen[1] == expected && seen[2] == (expected & 0x15));
        EXPECT_EQ(orin_sizeOfHashMap(map.get()), 3);
    });
}

TEST(HashContainers, SayWhatWasWrong) {
    const LogCapture log;
    OrinHashTable table{};
    OrinHashMap map{};
    const void* word = nullptr;
    const char* text = nullptr;
    void* value = nullptr;
    EXPECT_EQ(orin_putIntoHashTable(&table, "key", &value), -1);  // not created
    EXPECT_EQ(orin_createHashTable(nullptr, 5, 0, 0, OrinHashTableCopy::no), -1);
    EXPECT_EQ(orinHashMap_New(0), nullptr);
    EXPECT_EQ(orinHashMap_Delete(nullptr), -1);
    ASSERT_EQ(orin_createHashTable(&table, 1, 4, 4, OrinHashTableCopy::no), 0);
    ASSERT_EQ(orin_createHashMap(&map, 1), 0);
    EXPECT_EQ(orin_getFromHashTable(&table, nullptr, &value), -1);  // 0 is a key like others
    EXPECT_EQ(orin_deleteFromHashTable(&table, nullptr), -1);
    EXPECT_EQ(orin_getFromHashTableAtIndex(&table, 3, &word, &value), -1);
    EXPECT_EQ(orin_getFromHashMap(&map, 7, &text, &value, "somebody"), -1);
    EXPECT_EQ(orin_deleteFromHashMap(&map, "absent"), -1);
    ASSERT_EQ(orin_insertIntoHashMap(&map, "ab", "1234", 4), 0);
    ASSERT_EQ(orin_insertIntoHashMap(&map, "ba", nullptr, 4), 0);
    EXPECT_EQ(orin_dumpHashMap(&map), 0);
    for (const char* error : {"orin_createHashTable(): illegal param error -> context=(nil) slotCount=5",
                              "orin_putIntoHashTable(): illegal param error -> context=0x",
                              "orin_createHashMap: illegal parameter error (context 0x", "] Fehler beim Initialisieren",
                              "orinHashMap_Delete[(nil)] Parameter ungueltig"}) {
        EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR, error)) << error << '\n' << log;
    }
    for (const char* answer :
         {"orin_getFromHashTable(...): key=(nil) not found", "orin_deleteFromHashTable(...): key=(nil) not found",
          "orin_getFromHashTableAtIndex(...): entry with index=3 not found",
          "orin_getFromHashMap: [called from somebody]: entry with index=7 not found",
          "orin_deleteFromHashMap: key=absent not found", " Key=ab Value=1234 ValuePtr=0x",
          " Key=ba Value=(null) ValuePtr=(nil)"}) {
        EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_DEBUG, answer)) << answer << '\n' << log;
    }
    orin_destroyHashTable(&table);
    orin_destroyHashMap(&map);
}

}  // namespace
