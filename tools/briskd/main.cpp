// briskd: the Brisk service as a system daemon.
#include <cstdio>

#include "tools/briskd/BackendSetup.h"
#include "tools/briskd/Daemon.h"
#include "tools/briskd/DaemonOptions.h"

int main(int argc, char** argv) {
    DaemonOptions options;
    std::string error;
    if (!DaemonOptions::parse(argc, argv, &options, &error)) {
        fprintf(stderr, "briskd: %s\n%s", error.c_str(), DaemonOptions::usage());
        return Daemon::kExitUsage;
    }
    if (options.help) {
        fputs(DaemonOptions::usage(), stdout);
        return Daemon::kExitOk;
    }
    if (options.checkBackend || options.restore) {
        return BackendSetup::runOneShot(options);
    }
    Daemon daemon(options);
    return daemon.run();
}
