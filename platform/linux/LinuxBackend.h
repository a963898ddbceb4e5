#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/BackendStatusSource.h"
#include "platform/BriskPlat.h"
#include "platform/linux/BackendDescription.h"
#include "platform/linux/BackendTimer.h"
#include "platform/linux/BoostJournal.h"
#include "platform/linux/CapabilityNotes.h"
#include "platform/linux/GroupLevels.h"
#include "platform/linux/Journal.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/LinuxBackendSettings.h"
#include "platform/linux/MachineLayout.h"
#include "platform/linux/NodeArbiter.h"
#include "platform/linux/NodeTable.h"
#include "platform/linux/RequestBook.h"
#include "platform/linux/SchedLadder.h"
#include "platform/linux/ThreadBooster.h"

// The performance back-end of a real Linux machine: it writes cpufreq, devfreq,
// thermal, platform-item and cgroup files and boosts probed threads, keeps every
// holder's request per file, and puts the originals back when it is deleted (and
// after a crash, from its journals).
// All operations take one lock; the back-end never calls into the service.
// Results: 0, or a negative errno (-ENODEV for a capability this machine lacks
// when the description is strict, -EINVAL for unusable arguments).
class LinuxBackend : public PerfBackend, public BackendStatusSource {
public:
    explicit LinuxBackend(const LinuxBackendSettings& settings);
    ~LinuxBackend() override;
    LinuxBackend(const LinuxBackend&) = delete;
    LinuxBackend& operator=(const LinuxBackend&) = delete;

    // Reads the description, takes the journal's lock, recovers from a crash,
    // discovers the machine and logs one summary line. 0, or a negative errno.
    int initialize();

    int doAction(const Action* action, unsigned int len, const int* payload) override;
    int setConfig(int len, const int* tags, const int* values) override;
    int getConfig(int len, const int* tags, int* values) override;
    int doSchedLevelAction(int len, const int* tags, const int* levels) override;
    int setProbeTarget(int tid, int mode) override;
    // What it found, each node with the value in force, the original and its
    // holders, and the commands holding requests; under the lock, writing nothing
    // (LinuxBackendStatus.cpp).
    void readStatus(BackendStatus* out) override;

    // Where the back-end of `settings` journals its boosted threads.
    static std::string boostJournalPath(const LinuxBackendSettings& settings) {
        return settings.stateDir + "/threads";
    }

    // The probe step's platform item that sets the boost minimum (of 1024).
    static constexpr char kBoostMinimumItem[] = "uclamp_min";
    // A busy file is retried this long after it refused, then less and less often.
    static constexpr std::chrono::milliseconds kFirstRetry{250};
    static constexpr std::chrono::milliseconds kLastRetry{8000};

private:
    using Clock = BackendTimer::Clock;

    int discover(std::string* error);
    static BackendStatus::Node nodeStatus(KernelNode* node, int tag, const std::string& item,
                                          const char* unit);
    static bool arraysUsable(int len, const int* tags, const int* values);
    // With the lock held, at the start of a call: -ENODEV before initialize,
    // else 0 after retrying the busy files.
    int enter();
    int beginRequest(HolderKey key, const Action& step);
    int beginProbe(HolderKey key, const Action& step);
    int endProbe(HolderKey key);
    unsigned boostMinimum(const Action& step);
    void setManagerValue(int tag, int value);
    void afterCall();
    Clock::time_point nextWake();
    void onTimer(Clock::time_point now);

    std::shared_ptr<FileOps> mOps;
    std::shared_ptr<ThreadOps> mThreadOps;
    LinuxBackendSettings mSettings;
    KernelReader mReader;
    Journal mJournal;
    JournalRecord mRecord;
    BackendDescription mDescription;
    MachineLayout mLayout;
    NodeArbiter mArbiter;
    NodeTable mTable;
    CapabilityNotes mNotes{mDescription, mLayout, mTable};
    RequestBook mRequests{mArbiter, mTable, mNotes};
    SchedLadder mLadder;
    GroupLevels mGroups{mLayout.cgroups, mLadder, mArbiter, mNotes};
    BoostJournal mBoostJournal;
    ThreadBooster mBooster{mReader, *mThreadOps, mBoostJournal, mDescription.boost};
    uint64_t mSeq = 0;
    bool mReady = false;
    bool mRetryArmed = false;
    Clock::duration mRetryDelay = kFirstRetry;
    Clock::time_point mRetryAt;
    std::mutex mMutex;
    BackendTimer mTimer;  // last: it stops before anything it uses goes
};
