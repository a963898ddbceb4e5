#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/MachineLayout.h"

// A cgroup mount as /proc/self/mountinfo lists it.
struct CgroupMount {
    std::string mountPoint;  // unescaped
    int version = 1;         // 1 or 2
    bool cpu = false;        // v1: the cpu controller is mounted here
};

// Finds the cpu controller's mount (/dev/cpuctl first, as on Android, then a v1
// mount with "cpu", then cgroup v2 with cpu in cgroup.controllers) and the
// folders of the scheduling groups: by default top-app, foreground,
// system-background and background; the description can name one for any of
// the nine group tags, and the groups that hmp mode sets.
class CgroupDiscovery {
public:
    CgroupDiscovery(const KernelReader& reader, const BackendDescription& description)
        : mReader(reader), mDescription(description) {}

    // False, with `error` naming the description's line, when the description
    // names a mount that is not there.
    bool discover(CgroupLayout* out, std::string* error);

    // The cgroup mounts of a mountinfo text (any text: it is parsed, not trusted).
    static std::vector<CgroupMount> parseMountInfo(std::string_view text);
    // The kernel paths under which cgroup files may be written back from a
    // journal: every cgroup mount of this machine, and /dev/cpuctl.
    static std::vector<std::string> mountPoints(const KernelReader& reader);

    // A mount table is longer than a kernel attribute: read up to this much.
    static constexpr size_t kMaxMountInfo = 256 * size_t{1024};

private:
    bool findMount(CgroupLayout* out, std::string* error);
    void addGroup(int tag, const std::string& folder, CgroupLayout* out);

    const KernelReader& mReader;
    const BackendDescription& mDescription;
};
