#pragma once

#include <map>
#include <string>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/BoostJournal.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/ThreadOps.h"

// Raises a probed thread for the length of its work: its util clamp minimum
// (sched_setattr), or on kernels without util clamping its nice value, as the
// description says. The thread is told apart from a later one with the same id
// by its start time, and its old value comes back only while the value is still
// the booster's own. Every boost is journaled (BoostJournal) so that the next
// start puts it back after a crash. Not thread-safe: the back-end calls it under
// its lock.
class ThreadBooster {
public:
    ThreadBooster(const KernelReader& reader, ThreadOps& ops, BoostJournal& journal,
                  const BoostChoice& choice)
        : mReader(reader), mOps(ops), mJournal(journal), mChoice(choice) {}

    // 0; -ESRCH (the thread ended, not logged); -EPERM (logged once, naming
    // CAP_SYS_NICE); another -errno. With util clamping absent and no fallback, 0.
    int boost(int tid, unsigned minimum);
    // Puts the thread's value back if it is still the same thread and the value
    // still the booster's; otherwise nothing. 0, or a -errno of the write back.
    int unboost(int tid);
    // Every boost still held, back (at the end of the back-end).
    void restoreAll();
    // The careful write back of one journaled boost (also after a crash).
    static int restore(const KernelReader& reader, ThreadOps& ops, const BoostRecord& record);

private:
    int boostByClamp(int tid, unsigned minimum, BoostRecord* record);
    int boostByNice(int tid, BoostRecord* record);
    int refused(int error, const char* what);

    const KernelReader& mReader;
    ThreadOps& mOps;
    BoostJournal& mJournal;
    const BoostChoice& mChoice;
    bool mClampWorks = true;  // false after the kernel answered EOPNOTSUPP once
    bool mWarnedPermission = false;
    struct Boost {
        BoostRecord record;
        int slot;  // in the journal
    };
    std::map<int, Boost> mBoosts;  // by thread id
};
