// The string buffer against std::string; copying, replacing and encoding texts; UTF-8 as it comes, cut and damaged too.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "failing_malloc.h"
#include "log_capture.h"
#include "orin_base64.h"
#include "orin_headerword.h"
#include "orin_memory.h"
#include "orin_stringbuffer.h"
#include "orin_stringutils.h"
#include "orin_utf8.h"
#include "orinlog.h"

namespace {

using namespace std::string_literals;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;

std::string textOf(const orinStringBuffer& sb) {
    return sb.data == nullptr ? "" : std::string(sb.data, sb.length);
}

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
            number % 3 != 0 ? static_cast<void>(orin_clearStringBuffer(sb)) : free(orinStringBuffer_ExtractString(sb));
            return 0;
    }
}

TEST(StringBuffer, HoldsWhatAStringHoldsUntilMemoryRunsOut) {
    const std::string noMemory = "orinStringBuffer_EnsureSize: realloc failed: out of memory";
    const int allocations = failEachAllocation([&noMemory] {
        const LogCapture log;
        std::minstd_rand random(3);
        std::string model;
        const orinStringBufferPtr sb(orinStringBuffer_New(40));
        int result = sb == nullptr ? -1 : 0;
        for (int i = 0; i < 400 && result == 0; i++) {
            result = step(sb.get(), &model, random);
            ASSERT_EQ(textOf(*sb), result == 0 ? model : "");
            ASSERT_TRUE(sb->data == nullptr || (sb->data[sb->length] == '\0' && sb->capacity > sb->length));
        }
        ASSERT_EQ(result, FailingMalloc::hasFailed() ? -1 : 0);
        if (sb == nullptr) {
            EXPECT_THAT(log.texts(ORINLOG_ERROR),
                        AnyOf(ElementsAre("orinStringBuffer_New kein Speicher"),
                              ElementsAre(noMemory, EndsWith("] Fehler beim Initialisieren"))));
        } else if (result != 0) {
            EXPECT_THAT(log.texts(ORINLOG_ERROR), ElementsAre(noMemory));
            if (sb->capacity > 0) {  // the text is lost, its measures are not, and the end is final until it is freed
                EXPECT_EQ(orin_appendStringToStringBuffer(sb.get(), std::string(500, 'x').c_str()), -1);
                EXPECT_EQ(orin_stringbuffer_printf(sb.get(), "%s", "x"), -1);
                EXPECT_EQ(orin_truncateStringBuffer(sb.get(), 0), sb->length > 0 ? -1 : 0);
            }
            orin_freeStringBufferData(sb.get());
            EXPECT_EQ(orin_appendStringToStringBuffer(sb.get(), "anew"), 0);
            EXPECT_EQ(textOf(*sb), "anew");
        }
    });
    EXPECT_GT(allocations, 50);
}

TEST(StringBuffer, TakesAPartOfItselfAndSaysWhatItRefuses) {
    orinStringBuffer sb;
    const orinStringBufferData release(&sb);
    ASSERT_EQ(orin_initStringBuffer(&sb, std::string(1000, 'y').c_str()), 0);
    ASSERT_EQ(orin_appendToStringBuffer(&sb, "y", 1), 0);
    EXPECT_EQ(sb.capacity, 1501U) << "does not grow by half its size";
    ASSERT_EQ(orin_setStringBuffer(&sb, sb.data + 997), 0);  // which stands in the storage that is given up
    const LogCapture log;
    EXPECT_EQ(orin_stringbuffer_printf(&sb, " and %ls", L"\xFFFF"), -1);  // no character of the C locale
    EXPECT_EQ(orin_appendToStringBuffer(&sb, "x", UINT32_MAX - 4U), -1);
    EXPECT_EQ(textOf(sb), "yyyy");
    EXPECT_THAT(log.texts(ORINLOG_ERROR),
                ElementsAre("orin_stringbuffer_vprintf: vsnprintf failed: cannot determine length for format= and %ls",
                            EndsWith("length=4: 4294967291 more bytes are too many")));
}

TEST(BoundedCopy, TerminatesPadsAndRepairs) {
    char field[5] = {'#', '#', '#', '#', '#'};
    EXPECT_STREQ(orin_strncpy(field, "abcdefg"), "abcd");
    EXPECT_EQ(memcmp(orin_strncpy(field, "a"), "a\0\0\0", 5), 0);
    EXPECT_STREQ(orin_strncpy(field, nullptr), "");
    EXPECT_STREQ(orin_strncpy_utf8(field, "abc\xC3\xA4"), "abc");
}

