#include "probe/ProbeThread.h"

#include <time.h>
#include <unistd.h>
#include <utils/ThreadDefs.h>

#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"
#include "probe/ProbeItem.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"

using android::sp;

namespace {
constexpr nsecs_t kNsPerMs = 1000000;
constexpr nsecs_t kBoostHoldNs = Vocabulary::kProbeHoldMs * kNsPerMs;
const char kThreadName[] = "ProbeThread";
}  // namespace

ProbeHandler::ProbeThread::ProbeThread(ProbeHandler& handler, BriskPlat* plat, Action* action)
    : android::Thread(true),
      mHandler(handler),
      mPlatPtr(plat),
      mAction(action),
      mHandlerGone(false),
      mInPass(false),
      mStopping(false) {
    pthread_mutex_init(&mLock, nullptr);
    pthread_cond_init(&mPassDone, nullptr);
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&mCond, &attr);
    pthread_condattr_destroy(&attr);
    // Written into the caller's record on purpose: the capped value is what the
    // platform sees on every boost.
    if (action != nullptr && action->duration > Vocabulary::kProbeDurationCap) {
        action->duration = Vocabulary::kProbeDurationCap;
    }
}

ProbeHandler::ProbeThread::~ProbeThread() {
    if (mAction != nullptr) {
        delete mAction;
        mAction = nullptr;
    }
    // The last reference may be dropped on the worker itself while event threads
    // used the queues last; taking the lock orders the teardown after them.
    {
        MutexGuard lock(&mLock);
        mWaitQueue.clear();
        mBoostedQueue.clear();
    }
    pthread_cond_destroy(&mPassDone);
    pthread_cond_destroy(&mCond);
    pthread_mutex_destroy(&mLock);
}

android::status_t ProbeHandler::ProbeThread::readyToRun() {
    pthread_setname_np(pthread_self(), kThreadName);
    return android::NO_ERROR;
}

void ProbeHandler::ProbeThread::onFirstRef() {
    run(kThreadName, ANDROID_PRIORITY_FOREGROUND, 0);
}

sp<ProbeHandler::ProbeThread::ProbeItem> ProbeHandler::ProbeThread::find(const ItemQueue& queue,
                                                                         unsigned int tid) {
    const ssize_t index = queue.indexOfKey(tid);
    return index < 0 ? sp<ProbeItem>() : queue.valueAt(static_cast<size_t>(index));
}

PerfBackend* ProbeHandler::ProbeThread::backend() const {
    return mPlatPtr == nullptr ? nullptr : mPlatPtr->mPerf;
}

void ProbeHandler::ProbeThread::applyProbeState(unsigned int tid, int state, const char* failure) {
    // The back-end is read afresh before each call.
    PerfBackend* perf = backend();
    if (perf == nullptr || perf->setProbeTarget(static_cast<int>(tid), state) != 0) {
        return;
    }
    const int payload[1] = {state};
    perf = backend();
    if (perf == nullptr || perf->doAction(mAction, 1, payload) != 0) {
        BRISK_LOGD("%s", failure);
    }
}

void ProbeHandler::ProbeThread::handleBoostItem(unsigned int tid) {
    applyProbeState(tid, Vocabulary::kBegin, "handleBoostItem doAction failed");
}

void ProbeHandler::ProbeThread::handleUnboostItem(unsigned int tid) {
    applyProbeState(tid, Vocabulary::kEnd, "handleUnBoostItem doAction failed");
}

void ProbeHandler::ProbeThread::addItemToQueue(unsigned int pid, unsigned int tid) {
    // Looked up by pid on purpose: when the process's main thread (tid == pid) is
    // boosted, its other threads skip the wait.
    if (find(mBoostedQueue, pid) != nullptr) {
        handleBoostItem(tid);
        addItemToBoostedQueue(tid);
    } else {
        addItemToWaitQueue(tid);
    }
}

