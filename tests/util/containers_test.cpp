// The hash table in its three ways to keep keys, the hash map and the vector against containers of the standard
// library, and the vector's files.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "failing_malloc.h"
#include "file_tools.h"
#include "log_capture.h"
#include "orin_hashtable2.h"
#include "orin_hashtable3.h"
#include "orin_vector.h"
#include "orinlog.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

// Keys of 30 bytes: some agree longer than any hash looks, some have bytes that a signed char makes negative.
Texts someKeys() {
    Texts keys;
    for (int i = 0; i < 40; i++) {
        keys.push_back((i % 2 == 0 ? "M\xC3\xBC" : "keys that begin all alike ") + std::to_string(i));
        keys.back().resize(30, '.');
    }
    return keys;
}

// Does random things to a new table and to the model, and compares them after each. The key size tells the way to keep
// keys and values: 0 copies texts, 30 bytes, 4 their addresses.
void compareTableWithModel(uint16_t keySize, int steps) {
    static const char* const values[] = {"v1", "v2", "v3"};
    const Texts keys = someKeys();
    std::map<const char*, std::string> model;
    std::minstd_rand random(1);
    OrinHashTable table;
    const auto copy = keySize == 4 ? OrinHashTableCopy::no : OrinHashTableCopy::yes;
    const int created = orin_createHashTable(&table, 7, keySize, keySize == 30 ? 3 : 0, copy);
    EXPECT_EQ(created, FailingMalloc::hasFailed() ? -1 : 0);
    for (int step = 0; created == 0 && step < steps && !testing::Test::HasFailure(); step++) {
        const char* const key = keys[random() % keys.size()].c_str();
        const auto choice = random() % 100;
        if (choice >= 99) {
            EXPECT_EQ(orin_clearHashTable(&table), 0);
            model.clear();
        } else if (choice >= 70) {
            EXPECT_EQ(orin_deleteFromHashTable(&table, key), model.erase(key) == 1 ? 0 : -1);
        } else if (orin_putIntoHashTable(&table, key, const_cast<char*>(values[choice % 3])) == 0) {
            model[key] = values[choice % 3];
        } else {
            EXPECT_TRUE(FailingMalloc::hasFailed());
        }
        uint32_t size = 0;
        EXPECT_EQ(orin_getHashTableSize(&table, &size), 0);
        EXPECT_EQ(size, model.size());
        for (const std::string& wanted : keys) {
            void* value = nullptr;
            EXPECT_EQ(orin_getFromHashTable(&table, wanted.c_str(), &value), model.count(wanted.c_str()) == 1 ? 0 : -1);
            EXPECT_TRUE(value == nullptr || model[wanted.c_str()] == static_cast<char*>(value));
        }
    }
    EXPECT_EQ(orin_destroyHashTable(&table), 0);
}

TEST(HashTable, HoldsWhatAMapHoldsAndIsAsItWasWhenMemoryRunsOut) {
    orinlog_setAllLevels(&orinlog_level_mem, ORINLOG_ERROR);
    for (const uint16_t keySize : std::initializer_list<uint16_t>{0, 30, 4}) {
        compareTableWithModel(keySize, 3000);
        const int allocations = failEachAllocation([keySize] {
            const LogCapture log;
            compareTableWithModel(keySize, 40);
            EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        });
        EXPECT_GT(allocations, 10);
    }
    orinlog_setAllLevels(&orinlog_level_mem, ORINLOG_EDEBUG);
}

TEST(HashMap, HoldsItsEntriesWhenMemoryRunsOutAndATraversalRemovesThem) {
    failEachAllocation([] {
        const LogCapture log;
        OrinHashMap* map = orinHashMap_New(1);
        if (map == nullptr) {
            EXPECT_TRUE(FailingMalloc::hasFailed());
            return;
        }
        for (const char* key : {"0", "0", "1", "1", "2", "2"}) {  // one of two succeeds
            EXPECT_TRUE(orin_insertIntoHashMap(map, key, key, 2) == 0 || FailingMalloc::hasFailed());
        }
        EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        const auto isOne = [](const char* key, void* value, void* seen) {
            *static_cast<std::string*>(seen) += key;
            return static_cast<int>(*static_cast<char*>(value) == '1');
        };
        std::string seen;
        EXPECT_EQ(orin_traverseHashMap(map, isOne, &seen), 0);
        EXPECT_EQ(orin_traverseDeleting(map, isOne, &seen), 0);
        EXPECT_EQ(orin_deleteFromHashMap(map, "2"), 0);
        EXPECT_EQ(orin_deleteFromHashMap(map, "1"), -1) << "it is gone already";
        const char* key = nullptr;
        void* value = nullptr;
        EXPECT_EQ(orin_getFromHashMap(map, 0, &key, &value), 0);
        EXPECT_EQ(seen + "," + key, "210210,0");
        EXPECT_EQ(orinHashMap_Delete(map), 0);
    });
}

TEST(HashTable, IsWalkedBySlotsAndInEachSlotTheNewestFirst) {
    OrinHashTable table;
    ASSERT_EQ(orin_createHashTable(&table, 100, 0, 0, OrinHashTableCopy::yes), 0);
    // A byte that is 199 and not -57; sums of 195 and 196; keys that differ only behind what is looked at.
    std::string keys[] = {
        "\xC7", "ab", "ba", "ac", "ten chars_a", "ten chars_b", "exactly 20 characterA", "exactly 20 characterB"};
    for (std::string& key : keys) {
        ASSERT_EQ(orin_putIntoHashTable(&table, key.c_str(), key.data()), 0);
    }
    const LogCapture log;
    const void* key = nullptr;
    void* value = nullptr;
    Texts order;
    for (uint32_t i = 0; orin_getFromHashTableAtIndex(&table, i, &key, &value) == 0; i++) {
        order.emplace_back(static_cast<const char*>(key));
    }
    EXPECT_THAT(order, ElementsAre(keys[5], keys[4], keys[7], keys[6], keys[2], keys[1], keys[3], keys[0]));
    EXPECT_THAT(log.texts(ORINLOG_DEBUG),
                ElementsAre(HasSubstr("orin_getFromHashTableAtIndex(...): entry with index=8 not found")));
    orin_destroyHashTable(&table);
}

