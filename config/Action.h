#pragma once

#include <string>
#include <vector>

// One step of a command's chain. A parsed command is a header record followed by
// up to three steps; the chain is owned by whoever built it, and the destructor
// deliberately never follows `next`.
class Action {
public:
    Action() = default;
    Action(const Action&) = default;
    Action& operator=(const Action& other);
    virtual ~Action() = default;

    // Number of (tag, value) pairs that are really present: `tagCount` bounded by
    // what `tagValues` holds, so that a reader never walks past the vector.
    int tagPairCount() const;
    // The same for the (key, value) string pairs of `keyValues`.
    int keyPairCount() const;

    // Pair `i` of `tagValues` (below tagPairCount()) and of `keyValues` (below
    // keyPairCount()).
    int pairTag(int i) const { return tagValues[2 * static_cast<size_t>(i)]; }
    int pairValue(int i) const { return tagValues[2 * static_cast<size_t>(i) + 1]; }
    const std::string& pairKey(int i) const { return keyValues[2 * static_cast<size_t>(i)]; }
    const std::string& pairText(int i) const { return keyValues[2 * static_cast<size_t>(i) + 1]; }

    int cmdId = -1;
    std::string name;
    int duration = -1;
    int tagCount = 0;
    std::vector<int> tagValues;
    std::vector<std::string> keyValues;
    Action* next = nullptr;
};
