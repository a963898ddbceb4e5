#pragma once

#include <pthread.h>

// Holds a pthread mutex for the rest of its scope: every way out of the scope,
// early returns included, releases it. unlock() ends the hold sooner, for a scope
// whose critical section must end before a call (the scene path releases its lock
// before any back-end call); lock() takes it again.
class MutexGuard {
public:
    explicit MutexGuard(pthread_mutex_t* mutex) : mMutex(mutex) { lock(); }
    ~MutexGuard() { unlock(); }

    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

    void lock() {
        if (!mHeld) {
            pthread_mutex_lock(mMutex);
            mHeld = true;
        }
    }
    void unlock() {
        if (mHeld) {
            mHeld = false;
            pthread_mutex_unlock(mMutex);
        }
    }

private:
    pthread_mutex_t* mMutex;
    bool mHeld = false;
};
