#pragma once

#include <string>

// Tells the service manager where the daemon stands (sd_notify from libsystemd:
// Type=notify units wait for READY=1). Without NOTIFY_SOCKET in the environment
// (not started by systemd) every call does nothing.
class ServiceNotifier {
public:
    // Serving; `status` is one line for `systemctl status`.
    static void ready(const std::string& status);
    // Re-reading the policy (SIGHUP); ready() follows when done.
    static void reloading();
    static void stopping();
};
