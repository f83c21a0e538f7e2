// A run that first waits for the user to confirm the device. The shortest wait between two polls is two seconds.
#include "sync_world.h"

namespace {

constexpr char STORED_TOKEN[] = "1//09invented-refresh-token-of-the-stand-in";

class Device : public SyncWorld {
  protected:
    int syncWithCode() {
        return sync({"interval=2", "deviceCode=" + GoogleAccount{}.device.deviceCode});
    }
    void answerWith(const std::string& tokens) {
        google.misbehave({.endpoint = Endpoint::Token, .content = Content::Text, .text = tokens});
    }
    void SetUp() override {
        SyncWorld::SetUp();
        serve(persons(1));
    }
};

TEST_F(Device, TheTokenOfAConfirmedCodeIsStoredBeforeItIsUsed) {
    google.update([](GoogleAccount& account) {
        account.refreshToken = "1//new";
        account.device.pendingAnswers = 2;
    });
    execute("UPDATE GoogleServerConfig SET refreshToken='', needsNewAuth=1");
    std::string stored;
    atAnswer(Endpoint::Connections, 1, [&] {
        for (const auto& row :
             sqlitePeek(KONFIG_PATH, "SELECT refreshToken,serverusername,needsNewAuth FROM GoogleServerConfig")) {
            stored += row[0] + "," + row[1] + "," + row[2];
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(syncWithCode(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    EXPECT_EQ(stored, "1//new,,0");
    EXPECT_EQ(google.count(Endpoint::Token), 3U);
    EXPECT_EQ(log.count(ORINLOG_CAT_CT_SYNC, ORINLOG_INFO, "waiting for google authorization "), 2U);
    EXPECT_EQ(phoneBook().size(), 1U);
    EXPECT_STREQ(account().refreshToken, "1//new");
    EXPECT_EQ(account().needsNewAuth, 0);
    EXPECT_EQ(announced().size(), 3U);
}

TEST_F(Device, WithoutATokenTheRunGoesOnWithTheStoredOne) {
    answerWith(R"({"refresh_token":5,"access_token":"a","token_type":"b"})");
    EXPECT_EQ(syncWithCode(), 0);
    EXPECT_EQ(phoneBook().size(), 1U);
    EXPECT_STREQ(account().refreshToken, STORED_TOKEN);
    EXPECT_STREQ(account().serverusername, "ada@example.test");
    EXPECT_EQ(google.log(Endpoint::Token).at(1).formValue("refresh_token"), STORED_TOKEN);
}

TEST_F(Device, ATokenThatWasStoredAlreadyIsLostWithItsUser) {
    EXPECT_EQ(syncWithCode(), 0);
    EXPECT_STREQ(account().refreshToken, "");
    EXPECT_EQ(account().needsNewAuth, 1);
    EXPECT_EQ(status(), "");
    EXPECT_EQ(phoneBook().size(), 1U);
}

TEST_F(Device, ATokenThatCannotBeStoredIsUsedAllTheSame) {
    google.update([](GoogleAccount& account) { account.refreshToken = "1//new"; });
    atAnswer(Endpoint::Token, 1, [&] { execute("DROP TABLE GoogleServerConfig"); });
    EXPECT_EQ(syncWithCode(), 0);
    EXPECT_TRUE(hasError("main: db_saveGoogleServerConf failed"));
    EXPECT_EQ(phoneBook().size(), 1U);
    EXPECT_EQ(status(), "");
}

}  // namespace
