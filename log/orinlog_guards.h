// What the logging facility holds for the length of a block: errno and a mutex.
#pragma once

#include <pthread.h>

#include <cerrno>

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
