// The proxy files as the web configuration or a hand with an editor leaves them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "file_tools.h"
#include "orin_proxysettings.h"

namespace {

OrinProxySettings proxyOf(const std::string& content) {
    writeFile(ORIN_PROXY_CONF, content);
    OrinProxySettings settings;
    orin_readProxyConf(&settings);
    std::filesystem::remove(ORIN_PROXY_CONF);
    return settings;
}

std::string addressOf(const std::string& content) {
    const OrinProxySettings settings = proxyOf(content);
    char address[ORIN_PROXY_ADDRESS_SIZE] = "#";
    orin_getProxyAddress(&settings, address, sizeof(address));
    return address;
}

TEST(ProxySettings, TheAddressIsHostAndPortOfAProxyThatIsToBeUsed) {
    EXPECT_EQ(addressOf("use-proxy: 1\nip-address: 10.0.0.1\nproxy-port: 8080\n"), "10.0.0.1:8080");
    EXPECT_EQ(addressOf("PROXY-PORT:8080 \r\n# x\r\nIp-Address:\t proxy.test \r\nuse-PROXY:1"), "proxy.test:8080");
    EXPECT_EQ(addressOf("use-proxy: 1\nip-address: first\nip-address: second\n"), "first:3128");
    EXPECT_EQ(addressOf("use-proxy: 1\nproxy-port: 8080\n"), "");
    EXPECT_EQ(addressOf("use-proxy: 1\nip-address:  \n"), "");
    EXPECT_EQ(addressOf("use-proxy: 0\nip-address: 10.0.0.1\n"), "");
    EXPECT_EQ(addressOf(""), "");
    EXPECT_EQ(addressOf(" use-proxy: 1\nip-address: 10.0.0.1\n"), "");
}

TEST(ProxySettings, ValuesThatMeanNothingLeaveTheDefault) {
    for (const char* on : {"1", " 01", "+1"}) {
        EXPECT_EQ(proxyOf(std::string("use-proxy:") + on).useProxy, 1) << on;
    }
    for (const char* off : {"", "0", "2", "10", "-1", "yes", "4294967297"}) {
        EXPECT_EQ(proxyOf(std::string("use-proxy:") + off).useProxy, 0) << off;
    }
    for (const char* port : {"", "none", "0", "-1", "65536"}) {
        EXPECT_EQ(proxyOf(std::string("proxy-port: ") + port).port, 3128) << port;
    }
    EXPECT_EQ(proxyOf("proxy-port: 65535").port, 65535);
}

TEST(ProxySettings, LongTextsAreCut) {
    EXPECT_EQ(proxyOf("ip-address:" + std::string(1000, 'h')).host, std::string(255, 'h'));
    // A line ends after 1023 characters.
    const std::string longLine(1023, '#');
    EXPECT_STREQ(proxyOf(longLine + "ip-address: behind\n").host, "behind");
    EXPECT_STREQ(proxyOf(longLine + "#ip-address: behind\n").host, "");
}

TEST(ProxySettings, CredentialsAreReadWhateverTheAuthorizationFlagSays) {
    writeFile(ORIN_PROXY_AUTH_CONF, "authorization: 0\npassword:  se cret\t\nusername: " + std::string(70, 'u') + "\n");
    OrinProxySettings settings;
    orin_readProxyAuthConf(&settings);
    std::filesystem::remove(ORIN_PROXY_AUTH_CONF);
    orin_readProxyAuthConf(&settings);  // no file: everything stays
    EXPECT_EQ(settings.useAuthorization, 0);
    EXPECT_STREQ(settings.password, "se cret");
    EXPECT_EQ(settings.userName, std::string(63, 'u'));
}

}  // namespace
