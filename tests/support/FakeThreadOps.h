#pragma once

#include <map>
#include <mutex>

#include "platform/linux/ThreadOps.h"

// Threads as a kernel with (or without) util clamping would answer for them,
// without touching a real thread: each known thread has a clamp minimum and a
// nice value; unknown ones answer ESRCH; chosen calls fail with a chosen errno.
class FakeThreadOps : public ThreadOps {
public:
    void setClampSupported(bool supported);
    void addThread(int tid, unsigned clampMin = 0, int nice = 0);
    unsigned clampMin(int tid) const;
    int nice(int tid) const;
    // The next set calls (sched_setattr and setpriority alike) fail with `error`.
    void failSets(int error, int times = 1);

    int getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) override;
    int setUtilClampMin(int tid, unsigned minimum) override;
    int getNice(int tid, int* nice) override;
    int setNice(int tid, int nice) override;

private:
    struct Thread {
        unsigned clampMin = 0;
        int nice = 0;
    };
    Thread* find(int tid);  // null when unknown
    // sched_setattr (`clamp`) or setpriority, failed while faults remain.
    int set(int tid, bool clamp, int value);

    mutable std::mutex mMutex;
    bool mClampSupported = true;
    std::map<int, Thread> mThreads;
    int mFault = 0;
    int mFaults = 0;
};
