// The string buffer against std::string, and what it says when it cannot.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "failing_malloc.h"
#include "log_capture.h"
#include "orin_stringbuffer.h"
#include "orinlog.h"

namespace {

using Texts = std::vector<std::string>;

// Counts down to the call of vsnprintf that fails.
int formattingsToFailure = 0;

std::string textOf(const orinStringBuffer& sb) {
    return sb.data == nullptr ? "" : std::string(sb.data, sb.length);
}

}  // namespace

extern "C" int __real_vsnprintf(char* text, size_t size, const char* format, va_list arguments);
extern "C" __attribute__((format(printf, 3, 0))) int __wrap_vsnprintf(char* text, size_t size, const char* format,
                                                                      va_list arguments) {
    const int result = __real_vsnprintf(text, size, format, arguments);
    return formattingsToFailure > 0 && --formattingsToFailure == 0 ? -1 : result;
}

namespace {

// One random operation on both. Returns what the buffer's function returned.
int step(orinStringBuffer* sb, std::string* model, std::minstd_rand& random) {
    const std::string text(random() % 60, static_cast<char>('a' + random() % 26));
    const auto number = static_cast<uint32_t>(random() % 200);
    switch (random() % 6) {
        case 0:
            model->append(text).push_back('\0');
            return orin_appendToStringBuffer(sb, text.c_str(), text.size() + 1);
        case 1:
            *model += text + ":" + std::to_string(number);
            return orin_stringbuffer_printf(sb, "%s:%u", text.c_str(), number);
        case 2:
            *model = text;
            return orin_setStringBuffer(sb, text.c_str());
        case 3:
            return orin_stringbuffer_printf(sb, "%s", "");
        case 4:
            model->resize(std::min<size_t>(number, model->size()));
            return orin_truncateStringBuffer(sb, number);
        default:
            model->clear();
            if (number % 3 != 0) {
                EXPECT_EQ(orin_clearStringBuffer(sb), sb->data);
            } else {
                free(orinStringBuffer_ExtractString(sb));
            }
            return 0;
    }
}

TEST(StringBuffer, HoldsWhatAStringHoldsUntilMemoryRunsOut) {
    const int allocations = failEachAllocation([] {
        const LogCapture log;
        std::minstd_rand random(3);
        orinStringBuffer sb;
        std::string model;
        EXPECT_EQ(orin_initStringBuffer(&sb, nullptr), 0);
        int result = 0;
        for (int i = 0; i < 400 && result == 0; i++) {
            result = step(&sb, &model, random);
            ASSERT_EQ(textOf(sb), result == 0 ? model : "");
            ASSERT_TRUE(sb.data == nullptr || (sb.data[sb.length] == '\0' && sb.capacity > sb.length));
        }
        ASSERT_EQ(result, FailingMalloc::hasFailed() ? -1 : 0);
        if (result != 0) {  // the text is lost, its measures are not, and the end is final until the buffer is freed
            EXPECT_EQ(log.texts(ORINLOG_ERROR), Texts{"orinStringBuffer_EnsureSize: realloc failed: out of memory"});
            if (sb.capacity > 0) {
                EXPECT_EQ(orin_appendStringToStringBuffer(&sb, std::string(500, 'x').c_str()), -1);
                EXPECT_EQ(orin_stringbuffer_printf(&sb, "%s", "x"), -1);
                EXPECT_EQ(orin_truncateStringBuffer(&sb, 0), sb.length > 0 ? -1 : 0);
                EXPECT_EQ(orin_clearStringBuffer(&sb), nullptr);
            }
            orin_freeStringBufferData(&sb);
            EXPECT_EQ(orin_appendStringToStringBuffer(&sb, "anew"), 0);
            EXPECT_EQ(textOf(sb), "anew");
        }
        orin_freeStringBufferData(&sb);
    });
    EXPECT_GT(allocations, 50);
    failEachAllocation([] {
        const LogCapture log;
        const orinStringBufferPtr made(orinStringBuffer_New(100));
        EXPECT_EQ(made == nullptr, FailingMalloc::hasFailed());
        EXPECT_EQ(made == nullptr, log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "orinStringBuffer_New kein Speicher") ||
                                       log.has(ORINLOG_CAT_OTHER, ORINLOG_ERROR, "] Fehler beim Initialisieren"));
    });
}

