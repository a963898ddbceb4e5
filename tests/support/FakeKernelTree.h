#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/linux/LinuxBackendSettings.h"

// A kernel tree of plain files in a fresh temporary folder (removed on exit):
// cpufreq policies, devfreq devices, thermal zones, a boot id, and beside the
// tree a state folder for the journal and room for a description file.
class FakeKernelTree {
public:
    // `base`: the folder to make it in; by default a tmpfs (/dev/shm) where there is
    // one, as /run is on a machine: the journal's fsync costs nothing there.
    explicit FakeKernelTree(const std::string& base = defaultBase());
    static std::string defaultBase();
    ~FakeKernelTree();
    FakeKernelTree(const FakeKernelTree&) = delete;
    FakeKernelTree& operator=(const FakeKernelTree&) = delete;

    const std::string& root() const { return mRoot; }
    const std::string& stateDir() const { return mState; }
    std::string path(const std::string& kernelPath) const { return mRoot + kernelPath; }

    // Writes `text` (plus a line end) at `kernelPath`, making its folders.
    void write(const std::string& kernelPath, const std::string& text);
    // The file's text without its trailing line end.
    std::string read(const std::string& kernelPath) const;

    // cpufreq policy N with its CPUs' capacity; min and max start at the bounds.
    void addPolicy(int n, const std::vector<int>& cpus, long long capacity, long long hwMaxKhz,
                   long long hwMinKhz = 300000);
    // A devfreq device; min and max start at the lowest and highest frequency.
    void addDevfreq(const std::string& name, const std::vector<long long>& frequenciesHz);
    // thermal_zoneN with `policy` and trips of (type, millidegrees).
    void addZone(int n, const std::string& policy,
                 const std::vector<std::pair<std::string, long long>>& trips,
                 long long sustainablePowerMw = 3500);
    void setBootId(const std::string& id);
    // /proc/<tid>/stat of a thread started at `start` (clock ticks since boot).
    void addThread(int tid, unsigned long long start);
    // A cgroup v1 cpu controller at `mount` (listed in /proc/self/mountinfo) with
    // `groups` as child folders, each with its weight file and, when `uclamp`,
    // cpu.uclamp.min and cpu.uclamp.max (v2: cgroup2, cpu.weight).
    void addCgroups(const std::string& mount, int version, const std::vector<std::string>& groups,
                    bool uclamp);

    // The usual test machine: two policies (little 0-3, big 4-7), a Mali GPU and a
    // power-allocator zone with two passive trips.
    void buildBigLittle();

    // A description file beside the tree; returns its path.
    std::string writeDescription(const std::string& xml);

    // Settings that point the back-end at this tree.
    LinuxBackendSettings settings() const;

    static constexpr const char* kPolicyDir = "/sys/devices/system/cpu/cpufreq/policy";
    static constexpr const char* kZoneDir = "/sys/class/thermal/thermal_zone";

private:
    std::string mDir;
    std::string mRoot;
    std::string mState;
};
