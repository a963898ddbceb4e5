#pragma once

#include <string>
#include <vector>

#include "platform/linux/LinuxBackendSettings.h"

// What the Linux back-end would do on this machine, found without changing
// anything: what discovery found, what each tag and platform item maps to (file,
// unit, current value), which files it could not open for writing and why.
class BackendCheck {
public:
    explicit BackendCheck(const LinuxBackendSettings& settings) : mSettings(settings) {}

    // True when every capability that is there or that the description names can
    // be written. The report is one line per finding.
    bool run(std::vector<std::string>* report);

private:
    const LinuxBackendSettings& mSettings;
};
