#include "injection.h"

#include <sqlite3.h>

#include <cstring>
#include <deque>

namespace {

struct Failure {
    int allowed = 0;
    int code = SQLITE_OK;
    int left = 0;
    bool hasFailed = false;
};
Failure failure;
std::deque<int> numbersToDraw;

// SQLITE_OK for a call that is to run, else the code it fails with.
int nextCode() {
    if (failure.left == 0 || failure.allowed-- > 0) {
        return SQLITE_OK;
    }
    failure.allowed = 0;
    --failure.left;
    failure.hasFailed = true;
    return failure.code;
}

}  // namespace

FailingSql::FailingSql(int allowed, int code, int times) {
    failure = {allowed, code, times, false};
}
FailingSql::~FailingSql() {
    failure = {};
}
bool FailingSql::hasFailed() {
    return failure.hasFailed;
}

DrawnNumbers::DrawnNumbers(std::initializer_list<int> numbers) {
    numbersToDraw = numbers;
}
DrawnNumbers::~DrawnNumbers() {
    numbersToDraw.clear();
}

extern "C" {

int __real_sqlite3_exec(sqlite3* connection, const char* sql, sqlite3_callback callback, void* argument, char** text);
int __real_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length, sqlite3_stmt** made, const char** tail);
int __real_sqlite3_step(sqlite3_stmt* statement);
int __real_rand();

int __wrap_sqlite3_exec(sqlite3* connection, const char* sql, sqlite3_callback callback, void* argument, char** text) {
    const int code = nextCode();
    if (code == SQLITE_OK) {
        return __real_sqlite3_exec(connection, sql, callback, argument, text);
    }
    if (strncmp(sql, "COMMIT", strlen("COMMIT")) == 0) {
        __real_sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (text != nullptr) {
        *text = sqlite3_mprintf("injected");
    }
    return code;
}

int __wrap_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length, sqlite3_stmt** made,
                              const char** tail) {
    const int code = nextCode();
    return code == SQLITE_OK ? __real_sqlite3_prepare_v2(connection, sql, length, made, tail) : code;
}

int __wrap_sqlite3_step(sqlite3_stmt* statement) {
    const int code = nextCode();
    return code == SQLITE_OK ? __real_sqlite3_step(statement) : code;
}

int __wrap_rand() {
    if (numbersToDraw.empty()) {
        return __real_rand();
    }
    const int number = numbersToDraw.front();
    numbersToDraw.pop_front();
    return number;
}

}  // extern "C"
