#include "platform/linux/RequestBook.h"

RequestBook::Request* RequestBook::find(HolderKey key) {
    auto found = mRequests.find(key);
    return found == mRequests.end() ? nullptr : &found->second;
}

bool RequestBook::nextDeadline(Clock::time_point* when) const {
    bool any = false;
    for (const auto& entry : mRequests) {
        if (entry.second.timed && (!any || entry.second.deadline < *when)) {
            *when = entry.second.deadline;
            any = true;
        }
    }
    return any;
}

std::vector<HolderKey> RequestBook::expired(Clock::time_point now) const {
    std::vector<HolderKey> keys;
    for (const auto& entry : mRequests) {
        if (entry.second.timed && entry.second.deadline <= now) {
            keys.push_back(entry.first);
        }
    }
    return keys;
}
