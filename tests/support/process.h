// Another program, started and watched. It is killed when the variable goes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

struct ProcessResult {
    int exitStatus = -1;  // -1 when it was ended by a signal
    int signal = 0;       // 0 when it exited
    std::string out;
    std::string err;
    bool timedOut = false;  // it did not end in time and was killed
};
std::ostream& operator<<(std::ostream& out, const ProcessResult& result);

// The path of a program that lies in the folder of the running one.
std::string programPath(const std::string& name);

class Process {
  public:
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds DEADLINE{20000};

    // Starts arguments[0] with this process's environment, standard input at its end.
    explicit Process(const std::vector<std::string>& arguments);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const {
        return pid_;
    }
    // Sends a signal, if the process has not been waited for.
    void send(int signal) const;
    // What it has printed so far.
    [[nodiscard]] std::string out() const;
    // Until standard output holds this text; false when the process ends or the deadline passes without it.
    [[nodiscard]] bool waitForOutput(const std::string& text, Milliseconds deadline = DEADLINE);
    // Until it ends.
    ProcessResult wait(Milliseconds deadline = DEADLINE);

  private:
    // Kills and collects the process, if it has not ended.
    void end();
    // Collects the process if it has ended.
    bool hasEnded(int flags);
    // Until `isDone` answers true; false when the process ends or the deadline passes without that.
    bool waitUntil(Milliseconds deadline, const std::function<bool()>& isDone);

    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
    int outFile_ = -1;
    int errFile_ = -1;
};

// Starts a program and waits for its end.
ProcessResult run(const std::vector<std::string>& arguments);
