#include "synchroniser.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstring>

#include "message.h"

namespace {

constexpr const char* PROGRAM = "ct_synchronizer";

// The path beside this program, or the bare name, which is searched along PATH.
std::string findProgram() {
    std::array<char, PATH_MAX> own{};
    const ssize_t length = readlink("/proc/self/exe", own.data(), own.size() - 1);
    if (length > 0) {
        const std::string path(own.data(), static_cast<size_t>(length));
        std::string neighbour = path.substr(0, path.rfind('/') + 1) + PROGRAM;
        if (access(neighbour.c_str(), X_OK) == 0) {
            return neighbour;
        }
    }
    return PROGRAM;
}

// How the child is started: in a process group of its own, since a Ctrl-C on the terminal would kill it in the middle
// of its work, and with no signal blocked.
class SpawnSettings {
  public:
    SpawnSettings() {
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

pid_t start(const std::vector<std::string>& arguments) {
    std::string program = findProgram();
    std::vector<std::string> texts(arguments);
    std::vector<char*> pointers{program.data()};
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    const SpawnSettings settings;
    pid_t child = -1;
    const int error =
        posix_spawnp(&child, program.c_str(), &settings.files, &settings.attributes, pointers.data(), environ);
    if (error != 0) {
        account_error("cannot start %s: %s", program.c_str(), strerror(error));
        return -1;
    }
    return child;
}

// Blocks the signals that are waited for. They stay pending until they are taken, so that none is missed between two
// looks, nor before the child is there.
class WaitedSignals {
  public:
    WaitedSignals() {
        signal(SIGCHLD, SIG_DFL);  // an inherited "ignore" would take the child's exit status away
        sigemptyset(&set_);
        for (const int waited : {SIGCHLD, SIGINT, SIGHUP, SIGTERM}) {
            struct sigaction current {};
            sigaction(waited, nullptr, &current);
            if (current.sa_handler != SIG_IGN) {  // nohup's
                sigaddset(&set_, waited);
            }
        }
        sigprocmask(SIG_BLOCK, &set_, &before_);
    }
    ~WaitedSignals() {
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
    WaitedSignals(const WaitedSignals&) = delete;
    WaitedSignals& operator=(const WaitedSignals&) = delete;

    [[nodiscard]] int take() const {
        return sigwaitinfo(&set_, nullptr);
    }

  private:
    sigset_t set_{};
    sigset_t before_{};
};

void waitFor(pid_t child, const WaitedSignals& signals, SynchroniserEnd* end) {
    int status = 0;
    while (waitpid(child, &status, WNOHANG) != child) {
        const int signal = signals.take();
        if (signal > 0 && signal != SIGCHLD) {
            account_error("interrupted: waiting for the synchroniser to end");
            end->interrupted = true;
            kill(child, SIGTERM);
        }
    }
    end->exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    end->signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

}  // namespace

bool account_runSynchroniser(const std::vector<std::string>& arguments, SynchroniserEnd* end) {
    const WaitedSignals signals;
    const pid_t child = start(arguments);
    if (child > 0) {
        waitFor(child, signals, end);
    }
    return child > 0;
}
