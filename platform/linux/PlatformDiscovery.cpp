#include "platform/linux/PlatformDiscovery.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <tuple>

#include "freq/FreqTags.h"
#include "platform/linux/KernelText.h"

namespace {
// Words that name a GPU's devfreq device or driver, the most specific first.
const char* const kGpuWords[] = {"mali", "kgsl", "panfrost", "panthor",
                                 "lima", "msm",  "etnaviv",  "gpu"};
constexpr int kNoGpuWord = static_cast<int>(sizeof(kGpuWords) / sizeof(kGpuWords[0]));
// Trip points read per zone at most.
constexpr int kMaxTrips = 64;

bool hasPrefixAndDigits(const std::string& name, const char* prefix) {
    size_t n = std::char_traits<char>::length(prefix);
    return name.size() > n && name.compare(0, n, prefix) == 0 &&
           name.find_first_not_of("0123456789", n) == std::string::npos;
}

// The rank of the most specific GPU word in `text`, kNoGpuWord for none.
int gpuWordRank(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (int i = 0; i < kNoGpuWord; ++i) {
        if (text.find(kGpuWords[i]) != std::string::npos) {
            return i;
        }
    }
    return kNoGpuWord;
}

void markMissing(MachineLayout* out, std::initializer_list<int> tags, const std::string& why) {
    for (int tag : tags) {
        out->tagMissing[tag] = why;
    }
}
}  // namespace

bool PlatformDiscovery::discover(MachineLayout* out, std::string* error) {
    *out = MachineLayout();
    if (!findClusters(out, error) || !findGpu(out, error) || !findThermal(out, error)) {
        return false;
    }
    findForkAndItems(out);
    return true;
}

std::string PlatformDiscovery::where(int line) const {
    return mDescription.fileName + ":" + std::to_string(line) + ": ";
}

bool PlatformDiscovery::writable(const std::string& path) const {
    struct stat info {};
    return mReader.ops().stat(path, &info) == 0 && (info.st_mode & 0222) != 0;
}

bool PlatformDiscovery::readPolicy(const std::string& name, PolicyInfo* policy) const {
    policy->name = name;
    policy->dir = mReader.path(kCpufreqDir) + "/" + name;
    std::string cpus;
    if ((mReader.readText(policy->dir + "/related_cpus", &cpus) != 0 &&
         mReader.readText(policy->dir + "/affected_cpus", &cpus) != 0) ||
        !KernelText::parseCpuList(cpus, &policy->cpus) ||
        !mReader.readInt(policy->dir + "/cpuinfo_max_freq", &policy->hwMax) || policy->hwMax < 0 ||
        !mReader.exists(policy->dir + "/scaling_min_freq") ||
        !mReader.exists(policy->dir + "/scaling_max_freq")) {
        return false;
    }
    std::string capacity =
        mReader.path(kCpuDir) + "/cpu" + std::to_string(policy->cpus.front()) + "/cpu_capacity";
    if (!mReader.readInt(capacity, &policy->capacity) || policy->capacity < 0) {
        policy->capacity = 0;
    }
    return true;
}

bool PlatformDiscovery::findClusters(MachineLayout* out, std::string* error) {
    std::vector<PolicyInfo> policies;
    for (const std::string& name : mReader.list(mReader.path(kCpufreqDir))) {
        PolicyInfo policy;
        if (hasPrefixAndDigits(name, "policy") && readPolicy(name, &policy)) {
            policies.push_back(policy);
        }
    }
    if (mDescription.little.given || mDescription.big.given) {
        // A cluster the description leaves out gets every policy the other lacks.
        if (!takeGivenCluster(mDescription.little, &policies, &out->little, error) ||
            !takeGivenCluster(mDescription.big, &policies, &out->big, error)) {
            return false;
        }
        (mDescription.little.given ? out->big : out->little).policies = policies;
    } else {
        rankClusters(policies, out);
    }
    if (!out->little.present()) {
        markMissing(out, {BRISK_TAG_LITTLE_CPU_MIN, BRISK_TAG_LITTLE_CPU_MAX},
                    mDescription.little.given ? "little cluster (none in the description)"
                                              : "little cluster (no usable cpufreq policy in " +
                                                    std::string(kCpufreqDir) + ")");
    }
    if (!out->big.present() && !out->tagMissing.count(BRISK_TAG_BIG_CPU_MIN)) {
        markMissing(out, {BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_BIG_CPU_MAX},
                    mDescription.big.given  ? "big cluster (none in the description)"
                    : out->little.present() ? "big cluster (no policy beyond the little one)"
                                            : "big cluster (no usable cpufreq policy)");
    }
    return true;
}

