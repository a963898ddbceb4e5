#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/MachineLayout.h"
#include "platform/linux/NodeArbiter.h"

// What a tag of a step or a request means to this back-end.
enum class TagKind {
    Bound,     // a frequency floor or ceiling (1, 2, 4, 5, 7, 8)
    Number,    // a thermal value (17, 18, 19)
    Fork,      // the fork switch (20): 0 off, 1 on
    Item,      // a platform item (10), named by the step's string pair
    ReadOnly,  // a hardware maximum (22, 24, 26)
    Skipped,   // the scene arbiter's priority (101): not the machine's
    Unknown,
};

// Which nodes each tag and each platform item writes, made from the layout:
// every policy of a cluster has a floor and a ceiling node (scaling_min_freq,
// scaling_max_freq), the GPU likewise (min_freq, max_freq, scaled to Hz), each
// power-allocator zone a node per trip and for sustainable_power, and the fork
// switch and each platform item one node each.
class NodeTable {
public:
    // False, with `error` naming the description's line, when two entries would
    // write one file.
    bool build(const MachineLayout& layout, const std::string& descriptionName,
               NodeArbiter& arbiter, std::string* error);

    // Null for a tag this table does not handle; empty when this machine has
    // nothing to write for it.
    const std::vector<KernelNode*>* nodesFor(int tag) const;
    // The node of a platform item, or null (`known` tells whether it is described).
    KernelNode* item(const std::string& name, bool* known) const;
    KernelNode* forkNode() const { return mFork; }
    // Every described platform item by name; null where it is absent here.
    const std::map<std::string, KernelNode*>& items() const { return mItems; }
    // What getConfig answers for `tag`: a hardware maximum of `layout`, or the
    // value in force (the original when nothing is held) in configuration
    // units; 0 for a capability this machine lacks, -1 for a tag it does not know.
    int configValue(int tag, const MachineLayout& layout) const;
    const std::string& forkText(bool on) const { return on ? mForkOn : mForkOff; }

    static TagKind kindOf(int tag);
    // Tags with a node list, in ascending order.
    static const std::vector<int>& handledTags();
    // How the tag's values are written ("kHz", "Hz", ...).
    static const char* unitOf(int tag);

private:
    bool addBounds(NodeArbiter& arbiter, const std::string& dir, const char* floorFile,
                   const char* ceilingFile, long long scale, int floorTag, int ceilingTag,
                   std::string* clash);
    bool addLatest(NodeArbiter& arbiter, const std::string& path, int tag, std::string* clash);

    static constexpr int kTagSlots = 21;  // tags 1..20
    std::array<std::vector<KernelNode*>, kTagSlots> mTagNodes;
    std::map<std::string, KernelNode*> mItems;  // null: described but absent here
    KernelNode* mFork = nullptr;
    std::string mForkOn;
    std::string mForkOff;
};
