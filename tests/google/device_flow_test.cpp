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

constexpr char CLIENT_ID[] = "40982216503-k3m9qz7x1w5v8r2t6y4u0p3s7n1b5c9d.apps.googleusercontent.com";
constexpr char CODE[] = "AH-1Ng3invented0device0code0of0the0stand0in";

class DeviceFlow : public GoogleWorld {
  protected:
    void SetUp() override {
        GoogleWorld::SetUp();
        google.update([](GoogleAccount& account) { account.refreshToken = "1//new"; });
    }
    void answerTokensWith(const std::string& body) {
        google.setScript({{.endpoint = Endpoint::Token, .count = 0, .content = Content::Text, .text = body}});
    }
    JsonObject poll(uint32_t expiresIn, uint32_t interval) {
        return JsonObject(orin_pollForTokens(connector.get(), CODE, expiresIn, interval, &abortFlag));
    }

    volatile uint8_t abortFlag = 0;
    SkippedSleep sleep;
};

TEST_F(DeviceFlow, ADeviceCodeIsRequestedForTheContactsScope) {
    const JsonObject code(orin_requestDeviceCode(connector.get()));
    EXPECT_STREQ(orin_jsonObjectGetString(code.get(), "device_code"), CODE);
    const HttpRequest request = google.log(Endpoint::DeviceCode).at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.host, "oauth2.googleapis.com");
    EXPECT_EQ(request.body, std::string("client_id=") + CLIENT_ID + "&scope=https://www.googleapis.com/auth/contacts");
    EXPECT_FALSE(hasError("orin_requestDeviceCode"));

    google.misbehave({.endpoint = Endpoint::DeviceCode, .status = 400, .error = "invalid_scope"});
    const JsonObject refused(orin_requestDeviceCode(connector.get()));
    EXPECT_STREQ(orin_jsonObjectGetString(refused.get(), "error"), "invalid_scope");
    EXPECT_TRUE(hasError("orin_requestDeviceCode: orin_requestJsonObject failed deviceCode=0x"));
    EXPECT_TRUE(hasError(" lastHttpCode=400"));
}

TEST_F(DeviceFlow, PollingGoesOnUntilTheUserHasConfirmed) {
    google.update([](GoogleAccount& account) { account.device.pendingAnswers = 1; });
    google.misbehave({.endpoint = Endpoint::Token, .first = 2, .status = 403, .error = "slow_down"});
    google.misbehave({.endpoint = Endpoint::Token, .first = 3, .status = 502, .content = Content::Html});
    const JsonObject tokens = poll(600, 3);
    EXPECT_STREQ(orin_jsonObjectGetString(tokens.get(), "refresh_token"), "1//new");
    EXPECT_EQ(sleep.seconds, std::vector<time_t>(4, 3));
    EXPECT_STREQ(connector->refreshToken, "1//new");
    EXPECT_STREQ(connector->tokenType, "Bearer");
    EXPECT_STREQ(connector->accessToken, orin_jsonObjectGetString(tokens.get(), "access_token"));
    EXPECT_TRUE(
        hasLine(ORINLOG_INFO, "orin_requestTokens: HTTP_PRECONDITION_REQUIRED: waiting for google authorization "));
    EXPECT_TRUE(hasError("orin_requestTokens: orin_requestJsonObject failed token=0x"));
    EXPECT_TRUE(hasError(" lastHttpCode=403"));
    EXPECT_TRUE(hasError("failed token=(nil) lastHttpCode=502"));
    EXPECT_FALSE(hasError("lastHttpCode=428"));
    EXPECT_EQ(google.log(Endpoint::Token).at(0).body, std::string("client_id=") + CLIENT_ID +
                                                          "&client_secret=Qx7LmNa2Rk_pTzWv4bYcHd3F&code=" + CODE +
                                                          "&grant_type=http://oauth.net/grant_type/device/1.0");
}

TEST_F(DeviceFlow, PollingKeepsToTheRangesOfLifeAndInterval) {
    google.misbehave({.endpoint = Endpoint::Token, .count = 0, .status = 428});
    const auto sleepsOf = [&](uint32_t expiresIn, uint32_t interval) {
        sleep.seconds.clear();
        google.clearLog();
        const JsonObject last = poll(expiresIn, interval);
        EXPECT_STREQ(orin_jsonObjectGetString(last.get(), "error"), "authorization_pending");
        EXPECT_EQ(google.count(), sleep.seconds.size());
        return sleep.seconds;
    };
    EXPECT_EQ(sleepsOf(59, 1), std::vector<time_t>(360, 5));
    EXPECT_EQ(sleepsOf(1801, 11), std::vector<time_t>(360, 5));
    EXPECT_EQ(sleepsOf(60, 10), std::vector<time_t>(6, 10));
    EXPECT_EQ(sleepsOf(61, 2), std::vector<time_t>(30, 2));
    EXPECT_STREQ(connector->refreshToken, refreshToken.c_str());
}

TEST_F(DeviceFlow, AnAbortEndsThePollingWithTheRequestUnderWay) {
    google.misbehave({.endpoint = Endpoint::Token, .count = 0, .status = 428});
    abortFlag = 1;
    EXPECT_EQ(poll(60, 2), nullptr);
    EXPECT_EQ(google.count(), 0U);
    EXPECT_TRUE(sleep.seconds.empty());

    abortFlag = 0;
    sleep.during = [this] { abortFlag = sleep.seconds.size() == 2; };
    EXPECT_NE(poll(60, 2), nullptr);
    EXPECT_EQ(google.count(), 2U);
}

TEST_F(DeviceFlow, TokensAreInstalledAllOrNone) {
    answerTokensWith(R"({"refresh_token":7,"access_token":null,"expires_in":3599})");
    const JsonObject odd(orin_requestTokens(connector.get(), CODE));
    EXPECT_EQ(orin_jsonObjectGetInteger(odd.get(), "expires_in", 0), 3599);
    EXPECT_TRUE(hasError("for key='refresh_token', type string was excepted, but type=int was found"));
    EXPECT_TRUE(hasError("orin_requestTokens: failed, got no refresh token"));
    EXPECT_TRUE(hasError("orin_requestTokens: failed, got no access token"));
    EXPECT_TRUE(hasError("orin_requestTokens: failed, got no token type "));
    answerTokensWith(R"({"refresh_token":"r","access_token":"a"})");
    const JsonObject incomplete(orin_requestTokens(connector.get(), CODE));
    EXPECT_STREQ(connector->refreshToken, refreshToken.c_str());
    EXPECT_STREQ(connector->accessToken, "");
}

TEST_F(DeviceFlow, ACodeThatIsMissingIsNotSentAndOneTooLongIsCut) {
    EXPECT_EQ(orin_requestTokens(connector.get(), ""), nullptr);
    EXPECT_TRUE(hasError("orin_requestTokens: illegal parameter, deviceCode == NULL or empty"));
    EXPECT_EQ(orin_pollForTokens(connector.get(), nullptr, 60, 2, &abortFlag), nullptr);
    EXPECT_TRUE(hasError("orin_pollForTokens: illegal parameter, deviceCode == NULL"));
    EXPECT_EQ(google.count(), 0U);
    const JsonObject refused(orin_requestTokens(connector.get(), std::string(2000, 'c').c_str()));
    EXPECT_EQ(google.log(Endpoint::Token).at(0).body.size(), 1023U);
}

}  // namespace
