#include "platform/linux/LinuxBackend.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/CgroupDiscovery.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/JournalRecovery.h"
#include "platform/linux/KernelText.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/PlatformDiscovery.h"
#include "platform/linux/ProcessIdentity.h"
#include "platform/linux/SystemFileOps.h"
#include "platform/linux/SystemThreadOps.h"

namespace {
// The thread bound by setProbeTarget for its next doAction on the same back-end.
struct ProbeBinding {
    const void* backend = nullptr;
    int tid = 0;
};
thread_local ProbeBinding tProbeBinding;

template <typename Ops, typename System>
std::shared_ptr<Ops> orSystem(const std::shared_ptr<Ops>& ops) {
    return ops != nullptr ? ops : std::make_shared<System>();
}
}  // namespace

LinuxBackend::LinuxBackend(const LinuxBackendSettings& settings)
    : mOps(orSystem<FileOps, SystemFileOps>(settings.fileOps)),
      mThreadOps(orSystem<ThreadOps, SystemThreadOps>(settings.threadOps)),
      mSettings(settings),
      mReader(*mOps, settings.kernelRoot),
      mJournal(*mOps, settings.stateDir),
      mArbiter(mReader, mJournal, mRecord),
      mBoostJournal(*mOps, boostJournalPath(settings)),
      mTimer(
          mMutex, [this] { return nextWake(); }, [this](Clock::time_point now) { onTimer(now); }) {}

LinuxBackend::~LinuxBackend() {
    mTimer.stop();
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return;
    }
    mBooster.restoreAll();  // a boost lasts a piece of work, never beyond the back-end
    if (mRecord.rollback) {
        mArbiter.restoreAll();
    } else {
        LINUX_LOGI("keep-on-exit: the values written stay");
    }
    mJournal.remove();
}

int LinuxBackend::initialize() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mReady) {
        return 0;
    }
    std::string error;
    if (!mSettings.descriptionFile.empty() &&
        !DescriptionReader::readFile(*mOps, mSettings.descriptionFile, &mDescription, &error)) {
        LINUX_LOGE("%s", error.c_str());
        return -EINVAL;
    }
    int r = mJournal.lock(&error);
    if (r != 0) {
        LINUX_LOGE("%s", error.c_str());
        return r;
    }
    std::vector<std::string> report;
    r = JournalRecovery(mReader, mJournal, *mThreadOps, mBoostJournal.path()).run(&report);
    if (r == -EBUSY || (r = discover(&error)) != 0) {
        if (!error.empty()) {
            LINUX_LOGE("%s", error.c_str());
        }
        mJournal.unlock();
        return r;
    }
    mRecord.bootId = ProcessIdentity::bootId(mReader);
    mRecord.ownerPid = getpid();
    mRecord.ownerStart = ProcessIdentity::startTime(mReader, getpid());
    mRecord.rollback = !mDescription.keepOnExit;
    mBoostJournal.setOwner({mRecord.bootId, mRecord.ownerPid, mRecord.ownerStart});
    LINUX_LOGI("%s", mLayout.summary().c_str());
    mReady = true;
    return 0;
}

int LinuxBackend::discover(std::string* error) {
    if (!PlatformDiscovery(mReader, mDescription).discover(&mLayout, error) ||
        !CgroupDiscovery(mReader, mDescription).discover(&mLayout.cgroups, error) ||
        !mTable.build(mLayout, mDescription.fileName, mArbiter, error)) {
        return -EINVAL;
    }
    if (!mDescription.rungs.empty()) {
        mLadder = SchedLadder(mDescription.rungs);
    }
    return mGroups.build(error) ? 0 : -EINVAL;
}

// doAction ------------------------------------------------------------------

bool LinuxBackend::arraysUsable(int len, const int* tags, const int* values) {
    return len == 0 || (len > 0 && tags != nullptr && values != nullptr);
}

int LinuxBackend::enter() {
    if (!mReady) {
        return -ENODEV;
    }
    // A busy file waits for the next call (and the timer).
    if (mArbiter.hasPending()) {
        mArbiter.retryPending();
    }
    return 0;
}

int LinuxBackend::doAction(const Action* action, unsigned int len, const int* payload) {
    if (action == nullptr) {
        return -EINVAL;
    }
    // The probe thread binds the thread its next call is about (setProbeTarget).
    HolderKey key{action->cmdId, 0};
    if (tProbeBinding.backend == this) {
        key.instance = tProbeBinding.tid;
        tProbeBinding = ProbeBinding();
    }
    // A null payload is no payload, whatever the length: a begin.
    const bool end = len > 0 && payload != nullptr && payload[0] == Vocabulary::kEnd;
    std::lock_guard<std::mutex> lock(mMutex);
    int r = enter();
    if (r != 0) {
        return r;
    }
    r = key.instance != 0 ? (end ? endProbe(key) : beginProbe(key, *action))
                          : (end ? mRequests.end(key) : beginRequest(key, *action));
    afterCall();
    return r;
}

int LinuxBackend::beginRequest(HolderKey key, const Action& step) {
    int r = mNotes.strictAbsence(step);
    Clock::time_point deadline;
    bool timed = false;
    if (r == 0) {
        r = mRequests.begin(key, step, ++mSeq, key.instance != 0 ? kBoostMinimumItem : nullptr,
                            &deadline, &timed);
    }
    if (timed) {
        mTimer.reschedule(deadline);
    }
    return r;
}

