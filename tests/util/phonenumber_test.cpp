// Phone numbers as they are entered in several countries, and what the PBX dials for them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orin_phonenumber.h"

namespace {

struct Case {
    const char* entered;
    const char* canonical;
};

OrinPhoneLocation locationOf(const char* country, const char* areaCode, const char* countryCode, char prefix) {
    OrinPhoneLocation location{};
    orin_initPhoneLocation(&location, country, areaCode, countryCode, prefix);
    return location;
}

std::string canonical(const OrinPhoneLocation& location, const char* entered, size_t size = 64) {
    std::string out(size, '#');
    orin_phoneNumberToCanonical(&location, entered, out.data(), size);
    out.resize(out.find('\0'));
    return out;
}

void expectAll(const OrinPhoneLocation& location, const std::vector<Case>& cases) {
    for (const Case& one : cases) {
        EXPECT_EQ(canonical(location, one.entered), one.canonical) << one.entered;
    }
}

TEST(PhoneNumber, EveryWayToWriteABerlinNumberIsTheSameNumber) {
    // The codes as the settings may hold them, with and without their prefixes.
    for (const OrinPhoneLocation& berlin : {locationOf("49", "030", "0049", '0'), locationOf("49", "30", "+49", '0')}) {
        for (const char* entered : {"+4930123456", "+49 30 1234-56", "+49 (0)30 123456", "(+49) 30 123456",
                                    "0049 30 123456", "0049(0)30.123456", "030 123456", "(030) 1234-56", "(0)30 123456",
                                    "030/123456", "123456", " 12 34 56 "}) {
            EXPECT_EQ(canonical(berlin, entered), "+4930123456") << entered;
        }
    }
}

TEST(PhoneNumber, WhatCannotBeMadeCanonicalStaysAsItIs) {
    const OrinPhoneLocation berlin = locationOf("49", "30", "49", '0');
    for (const char* entered : {"", "112", "1 18-33", "+49 1", "0800 FLOWERS", "anna@example.test", "030123456#",
                                "030+123456", "*21*123456", "030 12345\xC3\xBC"}) {
        EXPECT_EQ(canonical(berlin, entered), entered);
    }
    const std::string endless(100, '1');
    EXPECT_EQ(canonical(berlin, endless.c_str(), 200), endless);
    EXPECT_EQ(canonical(berlin, nullptr), "");
}

TEST(PhoneNumber, AnIncompleteLocationConvertsWhatItCan) {
    expectAll(locationOf("49", "", "49", '0'), {{"030 123456", "+4930123456"}, {"123456", "123456"}});
    expectAll(locationOf("49", "30", "", '0'), {{"030 123456", "030 123456"}, {"123456", "123456"}});
    expectAll(locationOf(nullptr, nullptr, nullptr, '\0'),
              {{"030 123456", "030 123456"}, {"+49 30 123456", "+4930123456"}, {"0041 44 123456", "+4144123456"}});
    expectAll(locationOf("47", "2", "47", '\0'), {{"0123456", "+4720123456"}});
}

TEST(PhoneNumber, NorthAmericaDialsItsOwnPrefixes) {
    expectAll(locationOf("1", "212", "1", '0'), {{"011 49 30 123456", "+4930123456"},
                                                 {"1 (415) 555-0100", "+14155550100"},
                                                 {"415-555-0100", "+14155550100"},
                                                 {"555-0100", "+12125550100"},
                                                 {"+1 415 555 0100", "+14155550100"}});
}

TEST(PhoneNumber, AnItalianNumberKeepsItsZeroAndNeedsNoAreaCode) {
    expectAll(locationOf("39", "06", "39", '0'), {{"06 123456", "+3906123456"},
                                                  {"347 123 4567", "+393471234567"},
                                                  {"+39 (0)6 123456", "+3906123456"},
                                                  {"0049 (0)30 123456", "+4930123456"}});
    EXPECT_EQ(canonical(locationOf("49", "30", "49", '0'), "0039 (0)6 123456"), "+3906123456");
}

TEST(PhoneNumber, TheResultIsCutToItsSize) {
    const OrinPhoneLocation berlin = locationOf("49", "30", "49", '0');
    EXPECT_EQ(canonical(berlin, "030 123456", 8), "+493012");
    EXPECT_EQ(canonical(berlin, "anna@example.test", 8), "anna@ex");
    EXPECT_EQ(canonical(berlin, "030 123456", 1), "");
}

}  // namespace