TEST(StringBuffer, GrowsByHalfItsSizeOrToWhatIsNeeded) {
    orinStringBuffer sb;
    ASSERT_EQ(orin_initStringBufferPreAlloc(&sb, 0), 0);
    EXPECT_EQ(orin_getStringBuffer(&sb), nullptr);
    std::vector<uint32_t> capacities{0};
    for (int i = 0; i < 200; i++) {
        ASSERT_EQ(orin_appendToStringBuffer(&sb, "x", 1), 0);
        if (capacities.back() != sb.capacity) {
            capacities.push_back(sb.capacity);
        }
    }
    EXPECT_EQ(capacities, (std::vector<uint32_t>{0, 32, 48, 72, 108, 162, 243}));
    ASSERT_EQ(orin_appendStringToStringBuffer(&sb, std::string(1000, 'y').c_str()), 0);
    EXPECT_EQ(sb.capacity, 1201U);
    // A part of its own text, which stands in the storage that is given up.
    ASSERT_EQ(orin_setStringBuffer(&sb, sb.data + 1190), 0);
    EXPECT_EQ(textOf(sb), std::string(10, 'y'));
    EXPECT_EQ(sb.capacity, 32U);
    orin_freeStringBufferData(&sb);
}

TEST(StringBuffer, KeepsItsTextWhenFormattingFailsOrTheResultWouldBeTooLong) {
    orinStringBuffer sb;
    ASSERT_EQ(orin_initStringBuffer(&sb, "text"), 0);
    for (int call = 1; call <= 2; call++) {
        const LogCapture log;
        formattingsToFailure = call;
        EXPECT_EQ(orin_stringbuffer_printf(&sb, " and %d", 1), -1);
        EXPECT_EQ(log.texts(ORINLOG_ERROR),
                  Texts{std::string("orin_stringbuffer_vprintf: vsnprintf failed: ") +
                        (call == 1 ? "cannot determine length for " : "") + "format= and %d"});
        EXPECT_EQ(orin_appendToStringBuffer(&sb, "x", UINT32_MAX - 4U), -1);
        EXPECT_EQ(orin_appendToStringBuffer(&sb, "x", SIZE_MAX), -1);
        EXPECT_EQ(sb.length, 4U);
        EXPECT_STREQ(sb.data, "text");
    }
    orin_freeStringBufferData(&sb);
}

TEST(StringBuffer, SaysWhatIsMissing) {
    orinStringBuffer sb{};
    const LogCapture log;
    EXPECT_EQ(orin_initStringBuffer(nullptr, "text"), -1);
    EXPECT_EQ(orin_appendToStringBuffer(nullptr, "no NUL is needed", 2), -1);
    EXPECT_EQ(orin_appendStringToStringBuffer(&sb, nullptr), 0);
    EXPECT_EQ(orin_setStringBuffer(nullptr, "text"), -1);
    EXPECT_EQ(orin_truncateStringBuffer(nullptr, 1), -1);
    EXPECT_EQ(orin_getStringBuffer(nullptr), nullptr);
    EXPECT_EQ(orin_getStringBufferLength(nullptr), 0U);
    EXPECT_EQ(orinStringBuffer_ExtractString(nullptr), nullptr);
    EXPECT_EQ(orinStringBuffer_Delete(nullptr), -1);
    EXPECT_EQ(log.texts(ORINLOG_ERROR),
              (Texts{"orin_initStringBufferPreAlloc: sb==NULL", "orin_appendToStringBuffer: sb=(nil) stringToAppend=no",
                     "orin_setStringBuffer: sb=(nil) stringToSet=text", "orin_truncateStringBuffer: sb=(nil)",
                     "orin_getStringBuffer: sb==NULL", "orin_getStringBufferLength: sb==NULL",
                     "orinStringBuffer_ExtractString[(nil)] Parameter ungueltig",
                     "orinStringBuffer_Delete[(nil)] Parameter ungueltig"}));
    EXPECT_EQ(log.records().at(0).file, "orin_stringbuffer.c");
}

}  // namespace
