#include "platform/linux/NodeTable.h"

#include <algorithm>
#include <climits>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"

bool NodeTable::addBounds(NodeArbiter& arbiter, const std::string& dir, const char* floorFile,
                          const char* ceilingFile, long long scale, int floorTag, int ceilingTag,
                          std::string* clash) {
    KernelFile* low = arbiter.addFile(dir + "/" + floorFile);
    KernelFile* high = arbiter.addFile(dir + "/" + ceilingFile);
    if (low == nullptr || high == nullptr) {
        *clash = dir;
        return false;
    }
    low->setEchoesWrites(false);
    high->setEchoesWrites(false);
    KernelNode* floor = arbiter.addNode(NodeRole::Floor, low, scale);
    KernelNode* ceiling = arbiter.addNode(NodeRole::Ceiling, high, scale);
    KernelNode::pair(floor, ceiling);
    mTagNodes[floorTag].push_back(floor);
    mTagNodes[ceilingTag].push_back(ceiling);
    return true;
}

bool NodeTable::addLatest(NodeArbiter& arbiter, const std::string& path, int tag,
                          std::string* clash) {
    KernelFile* file = arbiter.addFile(path);
    if (file == nullptr) {
        *clash = path;
        return false;
    }
    mTagNodes[tag].push_back(arbiter.addNode(NodeRole::Latest, file));
    return true;
}

bool NodeTable::build(const MachineLayout& layout, const std::string& descriptionName,
                      NodeArbiter& arbiter, std::string* error) {
    std::string clash;
    for (const PolicyInfo& policy : layout.little.policies) {
        addBounds(arbiter, policy.dir, "scaling_min_freq", "scaling_max_freq", 1,
                  BRISK_TAG_LITTLE_CPU_MIN, BRISK_TAG_LITTLE_CPU_MAX, &clash);
    }
    for (const PolicyInfo& policy : layout.big.policies) {
        addBounds(arbiter, policy.dir, "scaling_min_freq", "scaling_max_freq", 1,
                  BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_BIG_CPU_MAX, &clash);
    }
    if (layout.gpu.present) {
        addBounds(arbiter, layout.gpu.dir, "min_freq", "max_freq", layout.gpu.scale,
                  BRISK_TAG_GPU_MIN, BRISK_TAG_GPU_MAX, &clash);
    }
    for (const ZoneInfo& zone : layout.zones) {
        auto trip = [&](int k) { return zone.dir + "/trip_point_" + std::to_string(k) + "_temp"; };
        if (zone.onTrip >= 0) {
            addLatest(arbiter, trip(zone.onTrip), BRISK_TAG_IPA_ON_TEMP, &clash);
        }
        if (zone.controlTrip >= 0) {
            addLatest(arbiter, trip(zone.controlTrip), BRISK_TAG_IPA_CONTROL_TEMP, &clash);
        }
        if (zone.sustainablePower) {
            addLatest(arbiter, zone.dir + "/sustainable_power", BRISK_TAG_IPA_SUSTAINABLE_POWER,
                      &clash);
        }
    }
    // Discovered files never clash among themselves; what the description adds may.
    auto clashError = [&](int line, const std::string& path) {
        *error = descriptionName + ":" + std::to_string(line) + ": " + path +
                 " is already written by the back-end for another purpose";
        return false;
    };
    if (layout.fork.present) {
        if (!addLatest(arbiter, layout.fork.file, BRISK_TAG_FORK_ON_BIG_CLUSTER, &clash)) {
            return clashError(layout.fork.line, layout.fork.kernelFile);
        }
        mFork = mTagNodes[BRISK_TAG_FORK_ON_BIG_CLUSTER].front();
        mForkOn = layout.fork.onText;
        mForkOff = layout.fork.offText;
    }
    for (const ItemInfo& item : layout.items) {
        KernelNode*& node = mItems[item.name];
        if (layout.itemMissing.count(item.name)) {
            continue;
        }
        KernelFile* file = arbiter.addFile(item.file);
        if (file == nullptr) {
            return clashError(item.line, item.kernelFile);
        }
        node = arbiter.addNode(NodeRole::Latest, file);
        if (item.writeAtEnd) {
            node->setEndText(item.endText);
        }
    }
    return true;
}

const std::vector<KernelNode*>* NodeTable::nodesFor(int tag) const {
    if (tag <= 0 || tag >= kTagSlots || unitOf(tag) == nullptr) {
        return nullptr;
    }
    return &mTagNodes[tag];
}

