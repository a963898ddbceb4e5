#include "tools/briskd/ProbeTracker.h"

#include <cstdio>
#include <thread>

#include "config/Vocabulary.h"
#include "server/BriskServer.h"

namespace {
// The service's boost delay and hold time, plus margin: after this long without
// a start, the probe worker has unboosted every thread by itself.
constexpr std::chrono::milliseconds kHoldTime(8 + 256 + 300);
}  // namespace

int ProbeTracker::sendProbeEvent(BriskServer& server, const std::string& msg,
                                 const std::vector<int>& values) {
    std::lock_guard<std::mutex> lock(mMutex);
    const int* payload = values.empty() ? nullptr : values.data();
    int result = server.briskEvent(Vocabulary::kProbeCmdId, msg.c_str(),
                                   static_cast<unsigned int>(values.size()), payload);
    int pid = 0;
    int tid = 0;
    // The same reading of the message as the service's; only accepted events with
    // a whole message can have touched the queues.
    if (result != 0 || values.size() != 1 ||
        sscanf(msg.c_str(), "pid=%d|tid=%d", &pid, &tid) != 2) {
        return result;
    }
    if (values[0] == Vocabulary::kBegin) {
        mLastStart = std::chrono::steady_clock::now();
        if (mTids.size() < kMaxTracked) {
            mTids.insert(tid);
        } else if (mTids.count(tid) == 0) {
            mOverflowed = true;
        }
    } else if (values[0] == Vocabulary::kEnd) {
        mTids.erase(tid);
    }
    return result;
}

void ProbeTracker::releaseAll(BriskServer& server) {
    std::lock_guard<std::mutex> lock(mMutex);
    const int stop[1] = {Vocabulary::kEnd};
    for (int tid : mTids) {
        char msg[64];
        snprintf(msg, sizeof(msg), "pid=0|tid=%d", tid);
        server.briskEvent(Vocabulary::kProbeCmdId, msg, 1, stop);
    }
    mTids.clear();
    if (mOverflowed) {
        // Threads beyond the list: let the worker's hold time run out for them.
        std::this_thread::sleep_until(mLastStart + kHoldTime);
    }
}
