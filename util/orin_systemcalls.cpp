#include "orin_systemcalls.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orin_guards.h"
#include "orin_stringbuffer.h"
#include "orinlog.h"

namespace {

constexpr orinlog_Module LOG_MODULE{ORINLOG_CAT_SHELL, "orin_systemcalls.c"};

// What is taken out of a pipe at a time; as much as the kernel writes in one piece.
constexpr size_t READ_SIZE = 4096;

// A program and its arguments: the vector to start it with, ended by nullptr, and their text for the log.
struct Command {
    std::array<char*, ORIN_COMMAND_MAX_ARGUMENTS + 1> arguments{};
    std::array<char, ORIN_COMMAND_SIZE> text{};
};

// Where the child's descriptors go. A setting that finds no memory fails.
class FileActions {
  public:
    FileActions() : usable_(posix_spawn_file_actions_init(&actions_) == 0) {}
    ~FileActions() {
        if (usable_) {
            posix_spawn_file_actions_destroy(&actions_);
        }
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    [[nodiscard]] bool sendOutputTo(int descriptor) {
        return usable_ && posix_spawn_file_actions_adddup2(&actions_, descriptor, STDOUT_FILENO) == 0;
    }
    [[nodiscard]] const posix_spawn_file_actions_t* get() const {
        return &actions_;
    }

  private:
    posix_spawn_file_actions_t actions_{};
    bool usable_;
};

const char* signalText(int signal) {
    const char* const text = strsignal(signal);
    return text != nullptr ? text : "unknown";
}

// Takes `count` texts and announces the command in the log. Returns 0, or -1 when there are none or too many.
int readCommand(Command& command, int count, const char* program, va_list following) {
    if (program == nullptr || count < 1 || count > ORIN_COMMAND_MAX_ARGUMENTS) {
        ORINLOG_FN(ORINLOG_ERROR, "illegal parameter, program=%p count=%d", static_cast<const void*>(program), count);
        return -1;
    }
    const char* argument = program;
    size_t used = 0;
    for (size_t i = 0; argument != nullptr; ++i) {
        command.arguments[i] = const_cast<char*>(argument);
        if (used < command.text.size()) {
            const int length =
                snprintf(command.text.data() + used, command.text.size() - used, "%s%s", i == 0 ? "" : " ", argument);
            used += length > 0 ? static_cast<size_t>(length) : 0;
        }
        argument = i + 1 < static_cast<size_t>(count) ? va_arg(following, const char*) : nullptr;
    }
    ORINLOG(ORINLOG_DEBUG, "run shell cmd: %s", command.text.data());
    return 0;
}

// Starts the program with this process's environment. Returns the child, which must be waited for, or -1.
pid_t start(const Command& command, const posix_spawn_file_actions_t* actions) {
    pid_t child = -1;
    const int error = posix_spawnp(&child, command.arguments[0], actions, nullptr, command.arguments.data(), environ);
    if (error != 0) {
        ORINLOG(ORINLOG_ERROR, "posix_spawn() failed with error=%d! cmd: %s", error, command.text.data());
        return -1;
    }
    return child;
}

// Collects the child, so that it does not stay as a zombie, and reports its end. Returns its exit status.
int waitFor(pid_t child, const Command& command) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            ORINLOG(ORINLOG_ERROR, "waitpid() failed: %s cmd: %s", strerror(errno), command.text.data());
            return ORIN_COMMAND_FAILED;
        }
    }
    LogErrors(status, command.text.data());
    return WIFEXITED(status) ? WEXITSTATUS(status) : ORIN_COMMAND_FAILED;
}

// Reads to the end, whatever happens: a child that cannot get rid of its output would never end.
int collect(int descriptor, orinStringBuffer* output) {
    std::array<char, READ_SIZE> block{};
    int result = 0;
    ssize_t length = 0;
    do {
        length = read(descriptor, block.data(), block.size());
        if (length > 0 && result == 0) {
            result = orin_appendToStringBuffer(output, block.data(), static_cast<size_t>(length));
        }
    } while (length > 0 || (length < 0 && errno == EINTR));
    if (length < 0) {
        ORINLOG(ORINLOG_ERROR, "read() failed: %s", strerror(errno));
        return -1;
    }
    return result;
}

// The pipe's ends are closed on exec: only the copy that is the child's standard output reaches it.
int runAndCollect(const Command& command, orinStringBuffer* output) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        ORINLOG(ORINLOG_ERROR, "pipe() failed: %s", strerror(errno));
        return ORIN_COMMAND_FAILED;
    }
    const Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    FileActions actions;
    if (!actions.sendOutputTo(writeEnd.get())) {
        ORINLOG(ORINLOG_ERROR, "posix_spawn_file_actions_adddup2() failed! cmd: %s", command.text.data());
        return ORIN_COMMAND_FAILED;
    }
    const pid_t child = start(command, actions.get());
    // The end of the output is seen only when nobody but the child can write.
    writeEnd.reset();
    if (child < 0) {
        return ORIN_COMMAND_FAILED;
    }
    const int collected = collect(readEnd.get(), output);
    const int result = waitFor(child, command);
    return collected != 0 ? ORIN_COMMAND_FAILED : result;
}

}  // namespace

uint8_t orin_systemf_insecure(const char* format, ...) {
    if (format == nullptr) {
        ORINLOG_FN(ORINLOG_ERROR, "format == NULL");
        return 0;
    }
    std::array<char, ORIN_COMMAND_SIZE> command{};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command.data(), command.size(), format, arguments);
    va_end(arguments);
    ORINLOG(ORINLOG_DEBUG, "run shell cmd: %s", command.data());
    const int status = system(command.data());
    LogErrors(status, command.data());
    // A shell that could not be started is -1, which is no exit with status 0 either.
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 1 : 0;
}

int _orin_systemf_returncode(int argumentCount, const char* program, ...) {
    Command command;
    va_list following;
    va_start(following, program);
    const int complete = readCommand(command, argumentCount, program, following);
    va_end(following);
    const pid_t child = complete == 0 ? start(command, nullptr) : -1;
    return child < 0 ? ORIN_COMMAND_FAILED : waitFor(child, command);
}

int _orin_systemf_echo(orinStringBuffer* output, int argumentCount, const char* program, ...) {
    Command command;
    va_list following;
    va_start(following, program);
    const int complete = readCommand(command, argumentCount, program, following);
    va_end(following);
    return complete == 0 ? runAndCollect(command, output) : ORIN_COMMAND_FAILED;
}

void LogErrors(int status, const char* command) {
    if (WIFEXITED(status)) {
        if (WEXITSTATUS(status) != 0) {
            ORINLOG(ORINLOG_WARNING, "exited with status %d: %s", WEXITSTATUS(status), command);
        }
    } else if (WIFSIGNALED(status)) {
        ORINLOG(ORINLOG_ERROR, "terminated with signal %s=%d: %s", signalText(WTERMSIG(status)), WTERMSIG(status),
                command);
    } else if (WIFSTOPPED(status)) {
        ORINLOG(ORINLOG_ERROR, "stopped with signal %s=%d: %s", signalText(WSTOPSIG(status)), WSTOPSIG(status),
                command);
    } else {
        ORINLOG(ORINLOG_WARNING, "system() exited with status %d: %s", status, command);
    }
}
