#include "tools/briskd/BackendSetup.h"

#include <android/log.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/select/PlatformSelector.h"

LinuxBackendSettings BackendSetup::settings(const DaemonOptions& options) {
    LinuxBackendSettings settings;
    settings.kernelRoot = options.kernelRoot;
    settings.stateDir = options.stateDir;
    settings.descriptionFile = options.backendConfig;
    return settings;
}

void BackendSetup::select(const DaemonOptions& options) {
    if (options.backend == "linux") {
        PlatformSelector::useLinuxBackend(settings(options));
    } else {
        PlatformSelector::useSimulatedDevice();
    }
}

int BackendSetup::runOneShot(const DaemonOptions& options) {
    // The report goes to standard output; the back-end's own log lines (what it
    // restored, what it could not) to standard error.
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(options.verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_WARN);
    if (options.restore && options.backend != "linux") {
        printf("nothing to put back: the simulated device keeps nothing\n");
        return 0;
    }
    std::vector<std::string> report;
    bool ok = options.checkBackend
                  ? PlatformSelector::checkLinuxBackend(settings(options), &report)
                  : PlatformSelector::restoreLinuxBackend(settings(options), &report);
    for (const std::string& line : report) {
        printf("%s\n", line.c_str());
    }
    return ok ? 0 : 1;
}
