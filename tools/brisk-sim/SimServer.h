#pragma once

#include <map>

#include "server/BriskServer.h"

// The service as brisk-sim hosts it: a plain BriskServer plus what a host needs
// to end a run cleanly and what the checker reads of the service's own tables.
class SimServer : public BriskServer {
public:
    SimServer() = default;
    // Stops the probe worker (without touching the platform again) before the
    // server's own destructor runs, so that nothing reaches the transcript later.
    ~SimServer() override;

    // True once init has built the platform and kept it (also when init then
    // failed at the probe command): a second init would leak what the first built.
    bool isBuilt() const { return mPlatPtr != nullptr; }

    // The scene priorities as the service holds them (after construction: the
    // built-in ones).
    const std::map<int, int>& priorities() const { return mPriorityMap; }
};
