// briskd: the Brisk service as a system daemon.
#include <cstdio>

#include "tools/briskd/BackendSetup.h"
#include "tools/briskd/ConfigCheck.h"
#include "tools/briskd/Daemon.h"
#include "tools/briskd/DaemonOptions.h"

int main(int argc, char** argv) {
    DaemonOptions options;
    std::string error;
    if (!DaemonOptions::parse(argc, argv, &options, &error)) {
        fprintf(stderr, "briskd: %s (try briskd --help)\n", error.c_str());
        return Daemon::kExitUsage;
    }
    if (options.help) {
        fputs(DaemonOptions::usage(), stdout);
        return Daemon::kExitOk;
    }
    if (options.version) {
        printf("%s\n", DaemonOptions::versionLine().c_str());
        return Daemon::kExitOk;
    }
    if (options.checkConfig) {
        return ConfigCheck::run(options, stdout);
    }
    if (options.checkBackend || options.restore) {
        return BackendSetup::runOneShot(options);
    }
    Daemon daemon(options);
    return daemon.run();
}
