#pragma once

#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class BriskServer;

// Keeps track of the threads that probe events have asked the service to boost,
// so that the daemon can end every boost before it deletes the service: once the
// service is gone its probe worker no longer touches the platform, and a boost
// still held then would stay on the device. Probe events pass through here one
// at a time (the probe queues serialise them anyway), so what is noted matches
// what the service saw.
class ProbeTracker {
public:
    // At most this many boosted threads are noted; beyond that the daemon falls
    // back to waiting out the service's boost hold time at shutdown.
    static constexpr size_t kMaxTracked = 4096;

    // Forwards a probe event (command 4116) to the service and notes its thread.
    int sendProbeEvent(BriskServer& server, const std::string& msg, const std::vector<int>& values);

    // Sends a probe stop for every noted thread; the service unboosts each at once.
    // Call after the last request has finished.
    void releaseAll(BriskServer& server);

private:
    mutable std::mutex mMutex;
    std::set<int> mTids;
    bool mOverflowed = false;
    std::chrono::steady_clock::time_point mLastStart{};
};
