#pragma once

#include <chrono>

// A rate limit: `rate` units a second on average, with bursts of up to one
// second's worth. Not thread-safe; RateLimits guards the buckets it shares.
class TokenBucket {
public:
    using Clock = std::chrono::steady_clock;

    // `rate` 0: no limit.
    explicit TokenBucket(unsigned rate) : mRate(rate), mTokens(rate) {}

    // The cost that take() would charge: a request dearer than a whole second's
    // worth is charged one second's worth, so that it can pass at all.
    double charge(unsigned cost) const;
    // Refills the bucket for the time passed since the last call; true when it
    // now holds `cost`.
    bool has(unsigned cost, Clock::time_point now);
    // Takes `cost`; call after has() said yes.
    void take(unsigned cost) { mTokens -= charge(cost); }
    // True when the bucket is full again, so that forgetting it loses nothing.
    bool full(Clock::time_point now);
    unsigned rate() const { return mRate; }

private:
    unsigned mRate;
    double mTokens;
    Clock::time_point mLast = Clock::now();
};