// Items are texts with their NUL.
Texts itemsOf(const OrinVector& vector) {
    Texts items;
    void* item = nullptr;
    for (uint32_t i = 0; i < vector.count; i++) {
        EXPECT_EQ(orin_getFromVector(&vector, i, &item), 0);
        items.emplace_back(static_cast<char*>(item));
    }
    return items;
}

void compareVectorWithModel(OrinVector* vector, int steps) {
    Texts model;
    bool failed = FailingMalloc::hasFailed();
    std::minstd_rand random(1);
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); step++) {
        const std::string text(random() % 5, static_cast<char>('a' + random() % 4));
        const auto position = static_cast<uint32_t>(random() % (model.size() + 3));
        const auto before = model.begin() + std::min<ptrdiff_t>(position, static_cast<ptrdiff_t>(model.size()));
        const auto choice = random() % 1000;
        if (choice < 750) {
            const int result = orin_insertIntoVectorAt(vector, position, text.c_str(), text.size() + 1);
            ASSERT_EQ(result, FailingMalloc::hasFailed() && !failed ? -1 : 0);
            model.insert(before, result == 0 ? 1 : 0, text);
        } else if (choice < 950 && before != model.end()) {
            EXPECT_EQ(orin_deleteFromVector(vector, position), 0);
            model.erase(before);
        } else if (choice < 990) {
            const auto compare = [](const void* left, const void* right) {
                return strcmp(static_cast<const char*>(left), static_cast<const char*>(right));
            };
            EXPECT_EQ(orin_sortVector(vector, compare), 0);
            std::sort(model.begin(), model.end());
        } else if (choice == 999) {
            EXPECT_EQ(orin_clearVector(vector), 0);
            model.clear();
        }
        failed = FailingMalloc::hasFailed();
        ASSERT_EQ(itemsOf(*vector), model);
        const auto found = std::find(model.begin(), model.end(), text);
        EXPECT_EQ(orin_VectorFindString(vector, text.c_str()), found == model.end() ? -1 : found - model.begin());
    }
}

TEST(Vector, HoldsWhatItsModelHoldsAndIsAsItWasWhenMemoryRunsOut) {
    OrinVector vector;
    ASSERT_EQ(orin_createVector(&vector), 0);
    compareVectorWithModel(&vector, 1500);
    orin_destroyVector(&vector);
    const int allocations = failEachAllocation([&vector] {
        const LogCapture log;
        if (orin_createVector(&vector) == 0) {
            compareVectorWithModel(&vector, 60);
        } else {
            EXPECT_EQ(orin_addToVector(&vector, "", 1), -1);  // cannot grow
        }
        EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        orin_destroyVector(&vector);
    });
    EXPECT_GT(allocations, 30);
}

TEST(Vector, AFileKeepsAllBytesAndADamagedOneIsRefused) {
    const TempDir folder;
    const std::string path = folder.file("items");
    std::string allBytes(256, '\0');
    std::iota(allBytes.begin(), allBytes.end(), '\0');
    OrinVector vector;
    ASSERT_EQ(orin_createVector(&vector), 0);
    for (const std::string& item : {std::string(), std::string("3:x\n"), allBytes}) {
        ASSERT_EQ(orin_addToVector(&vector, item.data(), item.size()), 0);
    }
    EXPECT_EQ(orin_VectorFindString(&vector, "3:x\n"), -1) << "behind the item, which has no NUL";
    ASSERT_EQ(orin_VectorToFile(&vector, path.c_str()), 0);
    const std::string content = "orinvector 1 3\n0:\n4:3:x\n\n256:" + allBytes + "\n";
    EXPECT_EQ(readFile(path), content);

    Texts damaged{content + "\n", "orinvector 1 00000000001\n0:\n", "orinvector 1 1\n9999999999:\n"};
    for (size_t length = 0; length < content.size(); length++) {
        damaged.push_back(content.substr(0, length));
        damaged.push_back(std::string(content).replace(std::min<size_t>(length, 17), 1, "7"));
    }
    const LogCapture log;
    orin_clearVector(&vector);
    for (const std::string& wrong : damaged) {
        writeFile(folder.file("damaged"), wrong);
        EXPECT_EQ(orin_VectorFromFile(&vector, folder.file("damaged").c_str()), -1) << wrong;
    }
    EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "is damaged or cannot be read, at position"), damaged.size());
    failEachAllocation([&] {
        const int result = orin_VectorFromFile(&vector, path.c_str());
        EXPECT_EQ(result, FailingMalloc::hasFailed() ? -1 : 0);
        EXPECT_EQ(vector.count, result == 0 ? 3U : 0U);
    });
    // What cannot be written leaves nothing behind; what was read is what was written.
    EXPECT_EQ(orin_VectorToFile(&vector, folder.path().c_str()), -1);
    EXPECT_FALSE(fileExists(folder.path() + ".new"));
    ASSERT_EQ(orin_VectorToFile(&vector, path.c_str()), 0);
    EXPECT_EQ(readFile(path), content);
    orin_destroyVector(&vector);
}

}  // namespace