TEST(Replacing, IsThatOfStringsAndTellsWhenItWasCut) {
    std::minstd_rand random(5);
    const auto randomText = [&random](const char* alphabet, size_t longest) {
        std::string text(random() % (longest + 1), ' ');
        std::generate(text.begin(), text.end(), [&] { return alphabet[random() % 3]; });
        return text;
    };
    for (int i = 0; i < 2000; i++) {
        const std::string text = randomText("ab'", 20);
        const std::string filter = randomText("ab'", 3);
        const std::string replacement = randomText("a'x", 4);
        const auto size = static_cast<uint32_t>(1 + random() % 40);
        std::string expected;
        for (size_t at = 0; at < text.size();) {
            const bool here = !filter.empty() && text.compare(at, filter.size(), filter) == 0;
            expected += here ? replacement : text.substr(at, 1);
            at += here ? filter.size() : 1;
        }
        const bool occurs = !filter.empty() && text.find(filter) != std::string::npos;
        const int expectedResult = !occurs || expected.size() < size ? 0 : -1;

        std::string other(size, '#');
        EXPECT_EQ(orin_copyAndReplaceString(text.c_str(), filter.c_str(), replacement.c_str(), other.data(), size),
                  expectedResult);
        EXPECT_EQ(other.c_str(), expected.substr(0, size - 1));
        if (text.size() < size) {
            std::string inPlace = text;
            inPlace.resize(size);
            EXPECT_EQ(orin_replaceString(inPlace.data(), size, filter.c_str(), replacement.c_str()), expectedResult);
            EXPECT_EQ(inPlace.c_str(), expected.substr(0, size - 1));
        }
        const Malloced<char> copy(orin_dupAndReplaceString(text.c_str(), filter.c_str(), replacement.c_str()));
        EXPECT_EQ(copy.get(), expected);
    }
}

TEST(Replacing, ThatFailsEmptiesTheDestinationAndIsTold) {
    char other[7] = "old";
    const LogCapture log;
    failEachAllocation([&other] {
        orin_strncpy(other, "old");
        EXPECT_EQ(orin_copyAndReplaceString("it's", "'", "a longer text than fits", other, sizeof(other)), -1);
        EXPECT_STREQ(other, FailingMalloc::hasFailed() ? "" : "ita lo");
        const Malloced<char> copy(orin_dupAndReplaceString("a''a''a''a", "''", "#"));
        EXPECT_TRUE(copy != nullptr || FailingMalloc::hasFailed());
    });
    EXPECT_EQ(log.texts(ORINLOG_ERROR).back(),
              "orin_copyAndReplaceString: Zielbuffer zu klein: filter=' replace=a longer text than "
              "fits destSize=7 text=it's");
}

TEST(Encodings, OfBytesGoThereAndBackAndOfHeaderWordsTakeLinesOf75Characters) {
    orinStringBuffer sb{};
    const orinStringBufferData release(&sb);
    ASSERT_EQ(orin_base64_encode("\xFB\xFF\xFE#", 4, &sb), 0);
    ASSERT_EQ(orin_base64url_encode("\xFB\xFF\xFE#", 4, &sb), 0);
    ASSERT_EQ(orin_base64_decode("Zm9-", &sb), 0);
    for (const char* damaged : {"A", "AAAAA", "AA=", "AAA==", "AA===", "AAAA=", "A=AA", "AA A", "AAAA\n", "="}) {
        EXPECT_EQ(orin_base64_decode(damaged, &sb), -1) << damaged;
    }
    ASSERT_EQ(orin_encodeHeaderWord("AZaz09!*+-/q \x01\"#,.:=?@[_{~\x7F\x80\xE4\xFF, a tear falls here\t", &sb), 0);
    EXPECT_STREQ(sb.data,
                 "+//+Iw==-__-Iw==fo~=?ISO-8859-1?Q?AZaz09!*+-/q_=01=22=23=2C=2E=3A=3D=3F=40=5B=5F=7B=7E=7F?=\r\n"
                 " =?ISO-8859-1?Q?=80=E4=FF=2C_a_tear_falls_here=09?=");
    std::string bytes;
    for (int size = 0; size < 1600; size++, bytes += static_cast<char>(size * size % 251)) {
        orinStringBuffer encoded{};
        const orinStringBufferData releaseEncoded(&encoded);
        orin_clearStringBuffer(&sb);
        ASSERT_EQ(orin_base64_encode(bytes.data(), bytes.size(), &encoded), 0);
        ASSERT_EQ(orin_base64_decode(encoded.data, &sb), 0);
        ASSERT_EQ(textOf(sb), bytes);
    }
}

