#include "platform/linux/MachineLayout.h"

#include <algorithm>
#include <set>

#include "config/Vocabulary.h"
#include "platform/linux/KernelText.h"

long long ClusterInfo::hwMax() const {
    long long max = 0;
    for (const PolicyInfo& policy : policies) {
        max = std::max(max, policy.hwMax);
    }
    return max;
}

namespace {
std::string describeCluster(const char* name, const ClusterInfo& cluster) {
    std::string text = std::string(name) + " cluster";
    std::vector<int> cpus;
    for (const PolicyInfo& policy : cluster.policies) {
        text += " " + policy.name;
        cpus.insert(cpus.end(), policy.cpus.begin(), policy.cpus.end());
    }
    std::sort(cpus.begin(), cpus.end());
    return text + " (cpus " + KernelText::formatCpuList(cpus) + ", up to " +
           std::to_string(cluster.hwMax()) + " kHz)";
}

std::string describeZone(const ZoneInfo& zone) {
    std::string text = zone.name + " (";
    std::string sep;
    if (zone.onTrip >= 0) {
        text += "switch-on trip " + std::to_string(zone.onTrip);
        sep = ", ";
    }
    if (zone.controlTrip >= 0) {
        text += sep + "control trip " + std::to_string(zone.controlTrip);
        sep = ", ";
    }
    if (zone.sustainablePower) {
        text += sep + "sustainable power";
        sep = ", ";
    }
    return text + (sep.empty() ? "nothing writable)" : ")");
}
}  // namespace

std::string MachineLayout::summary() const {
    std::vector<std::string> found;
    if (little.present()) {
        found.push_back(describeCluster("little", little));
    }
    if (big.present()) {
        found.push_back(describeCluster("big", big));
    }
    if (gpu.present) {
        found.push_back("gpu " + gpu.name + " (up to " + std::to_string(gpu.maxHz) + " Hz, " +
                        std::to_string(gpu.scale) + " per configuration unit)");
    }
    for (const ZoneInfo& zone : zones) {
        found.push_back("thermal " + describeZone(zone));
    }
    if (fork.present) {
        found.push_back("fork_on_big_cluster " + fork.file);
    }
    if (!cgroups.groups.empty()) {
        std::string groups =
            "groups (cgroup v" + std::to_string(cgroups.version) + " at " + cgroups.mount + "):";
        for (const GroupInfo& group : cgroups.groups) {
            groups += " " + group.folder + " (" + std::to_string(group.tag) +
                      (group.uclamp ? "" : ", weight alone") + ")";
        }
        found.push_back(groups);
    }
    if (!items.empty()) {
        found.push_back(std::to_string(items.size() - itemMissing.size()) + " of " +
                        std::to_string(items.size()) + " platform items");
    }
    std::string line = "found: ";
    for (size_t i = 0; i < found.size(); ++i) {
        line += (i > 0 ? "; " : "") + found[i];
    }
    if (found.empty()) {
        line += "nothing to tune";
    }
    // Several tags usually share one reason (both bounds of a missing cluster).
    std::set<std::string> reasons;
    for (const auto& entry : tagMissing) {
        reasons.insert(entry.second);
    }
    for (const auto& entry : itemMissing) {
        reasons.insert("item " + entry.first + ": " + entry.second);
    }
    for (const auto& entry : cgroups.missing) {
        const char* name = Vocabulary::nameForTag(entry.first);
        reasons.insert("group " + std::string(name != nullptr ? name : "") + " (" +
                       std::to_string(entry.first) + "): " + entry.second);
    }
    if (!reasons.empty()) {
        line += "; missing: ";
        std::string sep;
        for (const std::string& reason : reasons) {
            line += sep + reason;
            sep = "; ";
        }
    }
    return line;
}
