// Authorising a device: the code, the polling, the tokens.
#include <ctime>
#include <functional>

#include "google_world.h"

namespace {

// While one lives, nanosleep in this thread returns at once and is written down. Other threads sleep as ever.
struct SkippedSleep;
thread_local SkippedSleep* skipped = nullptr;

struct SkippedSleep {
    SkippedSleep() {
        skipped = this;
    }
    ~SkippedSleep() {
        skipped = nullptr;
    }
    std::vector<time_t> seconds;          // of all sleeps so far
    std::function<void()> during{[] {}};  // called in each
};

}  // namespace

// Takes the place of the C library's in the test program.
extern "C" int nanosleep(const timespec* wanted, timespec* rest) {
    if (skipped == nullptr) {
        return clock_nanosleep(CLOCK_REALTIME, 0, wanted, rest);
    }
    skipped->seconds.push_back(wanted->tv_sec);
    skipped->during();
    return 0;
}

namespace {

class DeviceFlow : public GoogleWorld {
  protected:
    JsonObject poll(uint32_t expiresIn, uint32_t interval,
                    const std::string& code = GoogleAccount{}.device.deviceCode) {
        sleep.seconds.clear();
        return JsonObject(orin_pollForTokens(connector.get(), code.c_str(), expiresIn, interval, &abortFlag));
    }
    // All tokens that are installed.
    std::string installed() {
        return std::string(connector->refreshToken) + "," + connector->accessToken + "," + connector->tokenType;
    }

    volatile uint8_t abortFlag = 0;
    SkippedSleep sleep;
};

TEST_F(DeviceFlow, ADeviceCodeIsRequestedForTheContactsScope) {
    const JsonObject device(orin_requestDeviceCode(connector.get()));
    EXPECT_EQ(orin_jsonObjectGetString(device.get(), "device_code"), GoogleAccount{}.device.deviceCode);
    google.misbehave({.endpoint = Endpoint::DeviceCode, .status = 400, .error = "invalid_scope"});
    const JsonObject refused(orin_requestDeviceCode(connector.get()));
    EXPECT_STREQ(orin_jsonObjectGetString(refused.get(), "error"), "invalid_scope");
    EXPECT_TRUE(hasError("orin_requestDeviceCode: orin_requestJsonObject failed deviceCode=0x"));
    EXPECT_TRUE(hasError(" lastHttpCode=400"));
}

TEST_F(DeviceFlow, PollingGoesOnUntilTheUserHasConfirmed) {
    google.update([](GoogleAccount& account) {
        account.refreshToken = "1//new";
        account.device.pendingAnswers = 1;
    });
    google.misbehave({.endpoint = Endpoint::Token, .first = 2, .status = 403, .error = "slow_down"});
    google.misbehave({.endpoint = Endpoint::Token, .first = 3, .status = 502, .content = Content::Html});
    const JsonObject tokens = poll(600, 3);
    EXPECT_EQ(sleep.seconds, std::vector<time_t>(4, 3));
    EXPECT_EQ(installed(), std::string("1//new,") + orin_jsonObjectGetString(tokens.get(), "access_token") + ",Bearer");
    EXPECT_TRUE(
        hasLine(ORINLOG_INFO, "orin_requestTokens: HTTP_PRECONDITION_REQUIRED: waiting for google authorization "));
    EXPECT_TRUE(hasError("orin_requestTokens: orin_requestJsonObject failed token=(nil) lastHttpCode=502"));
    EXPECT_FALSE(hasError("lastHttpCode=428"));
}

TEST_F(DeviceFlow, PollingKeepsToTheRangesOfLifeAndInterval) {
    using Range = std::array<uint32_t, 4>;
    for (const auto& [expiresIn, interval, polls, seconds] :
         {Range{59, 1, 360, 5}, Range{1801, 11, 360, 5}, Range{60, 10, 6, 10}, Range{61, 2, 30, 2}}) {
        // An empty code is not sent, but polled with.
        EXPECT_EQ(poll(expiresIn, interval, ""), nullptr);
        EXPECT_EQ(sleep.seconds, std::vector<time_t>(polls, seconds));
    }
    EXPECT_TRUE(hasError("orin_requestTokens: illegal parameter, deviceCode == NULL or empty"));
}

TEST_F(DeviceFlow, AnAbortEndsThePollingWithTheRequestUnderWay) {
    google.misbehave({.endpoint = Endpoint::Token, .count = 0, .status = 428});
    abortFlag = 1;
    EXPECT_EQ(poll(60, 2), nullptr);
    EXPECT_TRUE(sleep.seconds.empty());
    abortFlag = 0;
    sleep.during = [this] { abortFlag = sleep.seconds.size() == 2; };
    const JsonObject last = poll(60, 2);
    EXPECT_STREQ(orin_jsonObjectGetString(last.get(), "error"), "authorization_pending");
    EXPECT_EQ(google.count(), 2U);
}

TEST_F(DeviceFlow, TokensAreInstalledAllOrNone) {
    for (const char* answer : {R"({"refresh_token":7,"access_token":"a","token_type":"t"})", R"({"refresh_token":"r"})",
                               R"({"refresh_token":"r","access_token":"a"})"}) {
        google.misbehave({.endpoint = Endpoint::Token, .content = Content::Text, .text = answer});
        const JsonObject tokens = poll(60, 2);
        EXPECT_EQ(sleep.seconds.size(), 1U) << answer;
        EXPECT_EQ(installed(), refreshToken + ",,") << answer;
    }
    const std::string failed = "orin_requestTokens: failed, got no ";
    EXPECT_THAT(log.texts(ORINLOG_ERROR),
                testing::ElementsAre(testing::HasSubstr("key='refresh_token'"), failed + "refresh token",
                                     failed + "access token", failed + "token type ", failed + "token type "));
}

}  // namespace