// A probed thread: boosted, and the step's other pairs held for as long.
int LinuxBackend::beginProbe(HolderKey key, const Action& step) {
    int r = mBooster.boost(key.instance, boostMinimum(step));
    if (r == 0 && (r = beginRequest(key, step)) != 0) {
        mBooster.unboost(key.instance);
    }
    return r;
}

int LinuxBackend::endProbe(HolderKey key) {
    int r = mRequests.end(key);
    int unboosted = mBooster.unboost(key.instance);
    return r != 0 ? r : unboosted;
}

unsigned LinuxBackend::boostMinimum(const Action& step) {
    for (int i = 0; i < step.keyPairCount(); ++i) {
        int minimum = 0;
        if (step.pairKey(i) != kBoostMinimumItem) {
            continue;
        }
        if (Vocabulary::parseInt(step.pairText(i), &minimum) && minimum >= 0 &&
            static_cast<unsigned>(minimum) <= ThreadOps::kMaxClamp) {
            return static_cast<unsigned>(minimum);
        }
        mNotes.warnOnce(std::string(kBoostMinimumItem),
                        std::string("the probe step's ") + kBoostMinimumItem + " \"" +
                            step.pairText(i) + "\" is not 0.." +
                            std::to_string(ThreadOps::kMaxClamp) + ": the description's " +
                            std::to_string(mDescription.boost.uclampMin) + " is used");
    }
    return mDescription.boost.uclampMin;
}

// setConfig and getConfig -----------------------------------------------------

int LinuxBackend::setConfig(int len, const int* tags, const int* values) {
    if (!arraysUsable(len, tags, values)) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    int r = enter();
    if (r == 0) {
        r = mNotes.strictAbsence(tags, len);
    }
    if (r == 0) {
        for (int i = 0; i < len; ++i) {
            setManagerValue(tags[i], values[i]);
        }
        r = mArbiter.commit();
    }
    afterCall();
    return r;
}

void LinuxBackend::setManagerValue(int tag, int value) {
    TagKind kind = NodeTable::kindOf(tag);
    if (kind != TagKind::Bound && kind != TagKind::Number && kind != TagKind::Fork) {
        mNotes.warnOnce(tag, kind == TagKind::ReadOnly ? "read-only; ignored"
                                                       : "not a tag this back-end writes; ignored");
        return;
    }
    const std::vector<KernelNode*>& nodes = *mTable.nodesFor(tag);
    if (nodes.empty()) {
        mNotes.absent(tag, nullptr);
        return;
    }
    // 0 and -1 lift the limit; for the fork switch 0 means off and only -1 lifts it.
    const bool lift = kind == TagKind::Fork ? value < 0 : value <= 0;
    // Only a Latest node writes a holder's own text; a bound's text is its value.
    char number[KernelText::kIntTextSize];
    std::string_view text;
    if (kind == TagKind::Fork) {
        text = mTable.forkText(value > 0);
    } else if (kind == TagKind::Number) {
        text = std::string_view(number, KernelText::formatInt(value, number));
    }
    for (KernelNode* node : nodes) {
        if (lift) {
            mArbiter.release(node, kManagerHolder);
        } else {
            // The same value again changes nothing, not even when it began.
            mArbiter.hold(node, kManagerHolder, static_cast<long long>(value) * node->scale(), text,
                          ++mSeq);
        }
    }
}

int LinuxBackend::getConfig(int len, const int* tags, int* values) {
    if (!arraysUsable(len, tags, values)) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return -ENODEV;
    }
    for (int i = 0; i < len; ++i) {
        values[i] = mTable.configValue(tags[i], mLayout);
    }
    return 0;
}

// Scheduling groups and thread boosts -----------------------------------------

int LinuxBackend::doSchedLevelAction(int len, const int* tags, const int* levels) {
    if (!arraysUsable(len, tags, levels)) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    // All levels of the call or none: the commit undoes the call on a failure.
    int r = enter();
    if (r == 0) {
        r = mGroups.apply(len, tags, levels, mDescription.strict);
    }
    if (r == 0) {
        r = mArbiter.commit();
    }
    afterCall();
    return r;
}

int LinuxBackend::setProbeTarget(int tid, int mode) {
    (void)mode;  // the payload of the doAction that follows says boost or unboost
    if (tid <= 0) {
        return -EINVAL;
    }
    tProbeBinding.backend = this;
    tProbeBinding.tid = tid;
    return 0;
}

// The timer -------------------------------------------------------------------

void LinuxBackend::afterCall() {
    if (!mArbiter.hasPending()) {
        mRetryArmed = false;
        mRetryDelay = kFirstRetry;
        return;
    }
    if (!mRetryArmed) {
        mRetryArmed = true;
        mRetryAt = Clock::now() + mRetryDelay;
        mTimer.reschedule(mRetryAt);
    }
}

LinuxBackend::Clock::time_point LinuxBackend::nextWake() {
    Clock::time_point next = Clock::time_point::max();
    mRequests.nextDeadline(&next);
    if (mRetryArmed && mRetryAt < next) {
        next = mRetryAt;
    }
    return next;
}

void LinuxBackend::onTimer(Clock::time_point now) {
    mRequests.expire(now, kFirstRetry);
    if (mRetryArmed && now >= mRetryAt) {
        mArbiter.retryPending();
        mRetryArmed = false;
        mRetryDelay = std::min<Clock::duration>(mRetryDelay * 2, kLastRetry);
        if (mArbiter.hasPending()) {
            mRetryArmed = true;
            mRetryAt = now + mRetryDelay;
        } else {
            mRetryDelay = kFirstRetry;
        }
    }
}
