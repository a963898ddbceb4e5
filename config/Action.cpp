#include "config/Action.h"

#include <algorithm>

Action& Action::operator=(const Action& other) {
    if (this == &other) {
        return *this;
    }
    cmdId = other.cmdId;
    name = other.name;
    duration = other.duration;
    tagCount = other.tagCount;
    tagValues = other.tagValues;
    keyValues = other.keyValues;
    next = other.next;
    return *this;
}

int Action::tagPairCount() const {
    if (tagCount < 1) {
        return 0;
    }
    return static_cast<int>(std::min<size_t>(static_cast<size_t>(tagCount), tagValues.size() / 2));
}

int Action::keyPairCount() const {
    if (tagCount < 1) {
        return 0;
    }
    return static_cast<int>(std::min<size_t>(static_cast<size_t>(tagCount), keyValues.size() / 2));
}
