#include "orinlog_backtrace.h"

#include <dirent.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "orinlog.h"
#include "orinlog_guards.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_BACKTRACE, "orinlog_backtrace.c"};

constexpr int MAX_FRAMES = 80;
constexpr size_t PATH_SIZE = 64;
constexpr size_t NAME_SIZE = 32;
constexpr timespec TURN_POLL{0, 1000000};
constexpr int MAX_TURN_POLLS = 1000;
constexpr std::string_view SEPARATOR = "================================================================";

// Written once at registration, read by the handler.
std::atomic<uint32_t> dumpCategory{ORINLOG_CAT_OTHER};
std::atomic<uint32_t> dumpLevel{ORINLOG_ERROR};
// Its address marks a signal that one of our threads passed on.
const char passedOnMark = 0;
// Keeps the lines of one thread together.
std::atomic_flag dumping = ATOMIC_FLAG_INIT;

// A thread that waits too long for its turn writes between the others' lines: better mixed than missing.
class Turn {
  public:
    Turn() {
        for (int poll = 0; !held_ && poll < MAX_TURN_POLLS; ++poll) {
            held_ = !dumping.test_and_set(std::memory_order_acquire);
            if (!held_) {
                nanosleep(&TURN_POLL, nullptr);
            }
        }
    }
    ~Turn() {
        if (held_) {
            dumping.clear(std::memory_order_release);
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    bool held_ = false;
};

class ReadOnlyFile {
  public:
    ReadOnlyFile(const char* path, int flags) : descriptor_(open(path, O_RDONLY | O_CLOEXEC | flags)) {}
    ~ReadOnlyFile() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    ReadOnlyFile(const ReadOnlyFile&) = delete;
    ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;
    [[nodiscard]] int get() const {
        return descriptor_;
    }

  private:
    int descriptor_;
};

void readThreadName(pid_t process, pid_t thread, std::array<char, NAME_SIZE>& name) {
    std::array<char, PATH_SIZE> path{};
    snprintf(path.data(), path.size(), "/proc/%d/task/%d/comm", process, thread);
    const ReadOnlyFile file(path.data(), 0);
    const ssize_t length = file.get() < 0 ? -1 : read(file.get(), name.data(), name.size() - 1);
    if (length < 0) {
        ORINLOG(ORINLOG_ERROR, "Error getting thread name: (%d): %s", errno, strerror(errno));
        return;
    }
    name[static_cast<size_t>(length)] = '\0';
    name[strcspn(name.data(), "\n")] = '\0';
}

#define DUMP_LINE(...) ORINLOG_AS(dumpCategory.load(), dumpLevel.load(), __VA_ARGS__)

void dumpThisThread(pid_t process) {
    const pid_t thread = gettid();
    std::array<char, NAME_SIZE> processName{};
    std::array<char, NAME_SIZE> threadName{};
    readThreadName(process, process, processName);
    readThreadName(process, thread, threadName);
    DUMP_LINE("pid=%d tid=%d [%s] [%s]:", process, thread, processName.data(), threadName.data());

    std::array<void*, MAX_FRAMES> frames{};
    const int count = backtrace(frames.data(), MAX_FRAMES);
    for (int i = 0; i < count; ++i) {
        DUMP_LINE("    %d: %p", i, frames[static_cast<size_t>(i)]);
    }
}

void passOnTo(pid_t process, pid_t thread) {
    siginfo_t info{};
    info.si_signo = SIGQUIT;
    info.si_code = SI_QUEUE;
    info.si_pid = process;
    info.si_value.sival_ptr = const_cast<char*>(&passedOnMark);
    // A thread may have ended since it was listed.
    if (syscall(SYS_rt_tgsigqueueinfo, process, thread, SIGQUIT, &info) != 0 && errno != ESRCH) {
        ORINLOG(ORINLOG_ERROR, "Error signalling thread %d: (%d): %s", thread, errno, strerror(errno));
    }
}

// One directory entry as the kernel writes it; opendir would allocate, which a signal handler must not.
struct KernelEntry {
    uint64_t inode;
    int64_t offset;
    uint16_t length;
    uint8_t type;
    char name[1];
};

void passOnToNames(const char* entries, size_t size, pid_t process) {
    for (size_t at = 0; at < size;) {
        uint16_t length = 0;
        memcpy(&length, entries + at + offsetof(KernelEntry, length), sizeof(length));
        const char* name = entries + at + offsetof(KernelEntry, name);
        pid_t thread = 0;
        const auto parsed = std::from_chars(name, name + strnlen(name, length), thread);
        if (parsed.ec == std::errc{} && thread != gettid()) {
            passOnTo(process, thread);
        }
        at += length;
    }
}

void passOnToOtherThreads(pid_t process) {
    std::array<char, PATH_SIZE> path{};
    snprintf(path.data(), path.size(), "/proc/%d/task", process);
    const ReadOnlyFile directory(path.data(), O_DIRECTORY);
    if (directory.get() < 0) {
        ORINLOG(ORINLOG_ERROR, "Error getting thread list: (%d): %s", errno, strerror(errno));
        return;
    }
    alignas(uint64_t) std::array<char, 2048> entries{};
    for (;;) {
        const long size = syscall(SYS_getdents64, directory.get(), entries.data(), entries.size());
        if (size < 0) {
            ORINLOG(ORINLOG_ERROR, "Error getting thread ids: (%d): %s", errno, strerror(errno));
        }
        if (size <= 0) {
            return;
        }
        passOnToNames(entries.data(), static_cast<size_t>(size), process);
    }
}

}  // namespace

void backtraceSignalHandler(int /*signal*/, siginfo_t* info, void* /*machineContext*/) {
    const KeepErrno keepErrno;
    const pid_t process = getpid();
    const bool passedOn = info != nullptr && info->si_code == SI_QUEUE &&
                          info->si_value.sival_ptr == static_cast<const void*>(&passedOnMark);
    {
        const Turn turn;
        if (!passedOn) {
            DUMP_LINE("%s", SEPARATOR.data());
        }
        dumpThisThread(process);
    }
    if (!passedOn) {
        passOnToOtherThreads(process);
    }
}

int orinlog_registerBacktrace(uint32_t category, uint32_t level) {
    dumpCategory.store(category);
    dumpLevel.store(level);
    // The first call of each allocates, to load the unwinder and the time zone: done here, not in the handler.
    std::array<void*, 1> warmUp{};
    backtrace(warmUp.data(), 1);
    tzset();

    struct sigaction action {};
    action.sa_sigaction = backtraceSignalHandler;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGQUIT, &action, nullptr);
}
