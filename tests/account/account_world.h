// A PBX with nothing on it but its folders, a Google with five persons, and ct_account.
#pragma once

#include <gmock/gmock.h>
#include <sys/msg.h>

#include <filesystem>
#include <string>
#include <vector>

#include "file_tools.h"
#include "google_standin.h"
#include "process.h"
#include "sqlite_peek.h"

class AccountWorld : public testing::Test {
  protected:
    static constexpr char DATABASE[] = "/data/db/konfig9.db";
    static constexpr size_t PERSONS = 5;

    void SetUp() override {
        for (const char* folder : {"/data/db", "/data/etc"}) {
            std::filesystem::remove_all(folder);
            std::filesystem::create_directories(folder);
        }
        msgctl(queue(), IPC_RMID, nullptr);
        ASSERT_TRUE(google.authority().writeTrustDirectory("/data/certs/trusted"));
        ASSERT_TRUE(google.start()) << google.error();
        google.update([](const GoogleAccount& account) { writeFile("/tmp/token", account.refreshToken + "\n"); });
    }

    static std::vector<std::string> command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), programPath("ct_account"));
        return arguments;
    }
    static ProcessResult account(const std::vector<std::string>& arguments) {
        return run(command(arguments));
    }
    // What it prints; anything but success is a failure.
    static std::string shown(const std::vector<std::string>& arguments) {
        const ProcessResult result = account(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
    static std::string value(const std::string& query) {
        return sqliteValue(DATABASE, query);
    }
    static int queue() {
        return msgget(16961, IPC_CREAT | 0666);
    }

    GoogleStandIn google{generateAccount(PERSONS)};
};
