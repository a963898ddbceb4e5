#pragma once

#include <memory>
#include <string>

#include "platform/linux/FileOps.h"
#include "platform/linux/ThreadOps.h"

// How a host sets up the Linux back-end (PlatformSelector::useLinuxBackend).
struct LinuxBackendSettings {
    // Prefixed to every kernel path the back-end opens (/sys, /proc): "/" on a
    // machine, a fake tree in tests.
    std::string kernelRoot = "/";
    // Holds the journal and its lock; a tmpfs such as /run, so that it dies with
    // the boot.
    std::string stateDir = "/run/brisk";
    // The back-end description (docs/linux-backend.md); empty: discovery alone.
    std::string descriptionFile;
    // The layer below every file operation; null: the real system calls.
    std::shared_ptr<FileOps> fileOps;
    // The layer below the thread boosts' system calls; null: the real ones.
    std::shared_ptr<ThreadOps> threadOps;
};
