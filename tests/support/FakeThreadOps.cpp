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

unsigned FakeThreadOps::clampMin(int tid) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mThreads.count(tid) != 0 ? mThreads.at(tid).clampMin : 0;
}

int FakeThreadOps::nice(int tid) const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mThreads.count(tid) != 0 ? mThreads.at(tid).nice : 0;
}

void FakeThreadOps::failSets(int error, int times) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFault = error;
    mFaults = times;
}

FakeThreadOps::Thread* FakeThreadOps::find(int tid) {
    auto found = mThreads.find(tid);
    return found == mThreads.end() ? nullptr : &found->second;
}

int FakeThreadOps::getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) {
    std::lock_guard<std::mutex> lock(mMutex);
    Thread* thread = find(tid);
    if (thread == nullptr) {
        return -ESRCH;
    }
    // Like a kernel without util clamping, an unsupported clamp reads 0/0.
    *minimum = mClampSupported ? thread->clampMin : 0;
    *maximum = mClampSupported ? 1024 : 0;
    return 0;
}

int FakeThreadOps::getNice(int tid, int* nice) {
    std::lock_guard<std::mutex> lock(mMutex);
    Thread* thread = find(tid);
    *nice = thread != nullptr ? thread->nice : 0;
    return thread != nullptr ? 0 : -ESRCH;
}

int FakeThreadOps::setUtilClampMin(int tid, unsigned minimum) {
    return set(tid, true, static_cast<int>(minimum));
}

int FakeThreadOps::setNice(int tid, int nice) {
    return set(tid, false, nice);
}

int FakeThreadOps::set(int tid, bool clamp, int value) {
    std::lock_guard<std::mutex> lock(mMutex);
    Thread* thread = find(tid);
    if (thread == nullptr) {
        return -ESRCH;
    }
    if (clamp && !mClampSupported) {
        return -EOPNOTSUPP;
    }
    if (mFaults > 0) {
        --mFaults;
        return -mFault;
    }
    if (clamp) {
        thread->clampMin = static_cast<unsigned>(value);
    } else {
        thread->nice = value;
    }
    return 0;
}
