// While it lives, SIGALRM with a handler that does nothing arrives every 10 milliseconds and interrupts what waits.
#pragma once

#include <sys/time.h>

#include <csignal>

class SignalStorm {
  public:
    SignalStorm() {
        struct sigaction ignoring {};
        ignoring.sa_handler = [](int) {};
        sigaction(SIGALRM, &ignoring, &before_);
        const itimerval everyTenMs{{0, 10000}, {0, 10000}};
        setitimer(ITIMER_REAL, &everyTenMs, nullptr);
    }
    ~SignalStorm() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

  private:
    struct sigaction before_ {};
};
