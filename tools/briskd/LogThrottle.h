#pragma once

#include <chrono>
#include <mutex>

// Lets one kind of log line through at most once per interval, so that a flood
// of refusals cannot flood the log; the lines held back are counted and the
// next line that goes through says how many there were. Safe to share between
// threads.
class LogThrottle {
public:
    explicit LogThrottle(std::chrono::milliseconds interval) : mInterval(interval) {}

    // Counts one occurrence. True when a line is due now; `count` then receives
    // the occurrences since the last line, this one included.
    bool due(long* count);

private:
    std::mutex mMutex;
    std::chrono::milliseconds mInterval;
    std::chrono::steady_clock::time_point mLast{};
    long mCount = 0;
};
