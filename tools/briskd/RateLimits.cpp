#include "tools/briskd/RateLimits.h"

#include <algorithm>

#include "tools/briskd/DaemonLog.h"

unsigned RateLimits::costOf(const Request& request) {
    size_t items = std::max(request.tags.size(), request.values.size());
    return static_cast<unsigned>(std::max<size_t>(1, items));
}

void RateLimits::forgetQuietUsersLocked(TokenBucket::Clock::time_point now) {
    for (auto it = mUsers.begin(); it != mUsers.end();) {
        it = it->second.full(now) ? mUsers.erase(it) : std::next(it);
    }
}

bool RateLimits::admit(const PeerCredentials& peer, TokenBucket& connection, const Request& request,
                       std::string* refusal) {
    const unsigned cost = costOf(request);
    const auto now = TokenBucket::Clock::now();
    std::lock_guard<std::mutex> lock(mMutex);
    if (mUsers.size() >= kTrackedUsers) {
        forgetQuietUsersLocked(now);
    }
    TokenBucket& user = mUsers.emplace(peer.uid, TokenBucket(mPerUid)).first->second;
    const bool connectionHas = connection.has(cost, now);
    const bool userHas = user.has(cost, now);
    if (connectionHas && userHas) {
        connection.take(cost);
        user.take(cost);
        return true;
    }
    *refusal =
        "busy, retry later: " +
        (connectionHas
             ? "uid " + std::to_string(peer.uid) + " sends more than " + std::to_string(mPerUid)
             : "this connection sends more than " + std::to_string(mPerConnection)) +
        " values a second";
    long refused = 0;
    if (mLog.due(&refused)) {
        BRISKD_LOGW("refused %ld request(s) over the request rate, the last from %s", refused,
                    peer.describe().c_str());
    }
    return false;
}
