// What people enter: phone numbers of several countries, and the proxy files as a hand with an editor leaves them.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "file_tools.h"
#include "orin_phonenumber.h"
#include "orin_proxysettings.h"

namespace {

using testing::ElementsAre;

OrinPhoneLocation at(const char* country, const char* areaCode, const char* countryCode, char prefix) {
    OrinPhoneLocation location{};
    orin_initPhoneLocation(&location, country, areaCode, countryCode, prefix);
    return location;
}
const OrinPhoneLocation BERLIN = at("49", "30", "+49", '0');

std::string canonical(const OrinPhoneLocation& location, const std::string& entered, size_t size = 200) {
    std::string out(size, '#');
    orin_phoneNumberToCanonical(&location, entered.c_str(), out.data(), size);
    out.resize(std::min(out.find('\0'), out.size()));
    return out;
}

TEST(PhoneNumber, EveryWayToWriteABerlinNumberIsTheSameNumber) {
    // The codes as the settings may hold them, with and without their prefixes.
    for (const OrinPhoneLocation& berlin : {BERLIN, at("49", "030", "0049", '0')}) {
        for (const char* entered : {"+4930123456", "+49 30 1234-56", "+49 (0)30 123456", "(+49) 30 123456",
                                    "0049 30 123456", "0049(0)30.123456", "030 123456", "(030) 1234-56", "(0)30 123456",
                                    "030/123456", "123456", " 12 34 56 "}) {
            EXPECT_EQ(canonical(berlin, entered), "+4930123456") << entered;
        }
    }
}

TEST(PhoneNumber, WhatCannotBeMadeCanonicalStaysAsItIsAndAllIsCutToItsSize) {
    const std::string endless(100, '1');
    for (const char* entered : {"", "112", "1 18-33", "+49 1", "0800 FLOWERS", "030123456#", "030+123456", "*21*123456",
                                "030 12345\xC3\xBC", endless.c_str()}) {
        EXPECT_EQ(canonical(BERLIN, entered), entered);
    }
    EXPECT_EQ(canonical(BERLIN, "030 123456", 8), "+493012");
    EXPECT_EQ(canonical(BERLIN, "anna@example.test", 8), "anna@ex");
}

TEST(PhoneNumber, EachCountryDialsItsOwnWayAndAnIncompletePlaceConvertsWhatItCan) {
    const auto all = [](const OrinPhoneLocation& location, const std::vector<std::string>& entered) {
        std::vector<std::string> converted(entered.size());
        std::transform(entered.begin(), entered.end(), converted.begin(),
                       [&location](const std::string& number) { return canonical(location, number); });
        return converted;
    };
    EXPECT_THAT(all(at("1", "212", "1", '0'), {"011 49 30 123456", "1 (415) 555-0100", "415-555-0100", "555-0100"}),
                ElementsAre("+4930123456", "+14155550100", "+14155550100", "+12125550100"));
    EXPECT_THAT(all(at("39", "06", "39", '0'), {"06 123456", "347 123 4567", "+39 (0)6 1234", "0049 (0)30 1234"}),
                ElementsAre("+3906123456", "+393471234567", "+39061234", "+49301234"));
    EXPECT_THAT(all(BERLIN, {"0039 (0)6 123456"}), ElementsAre("+3906123456"));
    EXPECT_THAT(all(at("49", "", "49", '0'), {"030 123456", "123456"}), ElementsAre("+4930123456", "123456"));
    EXPECT_THAT(all(at("49", "30", "", '0'), {"030 123456"}), ElementsAre("030 123456"));
    EXPECT_THAT(all(at("47", "2", "47", '\0'), {"0123456"}), ElementsAre("+4720123456"));
    EXPECT_THAT(all(at(nullptr, nullptr, nullptr, '\0'), {"+49 30 123456", "0041 44 123456", "030 123456"}),
                ElementsAre("+4930123456", "+4144123456", "030 123456"));
}

// "host:port" of a proxy that is to be used; empty for none.
std::string addressOf(const std::string& content) {
    writeFile(ORIN_PROXY_CONF, content);
    OrinProxySettings settings;
    orin_readProxyConf(&settings);
    std::filesystem::remove(ORIN_PROXY_CONF);
    char address[ORIN_PROXY_ADDRESS_SIZE] = "#";
    orin_getProxyAddress(&settings, address, sizeof(address));
    return address;
}

TEST(ProxySettings, AreReadAsFarAsTheyMeanSomething) {
    EXPECT_EQ(addressOf("PROXY-PORT:8080 \r\n# x\r\nIp-Address:\t proxy.test \r\nuse-PROXY:1"), "proxy.test:8080");
    EXPECT_EQ(addressOf("ip-address: h\nuse-proxy: 1\nip-address: second\n"), "h:3128");
    EXPECT_EQ(addressOf("ip-address:  \nuse-proxy: 1"), "");
    EXPECT_EQ(addressOf("ip-address: h\n use-proxy: 1"), "");
    EXPECT_EQ(addressOf("ip-address: h\nuse-proxy: 4294967297"), "");
    EXPECT_EQ(addressOf("ip-address: h\nuse-proxy: 1\nproxy-port: 4295032833 "), "h:1") << "16 bits of it";
    EXPECT_EQ(addressOf("ip-address: h\nuse-proxy: 1\nproxy-port: none"), "h:0");
    EXPECT_EQ(addressOf("use-proxy: 1\nip-address:" + std::string(1000, 'h')), std::string(255, 'h') + ":3128");
    EXPECT_EQ(addressOf("ip-address: h\n" + std::string(1023, '#') + "use-proxy: 1"), "h:3128") << "where a line ends";
    EXPECT_EQ(addressOf("ip-address: h\n" + std::string(1024, '#') + "use-proxy: 1"), "");

    writeFile(ORIN_PROXY_AUTH_CONF, "authorization: 0\npassword:  se cret\t\nusername: " + std::string(70, 'u') + "\n");
    OrinProxySettings settings;
    orin_readProxyAuthConf(&settings);
    std::filesystem::remove(ORIN_PROXY_AUTH_CONF);
    orin_readProxyAuthConf(&settings);  // no file: everything stays
    EXPECT_EQ(settings.userName + std::string("|") + settings.password, std::string(63, 'u') + "|se cret");
}

}  // namespace
