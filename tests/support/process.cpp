#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <thread>

namespace {

constexpr std::chrono::milliseconds POLL{2};

std::string contentOf(int file) {
    std::string content(static_cast<size_t>(std::filesystem::file_size("/proc/self/fd/" + std::to_string(file))), '\0');
    const ssize_t length = pread(file, content.data(), content.size(), 0);
    content.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return content;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ProcessResult& result) {
    return out << "exit status " << result.exitStatus << ", signal " << result.signal
               << (result.timedOut ? ", killed at its deadline" : "") << "\nstdout:\n"
               << result.out << "\nstderr:\n"
               << result.err;
}

std::string programPath(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

Process::Process(const std::vector<std::string>& arguments)
    : outFile_(memfd_create("stdout", MFD_CLOEXEC)), errFile_(memfd_create("stderr", MFD_CLOEXEC)) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const auto& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outFile_, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errFile_, STDERR_FILENO);
    const int error = posix_spawnp(&pid_, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        ADD_FAILURE() << "cannot start " << arguments[0] << ": " << strerror(error);
        ended_ = true;
    }
}

Process::~Process() {
    end();
    close(outFile_);
    close(errFile_);
}

void Process::end() {
    send(SIGKILL);
    hasEnded(0);
}

void Process::send(int signal) const {
    if (!ended_) {
        kill(pid_, signal);
    }
}

std::string Process::out() const {
    return contentOf(outFile_);
}

bool Process::hasEnded(int flags) {
    if (!ended_) {
        ended_ = waitpid(pid_, &status_, flags) == pid_;
    }
    return ended_;
}

bool Process::waitUntil(Milliseconds deadline, const std::function<bool()>& isDone) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    for (;; std::this_thread::sleep_for(POLL)) {
        const bool last = hasEnded(WNOHANG) || std::chrono::steady_clock::now() > end;
        if (isDone() || last) {
            return isDone();
        }
    }
}

bool Process::waitForOutput(const std::string& text, Milliseconds deadline) {
    return waitUntil(deadline, [&] { return out().find(text) != std::string::npos; });
}

ProcessResult Process::wait(Milliseconds deadline) {
    const bool inTime = waitUntil(deadline, [this] { return ended_; });
    end();
    return {WIFEXITED(status_) ? WEXITSTATUS(status_) : -1, WIFSIGNALED(status_) ? WTERMSIG(status_) : 0, out(),
            contentOf(errFile_), !inTime};
}

ProcessResult run(const std::vector<std::string>& arguments) {
    return Process(arguments).wait();
}