void ProbeHandler::ProbeThread::addItemToWaitQueue(unsigned int tid) {
    const sp<ProbeItem> waiting = find(mWaitQueue, tid);
    const sp<ProbeItem> boosted = find(mBoostedQueue, tid);
    const bool active = (waiting != nullptr && waiting->mTimestamp != 0) ||
                        (boosted != nullptr && boosted->mTimestamp != 0);
    if (!active) {
        mWaitQueue.add(tid, new ProbeItem(tid, systemTime(SYSTEM_TIME_MONOTONIC)));
    }
    pthread_cond_signal(&mCond);
}

void ProbeHandler::ProbeThread::moveItemFromWaitQueueToBoosted(unsigned int tid) {
    mWaitQueue.removeItem(tid);
    addItemToBoostedQueueLocked(tid);
}

void ProbeHandler::ProbeThread::addItemToBoostedQueue(unsigned int tid) {
    const sp<ProbeItem> waiting = find(mWaitQueue, tid);
    const sp<ProbeItem> boosted = find(mBoostedQueue, tid);
    if (waiting != nullptr && waiting->mTimestamp != 0) {
        waiting->mTimestamp = 0;
        mWaitQueue.replaceValueFor(tid, waiting);
    }
    if (boosted == nullptr || boosted->mTimestamp == 0) {
        addItemToBoostedQueueLocked(tid);
    }
}

void ProbeHandler::ProbeThread::addItemToBoostedQueueLocked(unsigned int tid) {
    mBoostedQueue.add(tid, new ProbeItem(tid, systemTime(SYSTEM_TIME_MONOTONIC)));
}

void ProbeHandler::ProbeThread::moveItemToUnboostQueue(unsigned int tid) {
    const sp<ProbeItem> waiting = find(mWaitQueue, tid);
    const sp<ProbeItem> boosted = find(mBoostedQueue, tid);
    if (waiting != nullptr) {
        waiting->mTimestamp = 0;
        mWaitQueue.replaceValueFor(tid, waiting);
    }
    if (boosted != nullptr) {
        boosted->mTimestamp = 0;
        mBoostedQueue.replaceValueFor(tid, boosted);
        // Also for an entry that was already finished: a second stop before the
        // loop's next pass unboosts again.
        handleUnboostItem(tid);
    }
    pthread_cond_signal(&mCond);
}

void ProbeHandler::ProbeThread::detachHandler() {
    MutexGuard lock(&mLock);
    mHandlerGone = true;
    // A pass under way may still boost or unboost (the wait phase's boost runs
    // without the lock): let it finish before the caller frees what it uses.
    while (mInPass) {
        pthread_cond_wait(&mPassDone, &mLock);
    }
}

void ProbeHandler::ProbeThread::stop(bool releaseBoosts) {
    {
        MutexGuard lock(&mLock);
        mStopping = true;
        // The loop reads mStopping under the lock before it sleeps on mCond, so
        // this wake-up is never lost.
        pthread_cond_broadcast(&mCond);
    }
    requestExit();
    join();
    MutexGuard lock(&mLock);
    if (!releaseBoosts || mHandlerGone) {
        return;
    }
    for (size_t i = mBoostedQueue.size(); i-- > 0;) {
        const sp<ProbeItem> item = mBoostedQueue.valueAt(i);
        if (item != nullptr && item->mTimestamp != 0) {
            moveItemToUnboostQueue(mBoostedQueue.keyAt(i));
        }
    }
}

void ProbeHandler::ProbeThread::readStatus(ServiceStatus* out) {
    MutexGuard lock(&mLock);
    // Finished items (time stamp 0) wait only for the loop to drop them.
    const std::pair<const ItemQueue*, std::vector<unsigned int>*> queues[] = {
        {&mBoostedQueue, &out->boostedThreads}, {&mWaitQueue, &out->waitingThreads}};
    for (const auto& queue : queues) {
        for (size_t i = 0; i < queue.first->size(); ++i) {
            const sp<ProbeItem>& item = queue.first->valueAt(i);
            if (item != nullptr && item->mTimestamp != 0) {
                queue.second->push_back(queue.first->keyAt(i));
            }
        }
    }
}

