// What ct_account tells its user of failures: lines "ct_account: ..." on the standard error stream, result codes in
// words. The log of the PBX is the libraries' matter.
#pragma once

#include <cstdint>

// Exit statuses of the program and results of its commands.
constexpr int ACCOUNT_OK = 0;
constexpr int ACCOUNT_FAILED = 1;
constexpr int ACCOUNT_USAGE = 2;

// Prints one line.
void account_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A result code of the synchroniser or of the database library in words. Static storage.
[[nodiscard]] const char* account_resultWords(int32_t code);

// True for code 0; for any other one prints what failed and why. `what` is "the account cannot be stored".
[[nodiscard]] bool account_succeeded(int code, const char* what);
