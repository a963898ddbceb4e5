#pragma once

#include <map>
#include <vector>

#include "config/Action.h"

// Owns every configured command chain, keyed by command id, and hands callers a
// copy of a command's first step.
class BriskParser {
public:
    // Takes ownership of `map` (may be null).
    explicit BriskParser(std::map<int, Action*>* map);
    virtual ~BriskParser();

    BriskParser(const BriskParser&) = delete;
    BriskParser& operator=(const BriskParser&) = delete;

    // 0: `out` holds the first step (or is untouched for a command without steps);
    // 1: unknown command id; 2: null `out` or no map.
    int doParse(int cmdId, Action* out);
    // Every configured command id, ascending. The map never changes after
    // construction, so this reads it without a lock.
    std::vector<int> commandIds() const;

private:
    std::map<int, Action*>* mMap;
};
