#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "config/Action.h"
#include "platform/BackendStatus.h"
#include "platform/sim/SimCall.h"

// The simulated device behind the Linux platform adapter: a table of device
// values, a record of every call in arrival order and injectable faults. One per
// process, reachable by hosts and tests before and after the service runs.
class SimDevice {
public:
    using Listener = std::function<void(const SimCall&)>;

    static SimDevice& instance();

    // Back to a fresh device: preset values, no faults, empty record, recording on,
    // no listener, platform and loader creation succeeding.
    void reset();

    void setValue(int tag, int value);
    int value(int tag) const;

    // The next `count` calls of `op` return `code` instead of succeeding.
    void failNext(SimCall::Op op, int code, int count = 1);
    // The next `count` getPlat() / createBriskLoadXml() calls return null.
    void failPlatCreation(int count = 1);
    void failLoaderCreation(int count = 1);
    bool takePlatCreationFault();
    bool takeLoaderCreationFault();

    // With recording off only the counts are kept (for benchmarks).
    void setRecording(bool on);
    // Called for every call as it happens, with the device's lock held: calls from
    // several threads reach it one at a time, in record order. It must not call
    // back into the device.
    void setListener(Listener listener);

    // The device's table (value per tag, preset hardware maxima as originals) and
    // the commands whose last action began and has not ended.
    void readStatus(BackendStatus* out) const;

    std::vector<SimCall> record() const;
    void clearRecord();
    long callCount(SimCall::Op op) const;

    // The platform operations, as the adapter and its back-end forward them.
    int initialize();
    int doAction(const Action* action, unsigned int len, const int* payload);
    int setConfig(int len, const int* tags, const int* values);
    int getConfig(int len, const int* tags, int* values);
    int doSchedLevelAction(int len, const int* tags, const int* levels);
    int setProbeTarget(int tid, int mode);

    // The device holds values for at most this many distinct tags: a setConfig
    // that would add tags beyond it is refused whole with -1, so that clients
    // writing ever new tags cannot grow it without end.
    static constexpr size_t kMaxTags = 1024;

    // Hardware maxima preset on a fresh device.
    static constexpr int kLittleHwMax = 2000000;
    static constexpr int kBigHwMax = 2600000;
    static constexpr int kGpuHwMax = 800000;

private:
    SimDevice();
    int takeFaultLocked(SimCall::Op op);
    // Records `call` (and tells the listener); returns its result.
    int finishLocked(SimCall& call);
    // Starts a call carrying `len` tags and values; false when the arrays cannot
    // be read, and the call then fails with -1 unless a fault says otherwise.
    bool beginArrayCallLocked(SimCall& call, SimCall::Op op, int len, const int* tags,
                              const int* values);
    // True when writing `tags` keeps the table within kMaxTags.
    bool fitsLocked(int len, const int* tags) const;
    void copyArraysLocked(int len, const int* tags, const int* values, SimCall& call);

    mutable std::mutex mMutex;
    std::map<int, int> mValues;
    std::set<int> mHeld;                                 // commands whose last doAction began them
    std::map<SimCall::Op, std::pair<int, int>> mFaults;  // op -> (code, remaining)
    int mPlatFaults = 0;
    int mLoaderFaults = 0;
    bool mRecording = true;
    Listener mListener;
    std::vector<SimCall> mRecord;
    std::map<SimCall::Op, long> mCounts;
};
