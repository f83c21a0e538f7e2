// What the logging facility holds for the length of a block: errno, a mutex and SIGQUIT.
#pragma once

#include <pthread.h>

#include <cerrno>
#include <csignal>

#include "orinlog_level_user.h"

// Logging never changes errno towards its caller.
class KeepErrno {
  public:
    KeepErrno() : saved_(errno) {}
    ~KeepErrno() {
        errno = saved_;
    }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

  private:
    int saved_;
};

// A mutex that may be busy: without waiting it is asked for once, and held() tells.
class MutexLock {
  public:
    MutexLock(pthread_mutex_t* mutex, OrinlogWait wait)
        : mutex_(mutex),
          held_((wait == OrinlogWait::no ? pthread_mutex_trylock(mutex) : pthread_mutex_lock(mutex)) == 0) {}
    ~MutexLock() {
        if (held_) {
            pthread_mutex_unlock(mutex_);
        }
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    [[nodiscard]] bool held() const {
        return held_;
    }

  private:
    pthread_mutex_t* mutex_;
    bool held_;
};

// Keeps this thread's SIGQUIT waiting. Goes around what takes the C library's lock of the time zone (localtime_r): the
// dump's own lines may need the local time and would wait for ever for a lock that the code they interrupt holds.
class HoldQuitSignal {
  public:
    HoldQuitSignal() {
        sigset_t quit;
        sigemptyset(&quit);
        sigaddset(&quit, SIGQUIT);
        pthread_sigmask(SIG_BLOCK, &quit, &before_);
    }
    ~HoldQuitSignal() {
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    HoldQuitSignal(const HoldQuitSignal&) = delete;
    HoldQuitSignal& operator=(const HoldQuitSignal&) = delete;

  private:
    sigset_t before_{};
};
