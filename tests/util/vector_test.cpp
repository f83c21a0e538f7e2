// The vector against std::vector, and its files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "failing_malloc.h"
#include "file_tools.h"
#include "log_capture.h"
#include "orin_vector.h"
#include "orinlog.h"
#include "temp_dir.h"

namespace {

// Items are texts with their NUL.
std::vector<std::string> itemsOf(const OrinVector& vector) {
    std::vector<std::string> items;
    void* item = nullptr;
    for (uint32_t i = 0; i < vector.count; i++) {
        EXPECT_EQ(orin_getFromVector(&vector, i, &item), 0);
        items.emplace_back(static_cast<char*>(item));
    }
    return items;
}

OrinVector vectorOf(const std::vector<std::string>& items) {
    OrinVector vector;
    EXPECT_EQ(orin_createVector(&vector), 0);
    for (const std::string& item : items) {
        EXPECT_EQ(orin_addToVector(&vector, item.data(), item.size()), 0);
    }
    return vector;
}

void compareWithModel(OrinVector* vector, int steps) {
    std::vector<std::string> model;
    bool failed = FailingMalloc::hasFailed();
    std::minstd_rand random(1);
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); step++) {
        const std::string text(random() % 5, static_cast<char>('a' + random() % 4));
        const auto position = static_cast<uint32_t>(random() % (model.size() + 3));
        const auto before = model.begin() + std::min<ptrdiff_t>(position, static_cast<ptrdiff_t>(model.size()));
        const auto choice = random() % 100;
        if (choice < 75) {
            const int result = orin_insertIntoVectorAt(vector, position, text.c_str(), text.size() + 1);
            ASSERT_EQ(result, FailingMalloc::hasFailed() && !failed ? -1 : 0);
            if (result == 0) {
                model.insert(before, text);
            }
        } else if (choice < 95 && before != model.end()) {
            EXPECT_EQ(orin_deleteFromVector(vector, position), 0);
            model.erase(before);
        } else if (choice < 98) {
            const auto compare = [](const void* left, const void* right) {
                return strcmp(static_cast<const char*>(left), static_cast<const char*>(right));
            };
            EXPECT_EQ(orin_sortVector(vector, compare), 0);
            std::sort(model.begin(), model.end());
        } else if (choice == 98 && random() % 5 == 0) {
            EXPECT_EQ(orin_clearVector(vector), 0);
            model.clear();
        }
        failed = FailingMalloc::hasFailed();
        ASSERT_EQ(itemsOf(*vector), model);
        const auto found = std::find(model.begin(), model.end(), text);
        EXPECT_EQ(orin_VectorFindString(vector, text.c_str()), found == model.end() ? -1 : found - model.begin());
        EXPECT_EQ(orin_sizeOfVector(vector), static_cast<int32_t>(model.size()));
    }
}

TEST(Vector, HoldsWhatItsModelHoldsAndIsAsItWasWhenMemoryRunsOut) {
    OrinVector vector;
    ASSERT_EQ(orin_createVector(&vector), 0);
    compareWithModel(&vector, 1500);
    EXPECT_EQ(orin_destroyVector(&vector), 0);
    const int allocations = failEachAllocation([&vector] {
        const LogCapture log;
        if (orin_createVector(&vector) == 0) {
            compareWithModel(&vector, 60);
        } else {
            EXPECT_EQ(orin_addToVector(&vector, "", 1), -1);  // cannot grow
        }
        EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "out of memory error"), FailingMalloc::hasFailed());
        EXPECT_EQ(orin_destroyVector(&vector), 0);
    });
    EXPECT_GT(allocations, 30);
}

