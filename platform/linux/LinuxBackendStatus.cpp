// LinuxBackend, the status view: what it found and holds, read under its lock
// without writing anything (a file's original may be read, as getConfig reads it).
#include <string>

#include "platform/linux/LinuxBackend.h"

namespace {
// What the machine summary's one line says, a part a line.
std::vector<std::string> splitSummary(const std::string& line) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t end; (end = line.find("; ", start)) != std::string::npos; start = end + 2) {
        parts.push_back(line.substr(start, end - start));
    }
    parts.push_back(line.substr(start));
    return parts;
}

// A number in the configuration's units, or a node's text as it is written.
std::string shown(const KernelNode& node, long long value) {
    return std::to_string(value / node.scale());
}
}  // namespace

BackendStatus::Node LinuxBackend::nodeStatus(KernelNode* node, int tag, const std::string& item,
                                             const char* unit) {
    BackendStatus::Node out;
    out.tag = tag;
    out.item = item;
    out.file = node->file()->kernelPath();
    out.unit = unit != nullptr ? unit : "";
    const bool numeric = node->role() != NodeRole::Latest;
    long long number = 0;
    WantedText want;
    if (numeric && node->valueInForce(&number)) {
        out.value = shown(*node, number);
    } else if (!numeric && node->wanted(&want)) {
        out.value = std::string(want.text);
    } else if (const std::string* original = node->file()->knownOriginal()) {
        out.value = *original;
    }
    if (numeric && node->file()->originalNumber(&number)) {
        out.original = shown(*node, number);
    } else if (const std::string* original = node->file()->knownOriginal()) {
        out.original = *original;
    }
    for (const Holder& holder : node->holders()) {
        BackendStatus::Holder shownHolder;
        shownHolder.manager = holder.key == kManagerHolder;
        shownHolder.cmdId = holder.key.cmdId;
        shownHolder.value = numeric ? shown(*node, holder.value) : holder.text;
        out.holders.push_back(shownHolder);
    }
    return out;
}

void LinuxBackend::readStatus(BackendStatus* out) {
    std::lock_guard<std::mutex> lock(mMutex);
    out->name = "linux";
    if (!mReady) {
        out->facts.push_back("not initialised");
        return;
    }
    out->facts = splitSummary(mLayout.summary());
    for (int tag : NodeTable::handledTags()) {
        for (KernelNode* node : *mTable.nodesFor(tag)) {
            out->nodes.push_back(nodeStatus(node, tag, std::string(), NodeTable::unitOf(tag)));
        }
    }
    for (const auto& item : mTable.items()) {
        if (item.second != nullptr) {
            out->nodes.push_back(nodeStatus(item.second, 0, item.first, nullptr));
        }
    }
    for (const GroupLevels::GroupNodes& group : mGroups.nodes()) {
        for (KernelNode* node : {group.uclampMin, group.uclampMax, group.weight}) {
            if (node != nullptr) {
                out->nodes.push_back(nodeStatus(node, group.group->tag, std::string(), nullptr));
            }
        }
    }
    out->heldCommands = mRequests.commands();
}