TEST(Layout, OfPhoneNumbersAndHexDumps) {
    char number[32] = "030123456789";
    char cut[] = "0301234567";
    char digits[9];
    EXPECT_EQ(orin_formatPhoneNumber(number, sizeof(number)), 0);
    EXPECT_EQ(orin_formatPhoneNumber(cut, sizeof(cut)), 0);
    EXPECT_EQ(orin_hexDump("\x00\x0F\xA5\xFF", 4, digits, sizeof(digits)), 0);
    EXPECT_EQ(number + "|"s + cut + "|" + digits, "(0 30 12) 34 56 789|(0 30 12) |000fa5ff");
    EXPECT_EQ(orin_hexDump("12345", 5, digits, sizeof(digits)), -1);
}

TEST(Utf8, ABrokenTailAndAnIllegalByteAreFoundAndTold) {
    const std::tuple<std::string, size_t, const char*> tails[] = {
        {"\x80yz", 0, "initial continuation byte 0x80"},
        {"xyz\xA4\xA5", 3, "illegal UTF-8 continuation byte 0xa4 at position 3"},
        {"xyz\xC3", 3, "incomplete UTF-8 character (start byte 0xc3) at position 3"},
        {"xyz\xE2\x82", 3, "incomplete UTF-8 character (start byte 0xe2) at position 3"},
        {"\xE2\x82\xAC\xF0\x9F\x98", 3, "incomplete UTF-8 character (start byte 0xf0) at position 3"},
        {"x\xC3\xA4\xA5\xA6", 3, "invalid continuation byte 0xa5 at position 3"}};
    for (const auto& [text, kept, message] : tails) {
        const LogCapture log;
        std::string repaired = text;
        orin_utf8_fix_tail(repaired.data());
        EXPECT_EQ(repaired.c_str(), text.substr(0, kept));
        EXPECT_THAT(log.texts(ORINLOG_WARNING), ElementsAre(EndsWith(std::string(": clearing ") + message)));
    }
    const std::pair<const char*, const char*> faults[] = {{"ab\x80", "start byte 0x80 at position 2"},
                                                          {"a\xF5", "start byte 0xf5 at position 1"},
                                                          {"\xC3", "continuation byte 0x0 at position 1"},
                                                          {"\xE0\x9F\xBF", "continuation byte 0x9f at position 1"},
                                                          {"\xED\xA0\x80", "continuation byte 0xa0 at position 1"},
                                                          {"\xF4\x90\x80\x80", "continuation byte 0x90 at position 1"}};
    for (const auto& [text, fault] : faults) {
        const LogCapture log;
        EXPECT_EQ(orin_utf8_check(text), -1) << fault;
        EXPECT_THAT(log.texts(ORINLOG_WARNING), ElementsAre(std::string("UTF-8 error: illegal ") + fault));
    }
    std::string whole = "a\xC3\xA4\xE2\x82\xAC\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(orin_utf8_check(whole.c_str()), 0);
    orin_utf8_fix_tail(whole.data());
    EXPECT_EQ(strlen(whole.c_str()), whole.size());
}

TEST(Utf8Comparison, KnowsTheCaseOfEuropeanLettersAndIsAnOrderForWhateverBytes) {
    const auto compare = [](const std::string& a, const std::string& b, OrinCase caseMode) {
        return orin_utf8_compare(a.data(), a.size(), b.data(), b.size(), caseMode);
    };
    const std::string capital = "MÜLLER ÀÞŸ ŁÓDŹ ŐŰ ĞŞ ȘȚ ƏẞỲ ΆΣΠΏ ΣΟΦΌΣ ЁЖИК Ѓ ҐЄЇӁ ԱՖ";
    EXPECT_EQ(compare(capital, "müller àþÿ łódź őű ğş șț əßỳ άσπώ σοφός ёжик ѓ ґєїӂ աֆ", OrinCase::insensitive), 0);
    EXPECT_EQ(compare("A", "a", OrinCase::sensitive), -1);
    for (const char* alone : {"×÷", "ĸ", "ŉ", "ı", "İ"}) {  // no case, or none of one character
        const auto code = orin_utf8_decode(alone, 2).code;
        EXPECT_EQ(orin_utf8_fold(code), code) << alone;
    }
    // Each stands before the next: bytes that are no character behind all that are.
    const std::string ordered[] = {""s,       "\0"s,         "\0b"s,  "a"s,    "AB"s,       "ab\u00E4"s, "b"s,
                                   "\u00E4"s, "\U0010FFFF"s, "\x80"s, "\xC3"s, "\xC3\xC3"s, "\xE2\x82"s, "\xFF"s};
    for (const std::string& a : ordered) {
        for (const std::string& b : ordered) {
            const auto order = (&a > &b) - (&a < &b);
            EXPECT_EQ(compare(a, b, OrinCase::insensitive), order) << &a - ordered << &b - ordered;
        }
    }
}

}  // namespace