TEST(Vector, DoublesUpTo200ItemsAndThenGrowsBy200) {
    OrinVector vector;
    ASSERT_EQ(orin_createVector(&vector), 0);
    std::vector<uint32_t> capacities{vector.capacity};
    for (int i = 0; i < 700; i++) {
        ASSERT_EQ(orin_addToVector(&vector, &i, sizeof(i)), 0);
        if (vector.capacity != capacities.back()) {
            capacities.push_back(vector.capacity);
        }
    }
    EXPECT_EQ(capacities, (std::vector<uint32_t>{10, 20, 40, 80, 160, 320, 520, 720}));
    orin_destroyVector(&vector);
}

TEST(Vector, SaysWhatWasWrong) {
    OrinVector vector = vectorOf({"unterminated"});
    const LogCapture log;
    void* item = nullptr;
    EXPECT_EQ(__orin_getFromVector(&vector, 1, &item, "caller.c", 7), -1);
    EXPECT_EQ(orin_deleteFromVector(&vector, 1), -1);
    EXPECT_EQ(orin_VectorFindString(&vector, "unterminated"), -1);  // and reads no further than the item
    EXPECT_EQ(orin_addToVector(&vector, "", SIZE_MAX), -1);
    EXPECT_EQ(log.texts(ORINLOG_ERROR)[0],
              "__orin_getFromVector: illegal parameter error vecIdx=1 size=1, "
              "happens in file=caller.c:7");
    EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "orin_insertIntoVectorAt: out of memory error (objCopy)"));
    EXPECT_EQ(log.texts(ORINLOG_ERROR).size(), 3U) << log;
    orin_destroyVector(&vector);
}

TEST(Vector, AFileKeepsAllBytesAndADamagedOneIsRefused) {
    std::string allBytes;
    for (int byte = 0; byte < 256; byte++) {
        allBytes += static_cast<char>(byte);
    }
    const std::vector<std::string> items{"", "3:x\n", allBytes, std::string(100000, '\n')};
    const TempDir folder;
    const std::string path = folder.file("items");
    OrinVector written = vectorOf(items);
    OrinVector read = vectorOf({"before"});
    ASSERT_EQ(orin_VectorToFile(&written, path.c_str()), 0);
    const std::string content = readFile(path);

    // Every shorter file (in steps, where it is long), a longer one, and wrong numbers.
    std::vector<std::string> damaged{content + "\n", "", "orinvector 1 00000000001\n0:\n",
                                     "orinvector 1 1\n9999999999:\n"};
    for (size_t length = 0; length < content.size(); length += length < 400 ? 1 : 9973) {
        damaged.push_back(content.substr(0, length));
    }
    for (const size_t at : {0U, 11U, 13U, 15U, 16U, 17U}) {
        damaged.push_back(content);
        damaged.back()[at] = '7';
    }
    const LogCapture log;
    for (const std::string& wrong : damaged) {
        writeFile(folder.file("damaged"), wrong);
        EXPECT_EQ(orin_VectorFromFile(&read, folder.file("damaged").c_str()), -1) << wrong.substr(0, 40);
    }
    EXPECT_EQ(log.count(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "is damaged or cannot be read, at position"), damaged.size());
    failEachAllocation([&] {
        const int result = orin_VectorFromFile(&read, path.c_str());
        EXPECT_EQ(result, FailingMalloc::hasFailed() ? -1 : 0);
        EXPECT_EQ(read.count, result == 0 ? items.size() : 1U);
    });
    for (uint32_t i = 0; i < read.count; i++) {
        EXPECT_EQ(memcmp(read.items[i], items[i].data(), items[i].size()), 0) << i;
    }
    // What cannot be written leaves nothing behind, and the old file as it was.
    EXPECT_EQ(orin_VectorToFile(&written, folder.file("absent/items").c_str()), -1);
    EXPECT_EQ(orin_VectorToFile(&written, folder.path().c_str()), -1);
    EXPECT_FALSE(fileExists(folder.path() + ".new"));
    EXPECT_EQ(readFile(path), content);
    orin_destroyVector(&written);
    orin_destroyVector(&read);
}

}  // namespace
