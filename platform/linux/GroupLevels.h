#pragma once

#include <string>
#include <vector>

#include "platform/linux/CapabilityNotes.h"
#include "platform/linux/MachineLayout.h"
#include "platform/linux/NodeArbiter.h"
#include "platform/linux/SchedLadder.h"

// The scheduling manager's group levels on the cgroup files: each mapped group
// has a node for cpu.uclamp.min, cpu.uclamp.max and its weight (cpu.weight, or
// cpu.shares on cgroup v1), held by the manager alone. A level becomes the
// ladder's values; level 0 (and unset) gives the group its originals back. In
// hmp mode (only tag 50 sent) the level goes to the hmp groups.
class GroupLevels {
public:
    struct GroupNodes {
        const GroupInfo* group;
        KernelNode* uclampMin;  // null without uclamp files
        KernelNode* uclampMax;
        KernelNode* weight;  // null without a weight file
    };

    GroupLevels(const CgroupLayout& layout, const SchedLadder& ladder, NodeArbiter& arbiter,
                CapabilityNotes& notes)
        : mLayout(layout), mLadder(ladder), mArbiter(arbiter), mNotes(notes) {}

    // False when a group's file is already written for another purpose.
    bool build(std::string* error);
    // Holds or releases the levels of one doSchedLevelAction call; the caller
    // commits. With `strict`, -ENODEV (and nothing held) when a level other than
    // 0 is asked of a group this machine lacks.
    int apply(int len, const int* tags, const int* levels, bool strict);

    const std::vector<GroupNodes>& nodes() const { return mNodes; }

    // cpu.shares for a cpu.weight (100 ↔ 1024).
    static long long sharesFor(int weight);

private:
    const GroupNodes* find(int tag) const;
    // False when the level asks something of a group that is not there.
    bool present(int tag, int level);
    void applyLevel(const GroupNodes& nodes, int level);
    // -1 releases the node; `percent` writes hundredths as "12.34".
    void set(KernelNode* node, long long value, bool percent);

    const CgroupLayout& mLayout;
    const SchedLadder& mLadder;
    NodeArbiter& mArbiter;
    CapabilityNotes& mNotes;
    std::vector<GroupNodes> mNodes;
};