KernelNode* NodeTable::item(const std::string& name, bool* known) const {
    auto found = mItems.find(name);
    *known = found != mItems.end();
    return *known ? found->second : nullptr;
}

TagKind NodeTable::kindOf(int tag) {
    switch (tag) {
        case BRISK_TAG_LITTLE_CPU_MIN:
        case BRISK_TAG_LITTLE_CPU_MAX:
        case BRISK_TAG_BIG_CPU_MIN:
        case BRISK_TAG_BIG_CPU_MAX:
        case BRISK_TAG_GPU_MIN:
        case BRISK_TAG_GPU_MAX:
            return TagKind::Bound;
        case BRISK_TAG_IPA_ON_TEMP:
        case BRISK_TAG_IPA_CONTROL_TEMP:
        case BRISK_TAG_IPA_SUSTAINABLE_POWER:
            return TagKind::Number;
        case BRISK_TAG_FORK_ON_BIG_CLUSTER:
            return TagKind::Fork;
        case Vocabulary::kPlatformItemTag:
            return TagKind::Item;
        case BRISK_TAG_LITTLE_CPU_HW_MAX:
        case BRISK_TAG_BIG_CPU_HW_MAX:
        case BRISK_TAG_GPU_HW_MAX:
            return TagKind::ReadOnly;
        case Vocabulary::kPriorityTag:  // the scene arbiter's, not the machine's
            return TagKind::Skipped;
        default:
            return TagKind::Unknown;
    }
}

const std::vector<int>& NodeTable::handledTags() {
    static const std::vector<int> tags = {
        BRISK_TAG_LITTLE_CPU_MIN,     BRISK_TAG_LITTLE_CPU_MAX,   BRISK_TAG_BIG_CPU_MIN,
        BRISK_TAG_BIG_CPU_MAX,        BRISK_TAG_GPU_MIN,          BRISK_TAG_GPU_MAX,
        BRISK_TAG_IPA_ON_TEMP,        BRISK_TAG_IPA_CONTROL_TEMP, BRISK_TAG_IPA_SUSTAINABLE_POWER,
        BRISK_TAG_FORK_ON_BIG_CLUSTER};
    return tags;
}

const char* NodeTable::unitOf(int tag) {
    switch (tag) {
        case BRISK_TAG_LITTLE_CPU_MIN:
        case BRISK_TAG_LITTLE_CPU_MAX:
        case BRISK_TAG_BIG_CPU_MIN:
        case BRISK_TAG_BIG_CPU_MAX:
            return "kHz";
        case BRISK_TAG_GPU_MIN:
        case BRISK_TAG_GPU_MAX:
            return "Hz";
        case BRISK_TAG_IPA_ON_TEMP:
        case BRISK_TAG_IPA_CONTROL_TEMP:
            return "millidegree Celsius";
        case BRISK_TAG_IPA_SUSTAINABLE_POWER:
            return "mW";
        case BRISK_TAG_FORK_ON_BIG_CLUSTER:
            return "on/off text";
        default:
            return nullptr;
    }
}

int NodeTable::configValue(int tag, const MachineLayout& layout) const {
    switch (tag) {
        case BRISK_TAG_LITTLE_CPU_HW_MAX:
            return static_cast<int>(std::min<long long>(layout.little.hwMax(), INT_MAX));
        case BRISK_TAG_BIG_CPU_HW_MAX:
            return static_cast<int>(std::min<long long>(layout.big.hwMax(), INT_MAX));
        case BRISK_TAG_GPU_HW_MAX:
            return static_cast<int>(std::min<long long>(
                layout.gpu.present ? layout.gpu.maxHz / layout.gpu.scale : 0, INT_MAX));
        default:
            break;
    }
    const std::vector<KernelNode*>* nodes = nodesFor(tag);
    if (nodes == nullptr) {
        return -1;
    }
    if (nodes->empty()) {
        return 0;
    }
    KernelNode* node = nodes->front();
    if (NodeTable::kindOf(tag) == TagKind::Fork) {
        WantedText want;
        if (!node->wanted(&want)) {
            const std::string* original = node->file()->knownOriginal();
            want.text = original != nullptr ? std::string_view(*original) : std::string_view();
        }
        std::string_view text = want.text;
        return text == forkText(true) ? 1 : text == forkText(false) ? 0 : -1;
    }
    long long value = 0;
    if (!node->valueInForce(&value)) {
        return -1;
    }
    value /= node->scale();
    return value > INT_MAX || value < INT_MIN ? -1 : static_cast<int>(value);
}
