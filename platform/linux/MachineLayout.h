#pragma once

#include <map>
#include <string>
#include <vector>

// What the back-end found on this machine (discovery, then the description's
// overrides). Paths are full paths, kernel root included.

struct PolicyInfo {
    std::string name;  // "policy4"
    std::string dir;
    std::vector<int> cpus;   // related_cpus
    long long capacity = 0;  // cpu_capacity of its first CPU; 0 when unknown
    long long hwMax = 0;     // cpuinfo_max_freq, kHz
};

struct ClusterInfo {
    std::vector<PolicyInfo> policies;
    bool present() const { return !policies.empty(); }
    // The largest cpuinfo_max_freq of the cluster, 0 without a policy.
    long long hwMax() const;
};

struct GpuInfo {
    bool present = false;
    std::string name;  // devfreq folder
    std::string dir;
    long long maxHz = 0;     // highest available frequency
    long long scale = 1000;  // devfreq unit per configuration unit
};

struct ZoneInfo {
    std::string name;  // thermal_zoneN
    std::string dir;
    int onTrip = -1;  // -1: none usable
    int controlTrip = -1;
    bool sustainablePower = false;
};

struct ForkInfo {
    bool present = false;
    std::string file;
    std::string kernelFile;  // as the description names it
    std::string onText;
    std::string offText;
    int line = 0;  // in the description
};

struct ItemInfo {
    std::string name;
    std::string file;
    std::string kernelFile;  // as the description names it
    bool writeAtEnd = false;
    std::string endText;
    int line = 0;  // in the description
};

struct GroupInfo {
    int tag = 0;
    std::string folder;  // under the cgroup mount
    std::string dir;
    bool uclamp = false;     // cpu.uclamp.min and cpu.uclamp.max are there
    std::string weightFile;  // "cpu.weight" (v2), "cpu.shares" (v1), or "" for none
};

struct CgroupLayout {
    std::string mount;  // kernel path of the cpu controller; empty: none found
    int version = 0;
    std::vector<GroupInfo> groups;       // mapped and present
    std::vector<int> hmpTags;            // the groups hmp mode sets
    std::map<int, std::string> missing;  // group tag -> why it has no folder here
};

struct MachineLayout {
    ClusterInfo little;
    ClusterInfo big;
    GpuInfo gpu;
    std::vector<ZoneInfo> zones;
    ForkInfo fork;
    std::vector<ItemInfo> items;
    CgroupLayout cgroups;
    // Why a tag or an item has nothing to write on this machine.
    std::map<int, std::string> tagMissing;
    std::map<std::string, std::string> itemMissing;

    // The one line that says what was found and what is missing, and why.
    std::string summary() const;
};
