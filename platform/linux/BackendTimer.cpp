#include "platform/linux/BackendTimer.h"

BackendTimer::BackendTimer(std::mutex& mutex, std::function<Clock::time_point()> next,
                           std::function<void(Clock::time_point)> fire)
    : mMutex(mutex), mNext(std::move(next)), mFire(std::move(fire)) {}

BackendTimer::~BackendTimer() {
    stop();
}

void BackendTimer::reschedule(Clock::time_point when) {
    if (!mThread.joinable()) {
        if (!mStopping) {
            mThread = std::thread([this] { loop(); });
        }
        return;
    }
    if (when < mPlanned) {
        mCond.notify_one();
    }
}

void BackendTimer::stop() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mStopping = true;
    }
    mCond.notify_one();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void BackendTimer::loop() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStopping) {
        mPlanned = mNext();
        if (mPlanned == Clock::time_point::max()) {
            mCond.wait(lock);
        } else {
            mCond.wait_until(lock, mPlanned);
        }
        mPlanned = Clock::time_point::min();
        if (mStopping) {
            break;
        }
        Clock::time_point now = Clock::now();
        mFire(now);
    }
}
