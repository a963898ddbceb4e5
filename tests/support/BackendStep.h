#pragma once

#include <string>
#include <utility>
#include <vector>

#include "config/Action.h"
#include "config/Vocabulary.h"

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
