#pragma once

#include "platform/linux/LinuxBackendSettings.h"
#include "tools/briskd/DaemonOptions.h"

// The daemon's choice of back-end, and its two one-shot modes for the Linux
// back-end (--check-backend, --restore), which change nothing but the kernel
// files a crashed run left and never open the socket.
class BackendSetup {
public:
    // Selects the back-end that the service will get at init.
    static void select(const DaemonOptions& options);
    // Runs --check-backend or --restore; the exit status (0 when all is well).
    static int runOneShot(const DaemonOptions& options);

private:
    static LinuxBackendSettings settings(const DaemonOptions& options);
};
