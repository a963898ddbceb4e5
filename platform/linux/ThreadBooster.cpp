#include "platform/linux/ThreadBooster.h"

#include <cerrno>
#include <cstring>

#include "platform/linux/LinuxLog.h"
#include "platform/linux/ProcessIdentity.h"

namespace {
constexpr int kNiceMin = -20;
constexpr int kNiceMax = 19;
}  // namespace

int ThreadBooster::refused(int error, const char* what) {
    if (error == -EPERM && !mWarnedPermission) {
        mWarnedPermission = true;
        LINUX_LOGW("thread boosts refused (%s: %s): the service needs CAP_SYS_NICE", what,
                   strerror(EPERM));
    } else if (error != -ESRCH && error != -EPERM) {
        LINUX_LOGE("thread boost: %s failed: %s", what, strerror(-error));
    }
    return error;
}

int ThreadBooster::boostByClamp(int tid, unsigned minimum, BoostRecord* record) {
    unsigned saved = 0;
    unsigned maximum = 0;
    int r = mOps.getUtilClamp(tid, &saved, &maximum);
    if (r == 0) {
        r = mOps.setUtilClampMin(tid, minimum);
    }
    if (r != 0) {
        return r;
    }
    record->clamp = true;
    record->saved = static_cast<int>(saved);
    record->ours = static_cast<int>(minimum);
    return 0;
}

int ThreadBooster::boostByNice(int tid, BoostRecord* record) {
    int saved = 0;
    int r = mOps.getNice(tid, &saved);
    int ours = saved - mChoice.niceStep;
    ours = ours < kNiceMin ? kNiceMin : ours > kNiceMax ? kNiceMax : ours;
    if (r == 0) {
        r = mOps.setNice(tid, ours);
    }
    if (r != 0) {
        return r;
    }
    record->clamp = false;
    record->saved = saved;
    record->ours = ours;
    return 0;
}

int ThreadBooster::boost(int tid, unsigned minimum) {
    if (tid <= 0 || minimum > ThreadOps::kMaxClamp) {
        return -EINVAL;
    }
    BoostRecord record;
    record.tid = tid;
    record.start = ProcessIdentity::startTime(mReader, tid);
    if (record.start == 0) {
        return -ESRCH;  // the thread has ended: the probe thread simply goes on
    }
    auto held = mBoosts.find(tid);
    if (held != mBoosts.end()) {
        if (held->second.record.start == record.start) {
            return 0;  // boosted already
        }
        mJournal.clear(held->second.slot);  // an ended thread's id came back
        mBoosts.erase(held);
    }
    int r = mClampWorks ? boostByClamp(tid, minimum, &record) : -EOPNOTSUPP;
    if (r == -ENOSYS) {
        r = -EOPNOTSUPP;  // a kernel (or an emulator) without sched_setattr: no clamping either
    }
    if (r == -EOPNOTSUPP) {
        if (mClampWorks) {
            mClampWorks = false;
            std::string instead =
                mChoice.niceFallback ? "lower the nice value by " + std::to_string(mChoice.niceStep)
                                     : std::string("do nothing");
            LINUX_LOGW("no util clamping on this kernel (%s): thread boosts %s instead",
                       strerror(EOPNOTSUPP), instead.c_str());
        }
        if (!mChoice.niceFallback) {
            return 0;
        }
        r = boostByNice(tid, &record);
    }
    if (r != 0) {
        return refused(r, record.clamp && mClampWorks ? "sched_setattr" : "setpriority");
    }
    Boost boost{record, 0};
    r = mJournal.put(record, &boost.slot);
    if (r != 0) {
        // What could not be journaled could not be put back after a crash.
        restore(mReader, mOps, record);
        LINUX_LOGE("thread boost of %d taken back: cannot journal it in %s (%s)", tid,
                   mJournal.path().c_str(), strerror(-r));
        return r;
    }
    mBoosts[tid] = boost;
    return 0;
}

int ThreadBooster::unboost(int tid) {
    auto held = mBoosts.find(tid);
    if (held == mBoosts.end()) {
        return 0;
    }
    Boost boost = held->second;
    mBoosts.erase(held);
    int r = restore(mReader, mOps, boost.record);
    mJournal.clear(boost.slot);
    return r == -ESRCH ? 0 : r;
}

void ThreadBooster::restoreAll() {
    for (const auto& entry : mBoosts) {
        int r = restore(mReader, mOps, entry.second.record);
        if (r != 0 && r != -ESRCH) {
            LINUX_LOGE("cannot take back the boost of thread %d: %s", entry.first, strerror(-r));
        }
    }
    mBoosts.clear();
    mJournal.remove();
}

int ThreadBooster::restore(const KernelReader& reader, ThreadOps& ops, const BoostRecord& record) {
    // Another thread with the same id, or a value someone else set since: leave it.
    if (ProcessIdentity::startTime(reader, record.tid) != record.start) {
        return -ESRCH;
    }
    if (record.clamp) {
        unsigned minimum = 0;
        unsigned maximum = 0;
        int r = ops.getUtilClamp(record.tid, &minimum, &maximum);
        if (r != 0 || minimum != static_cast<unsigned>(record.ours)) {
            return r;
        }
        return ops.setUtilClampMin(record.tid, static_cast<unsigned>(record.saved));
    }
    int nice = 0;
    int r = ops.getNice(record.tid, &nice);
    if (r != 0 || nice != record.ours) {
        return r;
    }
    return ops.setNice(record.tid, record.saved);
}
