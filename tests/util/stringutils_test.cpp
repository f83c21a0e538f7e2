// Copying, replacing and encoding texts.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "failing_malloc.h"
#include "log_capture.h"
#include "orin_base64.h"
#include "orin_headerword.h"
#include "orin_memory.h"
#include "orin_stringbuffer.h"
#include "orin_stringutils.h"
#include "orinlog.h"

namespace {

std::string randomText(std::minstd_rand& random, const std::string& alphabet, size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& character : text) {
        character = alphabet[random() % alphabet.size()];
    }
    return text;
}

std::string replaced(std::string text, const std::string& filter, const std::string& replacement) {
    size_t at = filter.empty() ? std::string::npos : text.find(filter);
    while (at != std::string::npos) {
        text.replace(at, filter.size(), replacement);
        at = text.find(filter, at + replacement.size());
    }
    return text;
}

TEST(BoundedCopy, TerminatesPadsAndToleratesMissingText) {
    char field[5] = {'#', '#', '#', '#', '#'};
    EXPECT_STREQ(orin_strncpy(field, "abcdefg"), "abcd");
    EXPECT_EQ(memcmp(orin_strncpy(field, "a"), "a\0\0\0", 5), 0);
    EXPECT_STREQ(orin_strncpy(field, nullptr), "");
    EXPECT_STREQ(orin_strncpy_utf8(field, "abc\xC3\xA4"), "abc");
    testing::internal::CaptureStderr();
    EXPECT_EQ(orin_strncpy(field, "new", 0), field);
    EXPECT_STREQ(field, "abc");
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("orin_strncpy: ungueltiger Aufruf mit size = 0 durch 0x"),
              0U);
}

TEST(Replacing, IsThatOfStringsAndSaysWhenItWasCut) {
    std::minstd_rand random(5);
    for (int i = 0; i < 2000; i++) {
        const std::string text = randomText(random, "ab'", 20);
        const std::string filter = randomText(random, "ab'", 3);
        const std::string replacement = randomText(random, "a'x", 4);
        const auto size = static_cast<uint32_t>(1 + random() % 40);
        const std::string expected = replaced(text, filter, replacement);
        const bool occurs = !filter.empty() && text.find(filter) != std::string::npos;
        const int expectedResult = !occurs || expected.size() < size ? 0 : -1;

        std::string destination(size, '#');
        EXPECT_EQ(
            orin_copyAndReplaceString(text.c_str(), filter.c_str(), replacement.c_str(), destination.data(), size),
            expectedResult);
        EXPECT_EQ(destination.c_str(), expected.substr(0, size - 1));
        if (text.size() < size) {
            std::string inPlace = text;
            inPlace.resize(size);
            EXPECT_EQ(orin_replaceString(inPlace.data(), size, filter.c_str(), replacement.c_str()), expectedResult);
            EXPECT_EQ(inPlace.c_str(), expected.substr(0, size - 1));
        }
        const Malloced<char> copy(orin_dupAndReplaceString(text.c_str(), filter.c_str(), replacement.c_str()));
        EXPECT_EQ(copy.get(), expected);
    }
    const LogCapture log;
    char small[7];
    EXPECT_EQ(orin_copyAndReplaceString("O'Neil", "'", "''", small, sizeof(small)), -1);
    EXPECT_STREQ(small, "O''Nei");
    EXPECT_EQ(log.texts(ORINLOG_ERROR).at(0),
              "orin_copyAndReplaceString: Zielbuffer zu klein: filter=' replace='' destSize=7 text=O'Neil");
}

TEST(Replacing, EmptiesTheDestinationOnFailureUnlessItIsTheText) {
    char text[40] = "it's";
    char other[40] = "old";
    EXPECT_EQ(orin_copyAndReplaceString(text, nullptr, "", other, sizeof(other)), -1);
    EXPECT_STREQ(other, "");
    EXPECT_EQ(orin_replaceString(text, sizeof(text), "'", nullptr), -1);
    EXPECT_STREQ(text, "it's");
    EXPECT_EQ(orin_dupAndReplaceString(nullptr, "", ""), nullptr);
    const std::string longReplacement(100, 'x');
    failEachAllocation([&] {
        orin_strncpy(other, "old");
        const int result = orin_copyAndReplaceString(text, "'", longReplacement.c_str(), other, sizeof(other));
        EXPECT_EQ(result, -1);
        EXPECT_EQ(std::string(other), FailingMalloc::hasFailed() ? "" : "it" + std::string(37, 'x'));
    });
    failEachAllocation([&] {
        const Malloced<char> copy(orin_dupAndReplaceString("a''a''a''a", "''", "#"));
        EXPECT_EQ(copy == nullptr, FailingMalloc::hasFailed());
    });
    EXPECT_EQ(orin_replaceChar(text, '\'', 's'), 0);
    EXPECT_STREQ(text, "itss");
    EXPECT_EQ(orin_replaceChar(nullptr, 'a', 'b'), -1);
}

