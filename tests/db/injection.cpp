#include "injection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <deque>
#include <string_view>

namespace {

struct State {
    Fault::Kind kind;
    int allowed;
    int code;
    int left;
    bool hasFailed;
};
State state;
std::deque<int> drawn;

// Whether a call of SQLite fails, or one that writes. Whoever is to be killed does not come back.
enum class Call { sql, write };
bool fails(Call call) {
    if (state.left == 0 || (call == Call::sql) != (state.kind == Fault::sql) || state.allowed-- > 0) {
        return false;
    }
    state.allowed = 0;
    --state.left;
    state.hasFailed = true;
    if (state.kind == Fault::killed) {
        kill(getpid(), SIGKILL);
    }
    errno = ENOSPC;
    return true;
}

ssize_t failingPwrite(int file, const void* bytes, size_t count, off64_t offset) {
    return fails(Call::write) ? -1 : pwrite64(file, bytes, count, offset);
}

}  // namespace

Fault::Fault(Kind kind, int allowed, int code, int times) {
    state = {kind, allowed, code, kind == sql ? times : INT_MAX, false};
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, "pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(failingPwrite));
}
Fault::~Fault() {
    state = {};
}
bool Fault::hasFailed() {
    return state.hasFailed;
}

void drawNumbers(std::initializer_list<int> numbers) {
    drawn = numbers;
}

extern "C" {

int __real_sqlite3_exec(sqlite3* connection, const char* sql, sqlite3_callback callback, void* argument, char** text);
int __real_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length, sqlite3_stmt** made, const char** tail);
int __real_sqlite3_step(sqlite3_stmt* statement);
int __real_rand();
size_t __real_fwrite(const void* bytes, size_t size, size_t count, FILE* file);
int __real_fsync(int file);

int __wrap_sqlite3_exec(sqlite3* connection, const char* sql, sqlite3_callback callback, void* argument, char** text) {
    if (!fails(Call::sql)) {
        return __real_sqlite3_exec(connection, sql, callback, argument, text);
    }
    if (std::string_view(sql).starts_with("COMMIT")) {
        __real_sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (text != nullptr) {
        *text = sqlite3_mprintf("injected");
    }
    return state.code;
}
int __wrap_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length, sqlite3_stmt** made,
                              const char** tail) {
    return fails(Call::sql) ? state.code : __real_sqlite3_prepare_v2(connection, sql, length, made, tail);
}
int __wrap_sqlite3_step(sqlite3_stmt* statement) {
    return fails(Call::sql) ? state.code : __real_sqlite3_step(statement);
}

int __wrap_rand() {
    if (drawn.empty()) {
        return __real_rand();
    }
    const int number = drawn.front();
    drawn.pop_front();
    return number;
}

size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
    return fails(Call::write) ? 0 : __real_fwrite(bytes, size, count, file);
}
int __wrap_fsync(int file) {
    return fails(Call::write) ? -1 : __real_fsync(file);
}
}  // extern "C"
