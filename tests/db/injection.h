// What tests put in place of calls of the tested code: calls that fail, and numbers that rand() draws. The program is
// linked with -Wl,--wrap for these calls; the writes of SQLite are reached by its own table of system calls.
#pragma once

#include <initializer_list>

// While one lives, the fault comes after `allowed` other calls of its kind.
class Fault {
  public:
    enum Kind {
        sql,       // `times` calls of sqlite3_exec, sqlite3_prepare_v2 and sqlite3_step do nothing but answer `code`; a
                   // COMMIT that fails so takes its transaction along, as on a full disk
        fullDisk,  // this write and all further ones fail with ENOSPC
        killed,    // SIGKILL in place of this write
    };
    static constexpr int FULL = 13;  // SQLITE_FULL

    Fault(Kind kind, int allowed, int code = FULL, int times = 1);
    ~Fault();
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;

    [[nodiscard]] static bool hasFailed();
};

// What rand() answers next, before it goes on with numbers of its own.
void drawNumbers(std::initializer_list<int> numbers);
