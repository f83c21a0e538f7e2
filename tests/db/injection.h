// What tests put in place of calls of the tested code: SQLite calls that fail, and numbers that rand() draws. The
// program is linked with -Wl,--wrap for these calls, which leaves those within SQLite alone.
#pragma once

#include <initializer_list>

// While one lives, `times` SQLite calls (sqlite3_exec, sqlite3_prepare_v2, sqlite3_step) that come after `allowed`
// others do nothing but answer `code`. A COMMIT that fails so takes its transaction along, as on a full disk.
class FailingSql {
  public:
    FailingSql(int allowed, int code, int times = 1);
    ~FailingSql();
    FailingSql(const FailingSql&) = delete;
    FailingSql& operator=(const FailingSql&) = delete;

    [[nodiscard]] static bool hasFailed();
};

// While one lives, rand() answers with these numbers, and then again with those that are its own.
class DrawnNumbers {
  public:
    DrawnNumbers(std::initializer_list<int> numbers);
    ~DrawnNumbers();
    DrawnNumbers(const DrawnNumbers&) = delete;
    DrawnNumbers& operator=(const DrawnNumbers&) = delete;
};
