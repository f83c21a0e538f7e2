// UTF-8 as it comes, cut and damaged too.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "log_capture.h"
#include "orin_utf8.h"
#include "orinlog.h"

namespace {

int compare(const std::string& a, const std::string& b, OrinCase caseMode = OrinCase::insensitive) {
    return orin_utf8_compare(a.data(), a.size(), b.data(), b.size(), caseMode);
}

TEST(Utf8, ATextCutAnywhereLosesTheBrokenCharacterOnly) {
    const std::string text =
        "a\xC3\xA4\xE2\x82\xAC"
        "b\xF0\x9F\x98\x80";
    const size_t ends[] = {0, 1, 1, 3, 3, 3, 6, 7, 7, 7, 7, 11};
    for (size_t length = 0; length <= text.size(); length++) {
        std::string cut = text.substr(0, length);
        orin_utf8_fix_tail(cut.data());
        EXPECT_EQ(cut.c_str(), text.substr(0, ends[length])) << length;
    }
    orin_utf8_fix_tail(nullptr);
}

TEST(Utf8, SaysWhichTailItCutsAndWhichByteIsIllegal) {
    const std::pair<std::string, std::string> tails[] = {
        {"\x80yz", ": clearing initial continuation byte 0x80"},
        {"xyz\xA4\xA5", ": clearing illegal UTF-8 continuation byte 0xa4 at position 3"},
        {"xyz\xE2\x82", ": clearing incomplete UTF-8 character (start byte 0xe2) at position 3"},
        {"x\xC3\xA4\xA5\xA6", ": clearing invalid continuation byte 0xa5 at position 3"},
    };
    const size_t kept[] = {0, 3, 3, 3};
    const LogCapture log;
    for (size_t i = 0; i < 4; i++) {
        std::string text = tails[i].first;
        orin_utf8_fix_tail(text.data());
        EXPECT_EQ(text.c_str(), tails[i].first.substr(0, kept[i]));
        EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_WARNING, tails[i].second)) << tails[i].second << '\n' << log;
    }
    const std::pair<const char*, const char*> faults[] = {
        {"ab\x80", "UTF-8 error: illegal start byte 0x80 at position 2"},
        {"\xC1\xBF", "UTF-8 error: illegal start byte 0xc1 at position 0"},
        {"a\xF5", "UTF-8 error: illegal start byte 0xf5 at position 1"},
        {"\xC3", "UTF-8 error: illegal continuation byte 0x0 at position 1"},
        {"\xE2\x82z", "UTF-8 error: illegal continuation byte 0x7a at position 2"},
        {"\xE0\x9F\xBF", "UTF-8 error: illegal continuation byte 0x9f at position 1"},
        {"\xED\xA0\x80", "UTF-8 error: illegal continuation byte 0xa0 at position 1"},
        {"\xF0\x8F\xBF\xBF", "UTF-8 error: illegal continuation byte 0x8f at position 1"},
        {"\xF4\x90\x80\x80", "UTF-8 error: illegal continuation byte 0x90 at position 1"},
    };
    for (const auto& [text, message] : faults) {
        EXPECT_EQ(orin_utf8_check(text), -1) << message;
        EXPECT_TRUE(log.has(ORINLOG_CAT_OTHER, ORINLOG_WARNING, message)) << message << '\n' << log;
    }
    EXPECT_EQ(orin_utf8_check("a\xC3\xA4\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"), 0);
}

TEST(Utf8Comparison, KnowsTheCaseOfEuropeanLetters) {
    const std::pair<const char*, const char*> equals[] = {
        {"MÜLLER", "müller"}, {"ÀÞŸ", "àþÿ"},     {"ŁÓDŹ ŐŰ ĞŞ", "łódź őű ğş"}, {"ȘȚ", "șț"},
        {"ΆΣΠΏ", "άσπώ"},     {"σοφός", "ΣΟΦΌΣ"}, {"ЁЖИК Ѓ", "ёжик ѓ"},         {"ҐЄЇӁ", "ґєїӂ"},
        {"ƏẞỲ", "əßỳ"},       {"ԱՖ", "աֆ"},
    };
    for (const auto& [capital, small] : equals) {
        EXPECT_EQ(compare(capital, small), 0) << capital;
        EXPECT_NE(compare(capital, small, OrinCase::sensitive), 0) << capital;
    }
    for (const char* alone : {"×÷", "ĸ", "ŉ", "ı", "İ"}) {  // no case, or none of one character
        const auto code = orin_utf8_decode(alone, 2).code;
        EXPECT_EQ(orin_utf8_fold(code), code) << alone;
    }
    for (uint32_t code = 0; code <= 0x2FFFF; code++) {
        ASSERT_EQ(orin_utf8_fold(orin_utf8_fold(code)), orin_utf8_fold(code)) << code;
    }
}

TEST(Utf8Comparison, IsAnOrderForWhateverBytes) {
    EXPECT_EQ(compare("abc", "ABD"), -1);
    EXPECT_EQ(compare("ab", "AB\xC3\xA4"), -1);
    EXPECT_EQ(compare(std::string("a\0b", 3), std::string("a\0C", 3)), -1);
    EXPECT_EQ(compare("\xF4\x8F\xBF\xBF", "\x80"), -1);
    EXPECT_EQ(orin_utf8_compare(nullptr, 3, "", 0, OrinCase::insensitive), 0);
    const std::string pieces[] = {"a",    "A",        "\xC3\xA4", "\xC3\x84",          "\xC3",
                                  "\x84", "\xE2\x82", "\xFF",     std::string(1, '\0')};
    std::minstd_rand random(11);
    std::vector<std::string> texts(80);
    for (std::string& text : texts) {
        for (auto length = random() % 4; length > 0; length--) {
            text += pieces[random() % 9];
        }
    }
    for (const OrinCase caseMode : {OrinCase::sensitive, OrinCase::insensitive}) {
        for (const auto& a : texts) {
            for (const auto& b : texts) {
                const int ab = compare(a, b, caseMode);
                ASSERT_EQ(ab, -compare(b, a, caseMode));
                ASSERT_TRUE(caseMode == OrinCase::insensitive || (ab == 0) == (a == b));
                for (const auto& c : texts) {
                    ASSERT_TRUE(ab > 0 || compare(b, c, caseMode) > 0 || compare(a, c, caseMode) <= 0);
                }
            }
        }
    }
}

}  // namespace
