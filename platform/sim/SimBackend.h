#pragma once

#include "platform/BackendStatusSource.h"
#include "platform/BriskPlat.h"

// The back-end of the simulated device: forwards every operation to it, and
// shows its table for a status view.
class SimBackend : public PerfBackend, public BackendStatusSource {
public:
    int doAction(const Action* action, unsigned int len, const int* payload) override;
    int setConfig(int len, const int* tags, const int* values) override;
    int getConfig(int len, const int* tags, int* values) override;
    int doSchedLevelAction(int len, const int* tags, const int* levels) override;
    int setProbeTarget(int tid, int mode) override;
    void readStatus(BackendStatus* out) override;
};
