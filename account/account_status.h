// How an account stands, as the web configuration sees it: its row, its two status files and its contacts.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "db_googleserverconf.h"

struct json_object;

// A sync file tells of a run in progress, or of one that was killed.
enum class SyncRun : uint8_t { none, running, leftBehind };

// How the last run ended, as far as it can be known.
enum class Outcome : uint8_t { none, running, killed, failed, success };

struct AccountStatus {
    GoogleServerConf account;
    std::string groupName;
    SyncRun run;
    pid_t processId;  // of the run, 0 without one
    Outcome outcome;
    std::optional<int32_t> lastResult;  // the outcome's code, 0 of a success; nothing where none is known
    uint32_t contacts;                  // of the group
};

// True when no run is in progress; otherwise the user is told of it.
[[nodiscard]] bool account_isIdle(int32_t group);

// Reads everything of an account but its row. False: failed, the user has been told.
[[nodiscard]] bool account_readStatus(DbContext* databases, const GoogleServerConf& account, AccountStatus& status);

// The outcome in words, behind its code if it has one.
[[nodiscard]] std::string account_resultText(const AccountStatus& status);

// Prints the status as a block of lines.
void account_printStatus(const AccountStatus& status);

// The status as an object, which is the caller's.
[[nodiscard]] json_object* account_statusToJson(const AccountStatus& status);
