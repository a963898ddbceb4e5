#pragma once

#include <string>
#include <vector>

#include "platform/linux/SchedLadder.h"

// What a back-end description file says (docs/linux-backend.md has its
// reference). Everything is optional: without a file, discovery decides alone.
// `line` fields name the element for messages.

struct ClusterChoice {
    bool given = false;
    std::vector<std::string> policies;  // cpufreq policy folders ("policy4")
    int line = 0;
};

struct GpuChoice {
    bool deviceGiven = false;
    std::string device;      // devfreq folder; empty: no GPU
    long long scale = 1000;  // devfreq unit per configuration unit (kHz -> Hz)
    int line = 0;
};

struct ThermalChoice {
    std::string zone;      // thermal_zoneN
    int onTrip = -1;       // -1: the first passive trip
    int controlTrip = -1;  // -1: the last passive trip
    int line = 0;
};

struct ForkChoice {
    bool given = false;
    std::string file;  // kernel path
    std::string onText = "1";
    std::string offText = "0";
    int line = 0;
};

struct ItemChoice {
    std::string name;
    std::string file;         // kernel path
    bool writeAtEnd = false;  // false: the original comes back when the item ends
    std::string endText;
    int line = 0;
};

struct GroupChoice {
    int tag = 0;         // 51..58
    std::string folder;  // under the cgroup mount; empty: not mapped
    int line = 0;
};

struct BoostChoice {
    unsigned uclampMin = 512;  // of 1024, unless the probe step says otherwise
    bool niceFallback = true;  // without util clamping: lower the nice value (else nothing)
    int niceStep = 5;
    int line = 0;
};

struct BackendDescription {
    std::string fileName;     // for messages; empty without a file
    bool strict = false;      // an absent capability fails the call instead of a warning
    bool keepOnExit = false;  // no rollback when the platform is deleted
    ClusterChoice little;
    ClusterChoice big;
    GpuChoice gpu;
    bool thermalGiven = false;  // true: only the zones below (none: no thermal)
    std::vector<ThermalChoice> zones;
    ForkChoice fork;
    std::vector<ItemChoice> items;
    std::string cgroupMount;  // kernel path; empty: found in /proc/self/mountinfo
    int cgroupLine = 0;
    std::vector<GroupChoice> groups;
    bool hmpGiven = false;
    std::vector<int> hmpTags;  // the groups hmp mode sets (default: every mapped one)
    std::vector<Rung> rungs;   // empty: the default ladder
    BoostChoice boost;
};
