#pragma once

#include <string>

#include "platform/linux/KernelReader.h"

// Who is who across time: the boot, and a process or thread by its id and start
// time (an id is reused after its owner exits; the start time tells them apart).
class ProcessIdentity {
public:
    // /proc/sys/kernel/random/boot_id, trimmed; empty when unreadable.
    static std::string bootId(const KernelReader& reader);
    // Field 22 of /proc/<id>/stat (clock ticks since boot); 0 when there is no
    // such process or thread.
    static unsigned long long startTime(const KernelReader& reader, long long id);
};
