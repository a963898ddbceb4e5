#pragma once

#include <string>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/MachineLayout.h"

// Finds what this machine offers: the cpufreq policies as a little and a big
// cluster, a devfreq GPU, the thermal zones run by the power allocator, and the
// files the description names. The description overrides what it names; naming
// something the machine lacks is an error, a capability that is simply absent is
// not (it is noted in the layout with its reason).
class PlatformDiscovery {
public:
    PlatformDiscovery(const KernelReader& reader, const BackendDescription& description)
        : mReader(reader), mDescription(description) {}

    bool discover(MachineLayout* out, std::string* error);

    // Kernel folders that discovery reads.
    static constexpr const char* kCpufreqDir = "/sys/devices/system/cpu/cpufreq";
    static constexpr const char* kCpuDir = "/sys/devices/system/cpu";
    static constexpr const char* kDevfreqDir = "/sys/class/devfreq";
    static constexpr const char* kThermalDir = "/sys/class/thermal";

private:
    bool findClusters(MachineLayout* out, std::string* error);
    bool readPolicy(const std::string& name, PolicyInfo* policy) const;
    bool takeGivenCluster(const ClusterChoice& choice, std::vector<PolicyInfo>* pool,
                          ClusterInfo* cluster, std::string* error) const;
    void rankClusters(std::vector<PolicyInfo> policies, MachineLayout* out) const;
    bool findGpu(MachineLayout* out, std::string* error);
    bool readGpu(const std::string& name, GpuInfo* gpu) const;
    bool findThermal(MachineLayout* out, std::string* error);
    void readZone(const ThermalChoice& choice, ZoneInfo* zone, MachineLayout* out) const;
    void findForkAndItems(MachineLayout* out);
    bool writable(const std::string& path) const;
    std::string where(int line) const;

    const KernelReader& mReader;
    const BackendDescription& mDescription;
};
