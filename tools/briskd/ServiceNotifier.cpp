#include "tools/briskd/ServiceNotifier.h"

#include <systemd/sd-daemon.h>

void ServiceNotifier::ready(const std::string& status) {
    sd_notifyf(0, "READY=1\nSTATUS=%s", status.c_str());
}

void ServiceNotifier::reloading() {
    sd_notify(0, "RELOADING=1");
}

void ServiceNotifier::stopping() {
    sd_notify(0, "STOPPING=1");
}
