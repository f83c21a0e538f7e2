// Which records are wanted, and the names of categories and levels.
#include <gmock/gmock.h>

#include <fstream>

#include "log_capture.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_CT_SYNC, "levels_test.c"};

// The highest level that is enabled for a category.
uint32_t enabledUpTo(OrinlogLevelMem* memory, uint32_t category) {
    uint32_t level = 0;
    while (level < 20 && orinlog_levelEnabled(memory, category, level + 1)) {
        ++level;
    }
    return level;
}

// A level memory of the test's own, beside the process's.
struct OwnLevels {
    OrinlogSharedLevels shared{};
    OrinlogLevelMem memory{{1}, {0}, PTHREAD_MUTEX_INITIALIZER, &shared};
};

class Levels : public testing::Test {
  protected:
    ~Levels() override {
        orinlog_setAllLevels(&orinlog_level_mem, 0);
        orinlog_setLevel(&orinlog_level_mem, ORINLOG_CAT_OTHER, ORINLOG_EDEBUG);
    }
};

TEST_F(Levels, aCategoryWithoutAnEntryOfItsOwnHasTheDefaultEntry) {
    OwnLevels own;
    own.shared.levels[ORINLOG_CAT_OTHER] = ORINLOG_INFO;
    own.shared.levels[ORINLOG_CAT_DB] = ORINLOG_EDEBUG;
    EXPECT_EQ(enabledUpTo(&own.memory, ORINLOG_CAT_CT_SYNC), ORINLOG_INFO);
    EXPECT_EQ(enabledUpTo(&own.memory, ORINLOG_CAT_DB), ORINLOG_EDEBUG);
    EXPECT_EQ(enabledUpTo(&own.memory, ORINLOG_CAT_ORINLOG), ORINLOG_INFO);
    EXPECT_FALSE(orinlog_levelEnabled(&own.memory, 625, ORINLOG_ERROR));
    EXPECT_FALSE(orinlog_levelEnabled(&own.memory, 700, ORINLOG_NONE));
    EXPECT_EQ(orinlog_getLevel(&own.memory, ORINLOG_CAT_CT_SYNC), 0U);
    EXPECT_EQ(orinlog_getEffectiveLevel(&own.memory, ORINLOG_CAT_CT_SYNC), ORINLOG_INFO);
    EXPECT_EQ(orinlog_getLevel(&own.memory, 700), 0U);
}

TEST_F(Levels, aThresholdAboveTheHighestLevelEnablesNothingMore) {
    OwnLevels own;
    orinlog_setAllLevels(&own.memory, 9);
    EXPECT_EQ(enabledUpTo(&own.memory, ORINLOG_CAT_DB), ORINLOG_EDEBUG);
    EXPECT_EQ(orinlog_getLevel(&own.memory, ORINLOG_CAT_ORINLOG), 9U);
}

TEST_F(Levels, anAbsentMemoryEnablesErrorsOfAnyCategory) {
    OrinlogLevelMem absent{{0}, {0}, PTHREAD_MUTEX_INITIALIZER, nullptr};
    orinlog_setAllLevels(&absent, ORINLOG_EDEBUG);
    EXPECT_TRUE(orinlog_levelEnabled(&absent, 700, ORINLOG_NONE));
    EXPECT_EQ(enabledUpTo(&absent, 700), ORINLOG_ERROR);
    EXPECT_EQ(orinlog_getLevel(&absent, ORINLOG_CAT_OTHER), ORINLOG_ERROR);
    EXPECT_EQ(orinlog_getLevel(&absent, ORINLOG_CAT_DB), 0U);
    EXPECT_EQ(orinlog_getEffectiveLevel(&absent, ORINLOG_CAT_DB), ORINLOG_ERROR);
}

TEST_F(Levels, copyingTakesAllEntriesAndNeedsBothMemories) {
    OwnLevels from;
    OwnLevels to;
    OrinlogLevelMem absent{{0}, {0}, PTHREAD_MUTEX_INITIALIZER, nullptr};
    orinlog_setAllLevels(&to.memory, ORINLOG_DEBUG);
    orinlog_setLevel(&from.memory, ORINLOG_CAT_ORINLOG, ORINLOG_WARNING);
    orinlog_copyLevels(&to.memory, &absent);
    EXPECT_EQ(orinlog_getLevel(&to.memory, ORINLOG_CAT_OTHER), ORINLOG_DEBUG);
    orinlog_copyLevels(&to.memory, &from.memory);
    EXPECT_THAT(to.shared.levels, testing::ElementsAreArray(from.shared.levels));
}

TEST_F(Levels, whatTheAdministratorSetsHoldsAtOnce) {
    ASSERT_TRUE(orinlog_levelEnabled(&orinlog_level_mem, ORINLOG_CAT_CT_SYNC, ORINLOG_EDEBUG));
    std::fstream levels(loggerFile("levels"), std::ios::in | std::ios::out);
    const char warning[4] = {ORINLOG_WARNING, 0, 0, 0};
    levels.seekp(8 + 4 * 109).write(warning, sizeof(warning)).flush();
    ASSERT_TRUE(levels);
    EXPECT_EQ(enabledUpTo(&orinlog_level_mem, ORINLOG_CAT_CT_SYNC), ORINLOG_WARNING);
}

TEST_F(Levels, theArgumentsOfAnUnwantedRecordAreNotEvaluated) {
    const LogCapture log;
    int evaluated = 0;
    orinlog_setLevel(&orinlog_level_mem, ORINLOG_CAT_CT_SYNC, ORINLOG_INFO);
    ORINLOG(ORINLOG_DEBUG, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    ORINLOG_FN(ORINLOG_INFO, "%d", ++evaluated);
    EXPECT_TRUE(log.has(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "TestBody: 1")) << log;
    EXPECT_EQ(log.records().size(), 1U) << log;
}

TEST_F(Levels, categoriesAndLevelsHaveNames) {
    EXPECT_STREQ(orinlog_categoryName(ORINLOG_CAT_CT_SYNC), "CT_SYNC");
    EXPECT_STREQ(orinlog_categoryName(118), "DB_PORTTNARRAY");
    EXPECT_STREQ(orinlog_categoryName(600), "VOIP_SURF");
    EXPECT_STREQ(orinlog_categoryName(623), "OTHER");
    EXPECT_STREQ(orinlog_categoryName(637), "EVENT_SECURITY_WARNING");
    EXPECT_STREQ(orinlog_categoryName(638), "#INVALID");
    EXPECT_STREQ(orinlog_levelName(ORINLOG_EDEBUG), "EDebug");
    EXPECT_STREQ(orinlog_levelName(6), "Other");
}

}  // namespace
