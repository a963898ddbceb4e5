#pragma once

#include <map>

#include "sched/SchedTags.h"
#include "server/RelaxedAccess.h"

// The nine levels of one group map in tag order: what a request saves before a
// change, so that a failed platform call can put them back. Every map holds
// exactly the group tags, so values are copied in place: the tree never changes
// shape under an unlocked dump, and saving costs no allocation.
struct LevelSnapshot {
    static constexpr int kGroupCount = BRISK_TAG_GROUP_LAST - BRISK_TAG_GROUP_FIRST + 1;

    static LevelSnapshot take(const std::map<int, int>& m) {
        LevelSnapshot snapshot{};
        int i = 0;
        for (auto it = m.begin(); it != m.end() && i < kGroupCount; ++it) {
            snapshot.levels[i++] = it->second;
        }
        return snapshot;
    }

    void restore(std::map<int, int>& m) const {
        int i = 0;
        for (auto it = m.begin(); it != m.end() && i < kGroupCount; ++it) {
            storeRelaxed(it->second, levels[i++]);
        }
    }

    int levels[kGroupCount];
};