TEST(Layout, OfPhoneNumbersAndHexDumps) {
    char number[32] = "030123456789";
    char cut[12] = "0301234567";
    char shortOne[] = "12345678";
    EXPECT_EQ(orin_formatPhoneNumber(number, sizeof(number)), 0);
    EXPECT_STREQ(number, "(0 30 12) 34 56 789");
    EXPECT_EQ(orin_formatPhoneNumber(cut, sizeof(cut)), 0);
    EXPECT_STREQ(cut, "(0 30 12) 3");
    EXPECT_EQ(orin_formatPhoneNumber(shortOne, sizeof(shortOne)), 0);
    EXPECT_STREQ(shortOne, "12345678");
    {
        const FailingMalloc failing(0);
        EXPECT_EQ(orin_formatPhoneNumber(number, sizeof(number)), -1);
    }
    EXPECT_STREQ(number, "(0 30 12) 34 56 789");
    char digits[9];
    EXPECT_EQ(orin_hexDump("\x00\x0F\xA5\xFF", 4, digits, sizeof(digits)), 0);
    EXPECT_STREQ(digits, "000fa5ff");
    EXPECT_EQ(orin_hexDump("12345", 5, digits, sizeof(digits)), -1);
    EXPECT_STREQ(digits, "");
}

TEST(Base64, GoesThereAndBackAndRefusesDamage) {
    std::minstd_rand random(7);
    for (size_t size = 0; size < 3000; size += 1 + size / 9) {
        std::string bytes(size, ' ');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        orinStringBuffer text{};
        orinStringBuffer urlText{};
        orinStringBuffer decoded{};
        ASSERT_EQ(orin_base64_encode(bytes.data(), size, &text), 0);
        ASSERT_EQ(orin_base64url_encode(bytes.data(), size, &urlText), 0);
        EXPECT_EQ(text.length, (size + 2) / 3 * 4);
        ASSERT_EQ(orin_base64_decode(text.data, &decoded), 0);
        EXPECT_EQ(std::string(decoded.data, decoded.length), bytes);
        orin_clearStringBuffer(&decoded);
        urlText.data[strcspn(urlText.data, "=")] = '\0';
        EXPECT_EQ(strpbrk(urlText.data, "+/"), nullptr);
        ASSERT_EQ(orin_base64_decode(urlText.data, &decoded), 0);
        EXPECT_EQ(std::string(decoded.data, decoded.length), bytes);
        for (orinStringBuffer* sb : {&text, &urlText, &decoded}) {
            orin_freeStringBufferData(sb);
        }
    }
    orinStringBuffer sb{};
    ASSERT_EQ(orin_base64_encode("\xFB\xFF\xFE"
                                 "fooba",
                                 8, &sb),
              0);
    EXPECT_STREQ(sb.data, "+//+Zm9vYmE=");
    for (const char* damaged :
         {"A", "AAAAA", "AA=", "AAA==", "AA===", "AAAA=", "AAAA====", "A=AA", "AA A", "AAAA\n", "="}) {
        EXPECT_EQ(orin_base64_decode(damaged, &sb), -1) << damaged;
    }
    EXPECT_EQ(sb.length, 12U);
    orin_freeStringBufferData(&sb);
}

TEST(HeaderWord, KeepsEveryByteInLinesOf75Characters) {
    const std::string plain = "!*+-/0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string text;
    std::string expected = "=?ISO-8859-1?Q?";
    for (int byte = 1; byte < 256; byte++) {
        char digits[4];
        snprintf(digits, sizeof(digits), "=%02X", byte);
        text += static_cast<char>(byte);
        expected += byte == ' '                                    ? "_"
                    : plain.find(text.back()) != std::string::npos ? text.substr(text.size() - 1)
                                                                   : digits;
    }
    orinStringBuffer sb{};
    ASSERT_EQ(orin_encodeHeaderWord(text.c_str(), &sb), 0);
    const std::string lines = std::string(sb.data) + "\r\n";
    EXPECT_EQ(replaced(sb.data, "?=\r\n =?ISO-8859-1?Q?", ""), expected + "?=");
    for (size_t at = 0; at < lines.size(); at = lines.find("\r\n", at) + 2) {
        const size_t end = lines.find("\r\n", at);
        EXPECT_LE(end - at, 75U);
        EXPECT_LE(lines.rfind('=', end - 3), end - 5) << "a character is torn apart";
    }
    orin_freeStringBufferData(&sb);
}

}  // namespace
