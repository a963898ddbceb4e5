#pragma once

#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class BriskServer;

// Keeps track of the threads that probe events have asked the service to boost,
// so that the daemon can take every boost back before it deletes the service:
// the service's probe thread keeps running after the service is gone and must be
// idle by then. Probe events pass through here one at a time (the probe queues
// serialise them anyway), so what is noted matches what the service saw.
class ProbeTracker {
public:
    // At most this many boosted threads are noted; beyond that the daemon falls
    // back to waiting out the service's boost hold time at shutdown.
    static constexpr size_t kMaxTracked = 4096;

    // Forwards a probe event (command 4116) to the service and notes its thread.
    int sendProbeEvent(BriskServer& server, const std::string& msg, const std::vector<int>& values);

    // Sends a probe stop for every noted thread, then gives the probe thread time
    // to retire its queues. Call after the last request has finished.
    void releaseAll(BriskServer& server);

    size_t trackedCount() const;

private:
    mutable std::mutex mMutex;
    std::set<int> mTids;
    bool mOverflowed = false;
    bool mAnyStart = false;
    std::chrono::steady_clock::time_point mLastStart{};
    std::chrono::steady_clock::time_point mLastEvent{};
};
