#pragma once

#include "platform/BriskPlat.h"

// The platform adapter over the simulated device: its back-end forwards to
// SimDevice, and initialize is the device's.
class SimPlat : public BriskPlat {
public:
    SimPlat();
    int initialize() override;
};
