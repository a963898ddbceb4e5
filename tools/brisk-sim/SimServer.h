#pragma once

#include <map>

#include "server/BriskServer.h"

// The service as brisk-sim hosts it: a plain BriskServer plus what a host needs
// to end a run cleanly and what the checker reads of the service's own tables.
class SimServer : public BriskServer {
public:
    SimServer() = default;
    // Stops the probe thread before the server's own destructor runs.
    ~SimServer() override;

    // True once init has built the platform and kept it (also when init then
    // failed at the probe command): a second init would leak what the first built.
    bool isBuilt() const { return mPlatPtr != nullptr; }

    // The service never stops its probe thread, and the thread keeps reading the
    // handler and the platform; a host that deletes the server must stop it first.
    // Asks the thread to exit, wakes it until it has, and returns; a thread that
    // has not started, or no thread at all, is left alone.
    void stopProbeThread();

    // The scene priorities as the service holds them (after construction: the
    // built-in ones).
    const std::map<int, int>& priorities() const { return mPriorityMap; }
};
