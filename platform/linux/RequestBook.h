#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "config/Action.h"
#include "platform/linux/CapabilityNotes.h"
#include "platform/linux/NodeArbiter.h"
#include "platform/linux/NodeTable.h"

// The requests that commands hold through doAction: a step's pairs become holds
// of its command (per probed thread for the probe command) on the nodes its tags
// and platform items write, until the command ends them or, for a step with a
// duration, the time runs out. An untimed on/off step holds its platform items
// alone: the frequency manager carries its other pairs. Not thread-safe: the
// back-end calls it under its lock.
class RequestBook {
public:
    using Clock = std::chrono::steady_clock;

    RequestBook(NodeArbiter& arbiter, const NodeTable& table, CapabilityNotes& notes)
        : mArbiter(arbiter), mTable(table), mNotes(notes) {}

    // Begins (or renews) `key`'s request with the pairs of `step`, leaving out the
    // platform item named `reserved` (the probe's boost minimum) when given. `seq`
    // marks it as the latest request. A step with a duration is due at
    // `*deadline` (set, with the result true, only then). 0, or the arbiter's
    // failure, after which the earlier request stands.
    int begin(HolderKey key, const Action& step, uint64_t seq, const char* reserved,
              Clock::time_point* deadline, bool* timed);
    int end(HolderKey key);

    // The commands that hold a request now, ascending, each once.
    std::vector<int> commands() const;

    // The earliest deadline of a timed request; false when none is timed.
    bool nextDeadline(Clock::time_point* when) const;
    // Ends every request whose time ran out at `now`; one that could not end is
    // tried again `retry` later.
    void expire(Clock::time_point now, Clock::duration retry);

private:
    struct Request {
        std::vector<KernelNode*> nodes;
        bool timed = false;
        Clock::time_point deadline;
    };
    void holdPair(HolderKey key, const Action& step, int pair, uint64_t seq, const char* reserved,
                  std::vector<KernelNode*>* held);
    void forgetIfIdle(HolderKey key, const Request& request);

    NodeArbiter& mArbiter;
    const NodeTable& mTable;
    CapabilityNotes& mNotes;
    std::map<HolderKey, Request> mRequests;
    std::vector<KernelNode*> mSaved;  // scratch: a request before its renewal
};
