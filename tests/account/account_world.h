// A PBX with nothing on it but its folders, a Google with five persons, and ct_account.
#pragma once

#include <gmock/gmock.h>
#include <sys/msg.h>

#include <filesystem>
#include <string>
#include <vector>

#include "file_tools.h"
#include "google_standin.h"
#include "orindb_dbaccess.h"
#include "process.h"
#include "sqlite_peek.h"

constexpr std::chrono::seconds DEADLINE{240};  // nothing takes that long, not even on a slow and busy machine

class AccountWorld : public testing::Test {
  protected:
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

    static ProcessResult account(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), programPath("ct_account"));
        return Process(arguments).wait(DEADLINE);
    }
    // What it prints; anything but success is a failure.
    static std::string shown(const std::vector<std::string>& arguments) {
        const ProcessResult result = account(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
    // What it complains of when it fails.
    static std::string failure(const std::vector<std::string>& arguments) {
        const ProcessResult result = account(arguments);
        EXPECT_EQ(result.exitStatus, 1) << result;
        return result.err;
    }
    static std::string value(const std::string& query) {
        return sqliteValue("/data/db/konfig9.db", query);
    }
    // Fills the phone book before the command sees it.
    static void fill(const char* sql) {
        DbContext databases{};
        ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&databases, nullptr, 0), 0);
        ASSERT_EQ(_orindb_execDb(&databases, ORINDB_KONFIG, sql, nullptr, nullptr, "test"), 0);
        orindb_closeAllDbs(&databases);
    }
    static int queue() {
        return msgget(16961, IPC_CREAT | 0666);
    }

    GoogleStandIn google{generateAccount(5)};
};
