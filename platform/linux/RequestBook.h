#pragma once

#include <chrono>
#include <map>
#include <vector>

#include "platform/linux/KernelNode.h"

// The requests that commands hold (doAction): which nodes each holds, and until
// when, for a step with a duration.
class RequestBook {
public:
    using Clock = std::chrono::steady_clock;

    struct Request {
        std::vector<KernelNode*> nodes;
        bool timed = false;
        Clock::time_point deadline;
    };

    // The request of `key`, made empty when it is new.
    Request& at(HolderKey key) { return mRequests[key]; }
    Request* find(HolderKey key);
    void erase(HolderKey key) { mRequests.erase(key); }

    // The earliest deadline of a timed request; false when none is timed.
    bool nextDeadline(Clock::time_point* when) const;
    // The holders whose deadline has passed at `now`.
    std::vector<HolderKey> expired(Clock::time_point now) const;
    size_t size() const { return mRequests.size(); }

private:
    std::map<HolderKey, Request> mRequests;
};
