#include "write_fault.h"

#include <spawn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace {

struct State {
    bool isArmed = false;
    Fault fault = Fault::fullDisk;
    int left = 0;
    bool hasCome = false;
};
State state;

// Whether a write fails. Whoever is to be killed does not come back.
bool fails(Fault harmfulFault) {
    if (!state.isArmed || (harmfulFault == Fault::kill && state.fault != Fault::kill) || state.left-- > 0) {
        return false;
    }
    state.left = 0;
    state.hasCome = true;
    if (state.fault == Fault::kill) {
        kill(getpid(), SIGKILL);
    }
    errno = ENOSPC;
    return true;
}

ssize_t failingPwrite(int file, const void* bytes, size_t count, off64_t offset) {
    return fails(Fault::fullDisk) ? -1 : pwrite64(file, bytes, count, offset);
}
int failingFtruncate(int file, off_t length) {
    return fails(Fault::kill) ? -1 : ftruncate(file, length);
}
int failingUnlink(const char* path) {
    return fails(Fault::kill) ? -1 : unlink(path);
}

void setCall(const char* name, sqlite3_syscall_ptr call) {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, name, call);
}

}  // namespace

WriteFault::WriteFault(Fault fault, int allowed) {
    state = {true, fault, allowed, false};
    setCall("pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(failingPwrite));
    setCall("ftruncate", reinterpret_cast<sqlite3_syscall_ptr>(failingFtruncate));
    setCall("unlink", reinterpret_cast<sqlite3_syscall_ptr>(failingUnlink));
}

WriteFault::~WriteFault() {
    state.isArmed = false;
    setCall(nullptr, nullptr);
}

bool WriteFault::hasCome() {
    return state.hasCome;
}

extern "C" {

size_t __real_fwrite(const void* bytes, size_t size, size_t count, FILE* file);
int __real_fsync(int file);
int __real_rename(const char* from, const char* to);
int __real_posix_spawnp(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]);

size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
    return fails(Fault::fullDisk) ? 0 : __real_fwrite(bytes, size, count, file);
}

int __wrap_fsync(int file) {
    return fails(Fault::fullDisk) ? -1 : __real_fsync(file);
}

int __wrap_rename(const char* from, const char* to) {
    return fails(Fault::kill) ? -1 : __real_rename(from, to);
}

// A killed process may leave its child at work.
int __wrap_posix_spawnp(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    if (fails(Fault::kill)) {
        return ENOSPC;
    }
    const int result = __real_posix_spawnp(child, file, actions, attributes, arguments, environment);
    return fails(Fault::kill) ? ENOSPC : result;
}

}  // extern "C"
