#pragma once

#include <cstdio>
#include <string>

#include "tools/briskd/DaemonOptions.h"
#include "tools/briskd/PolicyStore.h"

// briskd --check-config (like sshd -t): loads the configuration the daemon
// would start with, through the service's own loader, and the access policy,
// prints one verdict line for each and exits 0 when both are usable, 1 when
// not. Touches no device, opens no socket.
class ConfigCheck {
public:
    static int run(const DaemonOptions& options, FILE* out);

    // The policy's sources for these options, run by the user that runs this.
    static PolicyStore::Sources policySources(const DaemonOptions& options);
    // The configuration the service will read: --config, else the standard
    // search; empty when there is none.
    static std::string configurationPath(const DaemonOptions& options);
    // Points the platform's configuration lookup at --config; false with `error`
    // for a file that cannot be read or whose path is too long for the lookup.
    static bool useConfiguration(const DaemonOptions& options, std::string* error);

private:
    static bool checkConfiguration(const DaemonOptions& options, FILE* out);
    static bool checkPolicy(const DaemonOptions& options, FILE* out);
};