bool PlatformDiscovery::takeGivenCluster(const ClusterChoice& choice, std::vector<PolicyInfo>* pool,
                                         ClusterInfo* cluster, std::string* error) const {
    for (const std::string& name : choice.policies) {
        auto found = std::find_if(pool->begin(), pool->end(),
                                  [&](const PolicyInfo& p) { return p.name == name; });
        if (found == pool->end()) {
            *error = where(choice.line) + "cpufreq policy " + name + " is not usable in " +
                     mReader.path(kCpufreqDir);
            return false;
        }
        cluster->policies.push_back(*found);
        pool->erase(found);
    }
    return true;
}

void PlatformDiscovery::rankClusters(std::vector<PolicyInfo> policies, MachineLayout* out) const {
    auto key = [](const PolicyInfo& p) { return std::make_tuple(p.capacity, p.hwMax); };
    std::sort(policies.begin(), policies.end(), [&](const PolicyInfo& a, const PolicyInfo& b) {
        return std::make_tuple(a.capacity, a.hwMax, a.name) <
               std::make_tuple(b.capacity, b.hwMax, b.name);
    });
    // Every policy alike the lowest one is little (a machine of equal CPUs has
    // no big cluster); the others are big.
    for (const PolicyInfo& policy : policies) {
        bool little = key(policy) == key(policies.front());
        (little ? out->little : out->big).policies.push_back(policy);
    }
    if (policies.size() == 1) {
        markMissing(out, {BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_BIG_CPU_MAX},
                    "big cluster (one cpufreq policy)");
    } else if (policies.size() > 1 && !out->big.present()) {
        markMissing(
            out, {BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_BIG_CPU_MAX},
            "big cluster (all " + std::to_string(policies.size()) + " cpufreq policies alike)");
    }
}

bool PlatformDiscovery::readGpu(const std::string& name, GpuInfo* gpu) const {
    gpu->name = name;
    gpu->dir = mReader.path(kDevfreqDir) + "/" + name;
    gpu->scale = mDescription.gpu.scale;
    if (!mReader.exists(gpu->dir + "/min_freq") || !mReader.exists(gpu->dir + "/max_freq")) {
        return false;
    }
    std::string available;
    if (mReader.readText(gpu->dir + "/available_frequencies", &available) == 0) {
        for (std::string_view word : KernelText::words(available)) {
            long long hz = 0;
            if (KernelText::parseInt(word, &hz)) {
                gpu->maxHz = std::max(gpu->maxHz, hz);
            }
        }
    }
    if (gpu->maxHz == 0 && !mReader.readInt(gpu->dir + "/max_freq", &gpu->maxHz)) {
        gpu->maxHz = 0;
    }
    gpu->present = true;
    return true;
}

bool PlatformDiscovery::findGpu(MachineLayout* out, std::string* error) {
    const GpuChoice& choice = mDescription.gpu;
    out->gpu.scale = choice.scale;
    std::string why;
    if (choice.deviceGiven && choice.device.empty()) {
        why = "gpu (none in the description)";
    } else if (choice.deviceGiven) {
        if (!readGpu(choice.device, &out->gpu)) {
            *error = where(choice.line) + "devfreq device " + choice.device +
                     " has no min_freq and max_freq in " + mReader.path(kDevfreqDir);
            return false;
        }
    } else {
        std::string best;
        int bestRank = kNoGpuWord;
        for (const std::string& name : mReader.list(mReader.path(kDevfreqDir))) {
            std::string dir = mReader.path(kDevfreqDir) + "/" + name;
            std::string deviceName;
            mReader.readText(dir + "/name", &deviceName);
            int rank = std::min({gpuWordRank(name), gpuWordRank(deviceName),
                                 gpuWordRank(mReader.linkName(dir + "/device/driver"))});
            if (rank < bestRank) {
                best = name;
                bestRank = rank;
            }
        }
        if (best.empty()) {
            why = "gpu (no devfreq device named like a GPU)";
        } else if (!readGpu(best, &out->gpu)) {
            why = "gpu (devfreq device " + best + " has no min_freq and max_freq)";
            out->gpu = GpuInfo();
        }
    }
    if (!out->gpu.present) {
        markMissing(out, {BRISK_TAG_GPU_MIN, BRISK_TAG_GPU_MAX}, why);
    }
    return true;
}

