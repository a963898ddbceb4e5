#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

// The back-end's own thread: it ends timed requests and retries busy files. It
// works under the back-end's lock, asks `next` when it should wake next (max():
// not until rescheduled) and calls `fire` when that time has come. It starts on
// the first reschedule, so a back-end that never needs it has no thread.
class BackendTimer {
public:
    using Clock = std::chrono::steady_clock;

    BackendTimer(std::mutex& mutex, std::function<Clock::time_point()> next,
                 std::function<void(Clock::time_point)> fire);
    ~BackendTimer();
    BackendTimer(const BackendTimer&) = delete;
    BackendTimer& operator=(const BackendTimer&) = delete;

    // With the lock held: something is due at `when`. Wakes the thread only when
    // that is earlier than it planned to wake, so a renewal costs no system call.
    void reschedule(Clock::time_point when);
    // Without the lock: ends the thread and waits for it.
    void stop();

private:
    void loop();

    std::mutex& mMutex;
    std::function<Clock::time_point()> mNext;
    std::function<void(Clock::time_point)> mFire;
    std::condition_variable mCond;
    std::thread mThread;
    bool mStopping = false;
    // When the sleeping thread will wake; min() while it is awake (it asks `next`
    // again before it sleeps).
    Clock::time_point mPlanned = Clock::time_point::min();
};
