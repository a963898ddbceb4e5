#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <string>

#include "tools/briskd/LogThrottle.h"
#include "tools/briskd/PeerCredentials.h"
#include "tools/briskd/TokenBucket.h"
#include "tools/protocol/Request.h"

// How fast clients may send requests: each connection, and all connections of
// one user (uid) together, at most so many units a second, where a request
// costs one unit per tag or value it carries (at least one). The service logs
// every pair of a client request, so counting pairs, not requests, is what keeps
// one client from flooding the log or starving others. A request over either
// rate is answered "busy, retry later" and charged to neither. Shared by all
// connection threads.
class RateLimits {
public:
    // Rates in units a second; 0 means no limit.
    RateLimits(unsigned perConnection, unsigned perUid)
        : mPerConnection(perConnection), mPerUid(perUid), mLog(std::chrono::seconds(1)) {}

    // A fresh bucket for a new connection.
    TokenBucket connectionBucket() const { return TokenBucket(mPerConnection); }

    // True when `request` from `peer`, on the connection whose bucket is
    // `connection`, may be served now; its cost is then taken from both buckets.
    // Otherwise false, with the reason for the client in `refusal`.
    bool admit(const PeerCredentials& peer, TokenBucket& connection, const Request& request,
               std::string* refusal);

    static unsigned costOf(const Request& request);

private:
    // Buckets of users that have been quiet long enough to be full again carry
    // nothing; they are dropped once this many users are tracked.
    static constexpr size_t kTrackedUsers = 1024;
    void forgetQuietUsersLocked(TokenBucket::Clock::time_point now);

    unsigned mPerConnection;
    unsigned mPerUid;
    std::mutex mMutex;
    std::map<uid_t, TokenBucket> mUsers;
    LogThrottle mLog;
};