void PlatformDiscovery::readZone(const ThermalChoice& choice, ZoneInfo* zone,
                                 MachineLayout* out) const {
    std::vector<int> passive;
    for (int trip = 0; trip < kMaxTrips; ++trip) {
        std::string type;
        std::string file = zone->dir + "/trip_point_" + std::to_string(trip) + "_type";
        if (mReader.readText(file, &type) != 0) {
            break;
        }
        if (KernelText::trim(type) == "passive") {
            passive.push_back(trip);
        }
    }
    // The power allocator switches on at the first passive trip and aims at the last.
    zone->onTrip = choice.onTrip >= 0 ? choice.onTrip : passive.size() >= 2 ? passive.front() : -1;
    zone->controlTrip = choice.controlTrip >= 0 ? choice.controlTrip
                        : passive.empty()       ? -1
                                                : passive.back();
    if (zone->onTrip >= 0 && zone->onTrip == zone->controlTrip) {
        zone->onTrip = -1;  // one file cannot hold two limits: the control trip keeps it
    }
    for (int* trip : {&zone->onTrip, &zone->controlTrip}) {
        std::string file = zone->dir + "/trip_point_" + std::to_string(*trip) + "_temp";
        if (*trip >= 0 && !writable(file)) {
            out->tagMissing[trip == &zone->onTrip ? BRISK_TAG_IPA_ON_TEMP
                                                  : BRISK_TAG_IPA_CONTROL_TEMP] =
                "thermal trip " + std::to_string(*trip) + " of " + zone->name +
                (mReader.exists(file) ? " (read-only)" : " (absent)");
            *trip = -1;
        }
    }
    zone->sustainablePower = writable(zone->dir + "/sustainable_power");
}

bool PlatformDiscovery::findThermal(MachineLayout* out, std::string* error) {
    const std::string base = mReader.path(kThermalDir) + "/";
    std::vector<ThermalChoice> chosen = mDescription.zones;
    if (!mDescription.thermalGiven) {
        for (const std::string& name : mReader.list(base)) {
            std::string policy;
            if (hasPrefixAndDigits(name, "thermal_zone") &&
                mReader.readText(base + name + "/policy", &policy) == 0 &&
                KernelText::trim(policy) == "power_allocator") {
                ThermalChoice choice;
                choice.zone = name;
                chosen.push_back(choice);
            }
        }
    }
    for (const ThermalChoice& choice : chosen) {
        ZoneInfo zone;
        zone.name = choice.zone;
        zone.dir = base + choice.zone;
        if (mDescription.thermalGiven && !mReader.exists(zone.dir)) {
            *error = where(choice.line) + "thermal zone " + choice.zone + " is not in " + base;
            return false;
        }
        readZone(choice, &zone, out);
        out->zones.push_back(zone);
    }
    const std::string none =
        out->zones.empty() ? (mDescription.thermalGiven ? "thermal (none in the description)"
                                                        : "thermal (no zone uses power_allocator)")
                           : "";
    auto anyZone = [&](auto has) { return std::any_of(out->zones.begin(), out->zones.end(), has); };
    if (!anyZone([](const ZoneInfo& z) { return z.onTrip >= 0; }) &&
        !out->tagMissing.count(BRISK_TAG_IPA_ON_TEMP)) {
        out->tagMissing[BRISK_TAG_IPA_ON_TEMP] =
            none.empty() ? "thermal switch-on trip (fewer than two passive trips)" : none;
    }
    if (!anyZone([](const ZoneInfo& z) { return z.controlTrip >= 0; }) &&
        !out->tagMissing.count(BRISK_TAG_IPA_CONTROL_TEMP)) {
        out->tagMissing[BRISK_TAG_IPA_CONTROL_TEMP] =
            none.empty() ? "thermal control trip (no passive trip)" : none;
    }
    if (!anyZone([](const ZoneInfo& z) { return z.sustainablePower; })) {
        out->tagMissing[BRISK_TAG_IPA_SUSTAINABLE_POWER] =
            none.empty() ? "thermal sustainable_power (absent or read-only)" : none;
    }
    return true;
}

void PlatformDiscovery::findForkAndItems(MachineLayout* out) {
    const ForkChoice& fork = mDescription.fork;
    if (!fork.given) {
        out->tagMissing[BRISK_TAG_FORK_ON_BIG_CLUSTER] =
            "fork_on_big_cluster (no file in the description)";
    } else if (!mReader.exists(mReader.path(fork.file))) {
        out->tagMissing[BRISK_TAG_FORK_ON_BIG_CLUSTER] =
            "fork_on_big_cluster (" + fork.file + " not found)";
    } else {
        out->fork = {true,     mReader.path(fork.file), fork.file, fork.onText, fork.offText,
                     fork.line};
    }
    for (const ItemChoice& choice : mDescription.items) {
        ItemInfo item{choice.name,    mReader.path(choice.file),
                      choice.file,    choice.writeAtEnd,
                      choice.endText, choice.line};
        if (!mReader.exists(item.file)) {
            out->itemMissing[item.name] = choice.file + " not found";
        }
        out->items.push_back(item);
    }
}
