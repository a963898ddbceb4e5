#pragma once

#include <string>
#include <utility>
#include <vector>

#include "config/Action.h"
#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"

// A step as the configuration gives it to a back-end: numeric pairs, then
// platform items (tag 10) with their name and text.
inline Action step(int cmdId, int duration, const std::vector<std::pair<int, int>>& pairs,
                   const std::vector<std::pair<std::string, std::string>>& items = {}) {
    Action action;
    action.cmdId = cmdId;
    action.name = "test";
    action.duration = duration;
    for (const auto& pair : pairs) {
        const char* name = Vocabulary::nameForTag(pair.first);
        action.tagValues.insert(action.tagValues.end(), {pair.first, pair.second});
        action.keyValues.insert(action.keyValues.end(),
                                {name != nullptr ? name : "tag", std::to_string(pair.second)});
    }
    for (const auto& item : items) {
        action.tagValues.insert(action.tagValues.end(), {Vocabulary::kPlatformItemTag, 1});
        action.keyValues.insert(action.keyValues.end(), {item.first, item.second});
    }
    action.tagCount = static_cast<int>(action.tagValues.size() / 2);
    return action;
}

// The step's begin (or renewal) and its end, as the host sends them.
inline int begin(PerfBackend& backend, const Action& action) {
    const int payload = Vocabulary::kBegin;
    return backend.doAction(&action, 1, &payload);
}

inline int end(PerfBackend& backend, const Action& action) {
    const int payload = Vocabulary::kEnd;
    return backend.doAction(&action, 1, &payload);
}
