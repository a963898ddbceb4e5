#include "tools/briskd/LogThrottle.h"

bool LogThrottle::due(long* count) {
    std::lock_guard<std::mutex> lock(mMutex);
    ++mCount;
    auto now = std::chrono::steady_clock::now();
    if (mLast != std::chrono::steady_clock::time_point{} && now - mLast < mInterval) {
        return false;
    }
    *count = mCount;
    mCount = 0;
    mLast = now;
    return true;
}