void ProbeHandler::ProbeThread::endPassLocked() {
    mInPass = false;
    pthread_cond_broadcast(&mPassDone);
}

bool ProbeHandler::ProbeThread::threadLoop() {
    MutexGuard lock(&mLock);
    if (mStopping) {
        return false;
    }
    if (mHandlerGone) {
        pthread_cond_wait(&mCond, &mLock);
        return true;
    }
    const int32_t delayMs = mHandler.mBoostDelayMs;
    mInPass = true;
    lock.unlock();

    const nsecs_t now = systemTime(SYSTEM_TIME_MONOTONIC);
    const nsecs_t sleepMs = runWaitPhase(now, delayMs);
    lock.lock();
    runBoostedPhaseLocked(now, lock);

    // Finished entries count here too. While boosts are held and nothing waits,
    // the sleep time is 0 and the loop polls until the last boosted entry is gone.
    endPassLocked();
    if (mWaitQueue.isEmpty() && mBoostedQueue.isEmpty()) {
        if (!mStopping) {
            pthread_cond_wait(&mCond, &mLock);
        }
        return true;
    }
    lock.unlock();
    usleep(static_cast<useconds_t>(sleepMs > 0 ? sleepMs * 1000 : 0));
    return true;
}

nsecs_t ProbeHandler::ProbeThread::runWaitPhase(nsecs_t now, int32_t delayMs) {
    // Downward, one entry per lock, so that events are not held up for a whole
    // scan. Only this loop removes entries, so the indices below the starting count
    // stay in range; entries that arrive meanwhile are seen on a later pass.
    const nsecs_t delayNs = static_cast<nsecs_t>(delayMs) * kNsPerMs;
    nsecs_t sleepMs = 0;
    MutexGuard lock(&mLock);
    const size_t count = mWaitQueue.size();
    lock.unlock();
    for (size_t i = count; i-- > 0;) {
        lock.lock();
        unsigned int dueTid = 0;
        if (i < mWaitQueue.size()) {
            const unsigned int tid = mWaitQueue.keyAt(i);
            const sp<ProbeItem> item = mWaitQueue.valueAt(i);
            if (item == nullptr) {
                // nothing to do
            } else if (item->mTimestamp == 0) {
                mWaitQueue.removeItemsAt(i);
            } else if (now - item->mTimestamp < delayNs) {
                // Every waiting entry overwrites the sleep time, so the one left is
                // that of the lowest index, not the shortest; kept so.
                sleepMs = delayMs - (now - item->mTimestamp) / kNsPerMs;
            } else {
                moveItemFromWaitQueueToBoosted(tid);
                dueTid = tid;
            }
        }
        lock.unlock();
        // The boost is made without the lock. A due tid 0 moves to the boosted
        // queue like any other but is not sent to the platform.
        if (dueTid != 0) {
            handleBoostItem(dueTid);
        }
    }
    return sleepMs;
}

void ProbeHandler::ProbeThread::runBoostedPhaseLocked(nsecs_t now, MutexGuard& lock) {
    // Downward again, letting waiting events in after each entry. Entries of tid 0
    // never expire.
    const size_t count = mBoostedQueue.size();
    for (size_t i = count; i-- > 0;) {
        if (i < mBoostedQueue.size()) {
            const unsigned int tid = mBoostedQueue.keyAt(i);
            const sp<ProbeItem> item = mBoostedQueue.valueAt(i);
            if (item == nullptr) {
                // nothing to do
            } else if (item->mTimestamp == 0) {
                mBoostedQueue.removeItemsAt(i);
            } else if (now - item->mTimestamp >= kBoostHoldNs && tid != 0) {
                moveItemToUnboostQueue(tid);
            }
        }
        lock.unlock();
        lock.lock();
    }
}
