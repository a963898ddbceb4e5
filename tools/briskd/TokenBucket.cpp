#include "tools/briskd/TokenBucket.h"

#include <algorithm>

double TokenBucket::charge(unsigned cost) const {
    return std::min<double>(cost, mRate);
}

bool TokenBucket::has(unsigned cost, Clock::time_point now) {
    if (mRate == 0) {
        return true;
    }
    std::chrono::duration<double> passed = now - mLast;
    mLast = now;
    mTokens = std::min<double>(mRate, mTokens + passed.count() * mRate);
    return mTokens >= charge(cost);
}

bool TokenBucket::full(Clock::time_point now) {
    return has(mRate, now);
}
