#pragma once

#include "platform/BriskPlat.h"

// The Linux back-end: forwards every operation to the simulated device.
class SimBackend : public PerfBackend {
public:
    int doAction(const Action* action, unsigned int len, const int* payload) override;
    int setConfig(int len, const int* tags, const int* values) override;
    int getConfig(int len, const int* tags, int* values) override;
    int doSchedLevelAction(int len, const int* tags, const int* levels) override;
    int setProbeTarget(int tid, int mode) override;
};
