#include "platform/linux/GroupLevels.h"

#include <algorithm>
#include <cerrno>

#include "config/Vocabulary.h"
#include "platform/linux/KernelText.h"

namespace {
constexpr long long kDefaultShares = 1024;  // cpu.shares of cpu.weight 100
constexpr long long kMinShares = 2;
constexpr long long kMaxShares = 262144;
}  // namespace

long long GroupLevels::sharesFor(int weight) {
    long long shares =
        static_cast<long long>(weight) * kDefaultShares / SchedLadder::kDefaultWeight;
    return std::min(std::max(shares, kMinShares), kMaxShares);
}

bool GroupLevels::build(std::string* error) {
    for (const GroupInfo& group : mLayout.groups) {
        GroupNodes nodes{&group, nullptr, nullptr, nullptr};
        auto node = [&](const std::string& name) -> KernelNode* {
            KernelFile* file = mArbiter.addFile(group.dir + "/" + name);
            if (file == nullptr) {
                *error = group.dir + "/" + name + " is already written for another purpose";
                return nullptr;
            }
            return mArbiter.addNode(NodeRole::Latest, file);
        };
        if (group.uclamp && ((nodes.uclampMin = node("cpu.uclamp.min")) == nullptr ||
                             (nodes.uclampMax = node("cpu.uclamp.max")) == nullptr)) {
            return false;
        }
        if (!group.weightFile.empty() && (nodes.weight = node(group.weightFile)) == nullptr) {
            return false;
        }
        mNodes.push_back(nodes);
    }
    return true;
}

const GroupLevels::GroupNodes* GroupLevels::find(int tag) const {
    for (const GroupNodes& nodes : mNodes) {
        if (nodes.group->tag == tag) {
            return &nodes;
        }
    }
    return nullptr;
}

bool GroupLevels::present(int tag, int level) {
    if (find(tag) != nullptr || level == 0 || level == SCHED_LEVEL_UNSET ||
        tag == BRISK_TAG_GROUP_HMP) {
        return true;
    }
    auto why = mLayout.missing.find(tag);
    mNotes.warnOnce(tag, "scheduling level " + std::to_string(level) + " not applied: " +
                             (why != mLayout.missing.end() ? why->second : "no such group"));
    return false;
}

int GroupLevels::apply(int len, const int* tags, const int* levels, bool strict) {
    const bool hmp = len == 1 && tags[0] == BRISK_TAG_GROUP_HMP;
    if (strict) {
        for (int i = 0; i < len; ++i) {
            if (!hmp && !present(tags[i], levels[i])) {
                return -ENODEV;
            }
        }
    }
    if (hmp) {
        for (int tag : mLayout.hmpTags) {
            applyLevel(*find(tag), levels[0]);
        }
        return 0;
    }
    for (int i = 0; i < len; ++i) {
        if (!Vocabulary::isGroupTag(tags[i])) {
            mNotes.warnOnce(tags[i], "not a scheduling group; ignored");
        } else if (const GroupNodes* nodes = find(tags[i])) {
            applyLevel(*nodes, levels[i]);
        } else {
            present(tags[i], levels[i]);
        }
    }
    return 0;
}

void GroupLevels::applyLevel(const GroupNodes& nodes, int level) {
    bool clamped = false;
    GroupTarget target = mLadder.targetFor(level, &clamped);
    if (clamped) {
        mNotes.warnOnce("level " + std::to_string(level),
                        "scheduling level " + std::to_string(level) + " lies beyond the ladder (" +
                            std::to_string(mLadder.lowest()) + ".." +
                            std::to_string(mLadder.highest()) + "): its nearest end is used");
    }
    if (nodes.uclampMin == nullptr && (target.uclampMin >= 0 || target.uclampMax >= 0)) {
        mNotes.warnOnce("no uclamp",
                        "no cpu.uclamp files in " + nodes.group->dir +
                            " (a kernel without util clamping): levels set the weight alone");
    }
    if (nodes.uclampMin != nullptr) {
        set(nodes.uclampMin, target.uclampMin, true);
        set(nodes.uclampMax, target.uclampMax, true);
    }
    if (nodes.weight != nullptr) {
        set(nodes.weight,
            mLayout.version == 2 || target.weight < 0 ? target.weight : sharesFor(target.weight),
            false);
    }
}

void GroupLevels::set(KernelNode* node, long long value, bool percent) {
    // The manager is the only holder of a group's files: its level in force.
    if (value < 0) {
        mArbiter.release(node, kSchedHolder);
        return;
    }
    char text[KernelText::kIntTextSize];
    size_t length = percent ? SchedLadder::percentText(static_cast<int>(value), text)
                            : KernelText::formatInt(value, text);
    mArbiter.hold(node, kSchedHolder, value, std::string_view(text, length), 0);
}
