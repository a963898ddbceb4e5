#include "tests/support/FakeThreadOps.h"

#include <cerrno>

void FakeThreadOps::setClampSupported(bool supported) {
    std::lock_guard<std::mutex> lock(mMutex);
    mClampSupported = supported;
}

void FakeThreadOps::addThread(int tid, unsigned clampMin, int nice) {
    std::lock_guard<std::mutex> lock(mMutex);
    mThreads[tid] = Thread{clampMin, nice};
}

void FakeThreadOps::removeThread(int tid) {
    std::lock_guard<std::mutex> lock(mMutex);
    mThreads.erase(tid);
}

unsigned FakeThreadOps::clampMin(int tid) const {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    return found == mThreads.end() ? 0 : found->second.clampMin;
}

int FakeThreadOps::nice(int tid) const {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    return found == mThreads.end() ? 0 : found->second.nice;
}

void FakeThreadOps::failSets(int error, int times) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFault = error;
    mFaults = times;
}

int FakeThreadOps::sets() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSets;
}

int FakeThreadOps::takeFault() {
    ++mSets;
    if (mFaults <= 0) {
        return 0;
    }
    --mFaults;
    return -mFault;
}

int FakeThreadOps::getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    if (found == mThreads.end()) {
        return -ESRCH;
    }
    // Like a kernel without util clamping, an unsupported clamp reads 0/0.
    *minimum = mClampSupported ? found->second.clampMin : 0;
    *maximum = mClampSupported ? 1024 : 0;
    return 0;
}

int FakeThreadOps::setUtilClampMin(int tid, unsigned minimum) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    if (found == mThreads.end()) {
        return -ESRCH;
    }
    if (!mClampSupported) {
        return -EOPNOTSUPP;
    }
    if (int error = takeFault()) {
        return error;
    }
    found->second.clampMin = minimum;
    return 0;
}

int FakeThreadOps::getNice(int tid, int* nice) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    if (found == mThreads.end()) {
        return -ESRCH;
    }
    *nice = found->second.nice;
    return 0;
}

int FakeThreadOps::setNice(int tid, int nice) {
    std::lock_guard<std::mutex> lock(mMutex);
    auto found = mThreads.find(tid);
    if (found == mThreads.end()) {
        return -ESRCH;
    }
    if (int error = takeFault()) {
        return error;
    }
    found->second.nice = nice;
    return 0;
}
