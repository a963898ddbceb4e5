#pragma once

#include "platform/BriskPlat.h"
#include "platform/linux/LinuxBackend.h"

// The platform adapter over the Linux back-end: initialize discovers the machine.
// The base class deletes the back-end (mPerf), which puts the originals back.
class LinuxPlat : public BriskPlat {
public:
    explicit LinuxPlat(const LinuxBackendSettings& settings);
    int initialize() override;

private:
    LinuxBackend* mBackend;  // the same object as mPerf
};
