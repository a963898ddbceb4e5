#pragma once

#include <pthread.h>
#include <utils/KeyedVector.h>
#include <utils/StrongPointer.h>
#include <utils/Thread.h>
#include <utils/Timers.h>

#include "probe/ProbeHandler.h"
#include "server/ServiceStatus.h"

class MutexGuard;
class PerfBackend;

// The worker of probe boosting. It keeps two queues keyed by thread id: threads
// that started work and wait to be boosted, and boosted threads. Its loop boosts a
// waiting thread once it has waited the handler's boost delay (so short work costs
// no platform call at all) and unboosts a boosted thread after the hold time;
// ProbeHandler::handle feeds the queues.
//
// Locking: mLock guards both queues and every item's time stamp. None of the
// queue operations takes it; every caller must hold it. Some of them call the
// platform while the lock is held (the re-boost in addItemToQueue and every
// unboost), so the platform must never call back into the probe code.
class ProbeHandler::ProbeThread : public android::Thread {
public:
    class ProbeItem;
    using ItemQueue = android::KeyedVector<unsigned int, android::sp<ProbeItem>>;

    // Caps the probe Action's duration, in the caller's record.
    ProbeThread(ProbeHandler& handler, BriskPlat* plat, Action* action);
    // Deletes the Action's head record only.
    ~ProbeThread() override;

    ProbeThread(const ProbeThread&) = delete;
    ProbeThread& operator=(const ProbeThread&) = delete;

    // A thread starts work. When the boosted queue holds the process's own id (its
    // main thread is boosted), the thread is boosted at once instead of waiting.
    void addItemToQueue(unsigned int pid, unsigned int tid);
    void addItemToWaitQueue(unsigned int tid);
    // Drops the wait entry and adds a boosted one; the caller makes the platform
    // call after releasing the lock.
    void moveItemFromWaitQueueToBoosted(unsigned int tid);
    // Marks a waiting entry finished and adds a boosted entry unless one is active
    // (an active one keeps its time stamp).
    void addItemToBoostedQueue(unsigned int tid);
    // Adds a boosted entry stamped now, replacing any entry for tid.
    void addItemToBoostedQueueLocked(unsigned int tid);
    // A thread ends work: marks both its entries finished and, if it had a boosted
    // entry (even a finished one), unboosts it at once.
    void moveItemToUnboostQueue(unsigned int tid);

    // The platform sequences: bind tid as probe target, then apply the probe
    // Action with the probe state. Failures are not retried.
    void handleBoostItem(unsigned int tid);
    void handleUnboostItem(unsigned int tid);

    // Called by the handler as it goes away (or by its owner before the platform
    // goes). The worker is not stopped, but once this returns it neither reads the
    // handler nor touches the queues or the platform: a pass under way is waited
    // for, and the worker stays asleep on mCond for the rest of the process.
    void detachHandler();

    // The threads boosted now and those waiting for their boost, for a status
    // view; takes mLock briefly and calls nothing.
    void readStatus(ServiceStatus* out);

    // Ends the worker, for hosts and tests that must (the service never does): asks
    // it to exit, wakes it and waits until it has. With `releaseBoosts`, every
    // boost still held is then taken back as a stop event would (unless the
    // handler is detached); otherwise the platform is not called again.
    void stop(bool releaseBoosts);

    pthread_mutex_t mLock;
    ProbeHandler& mHandler;
    // Signalled when an event arrives; the loop sleeps on it while both queues are
    // empty.
    pthread_cond_t mCond;
    ItemQueue mWaitQueue;
    ItemQueue mBoostedQueue;
    BriskPlat* mPlatPtr;  // not owned
    Action* mAction;      // owned
    bool mHandlerGone;    // guarded by mLock; set once by detachHandler
    bool mInPass;         // guarded by mLock; a loop pass is under way
    bool mStopping;       // guarded by mLock; set once by stop
    // Signalled when a pass ends, for detachHandler.
    pthread_cond_t mPassDone;

protected:
    // Starts the thread when the handler takes the first strong reference.
    void onFirstRef() override;

private:
    // One pass: boost the due waiting threads, unboost the expired boosted ones,
    // then sleep (on mCond when idle, else for the remaining boost delay). False,
    // which ends the thread, only once stop() has asked.
    bool threadLoop() override;
    // Debian's libutils names threads only in Android builds: name the worker
    // here so that ps, top and debuggers show "ProbeThread".
    android::status_t readyToRun() override;

    // The two phases of a pass. The wait phase boosts the due waiting threads and
    // returns the time to sleep; the boosted phase unboosts the expired boosts,
    // with `lock` (on mLock) held on entry and on return.
    nsecs_t runWaitPhase(nsecs_t now, int32_t delayMs);
    void runBoostedPhaseLocked(nsecs_t now, MutexGuard& lock);
    // Marks the pass over and wakes detachHandler.
    void endPassLocked();

    // The queue's entry for tid, or null when there is none.
    static android::sp<ProbeItem> find(const ItemQueue& queue, unsigned int tid);
    PerfBackend* backend() const;
    void applyProbeState(unsigned int tid, int state, const char* failure);
};
