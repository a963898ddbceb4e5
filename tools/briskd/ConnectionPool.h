#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/briskd/Connection.h"
#include "tools/briskd/LogThrottle.h"
#include "tools/protocol/UniqueFd.h"

// How many connections the daemon serves at once.
struct ConnectionLimits {
    size_t total = 0;     // all connections
    size_t perUid = 0;    // of one user, root and the daemon's user excepted
    size_t reserved = 0;  // of `total`, the places only root and the daemon's user may take
};

// The connection threads, one per connection, within the limits. Used by the
// accept loop alone; finished threads are joined by reap(), which the loop calls
// whenever wakeFd() becomes readable or the wait that waitMs() gives ends.
//
// A connection counts from its acceptance until its thread ends. A client that
// closes and reconnects at once may find its old connection still counted,
// because the old thread has not yet seen the close; turning it away then would
// be a false "busy". So a newcomer that does not fit is refused only when it
// would not fit either once the connections whose clients have hung up are gone;
// otherwise it waits for them (at most `waitMs`), and its thread starts as soon
// as it fits.
class ConnectionPool {
public:
    ConnectionPool(const ConnectionLimits& limits, int waitMs);
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    bool ok() const { return mWakeFd.valid(); }
    const ConnectionLimits& limits() const { return mLimits; }
    int wakeFd() const { return mWakeFd.get(); }

    // Starts serving `connection`, lets it wait, or refuses it ("busy") and
    // closes it. `privileged`: root or the daemon's user.
    void admit(std::shared_ptr<Connection> connection, bool privileged);
    void reap();
    // Milliseconds until a waiting connection's time is up; -1 when none waits.
    int waitMs() const;
    // Closes the waiting connections and joins every thread.
    void joinAll();

private:
    using Clock = std::chrono::steady_clock;
    struct Entry {
        std::shared_ptr<Connection> connection;
        bool privileged = false;
        std::thread thread;
        std::atomic<bool> done{false};
        Clock::time_point deadline;
    };
    enum class Fit { Yes, Full, UserFull, SharedFull };

    // Whether `newcomer` fits beside the running connections; with `afterLeaving`,
    // beside those whose clients are still there and the waiting ones.
    Fit fit(const Entry& newcomer, bool afterLeaving) const;
    bool start(const std::shared_ptr<Entry>& entry);
    void refuse(Entry& entry, Fit why);
    std::string refusalReason(const Entry& entry, Fit why) const;

    ConnectionLimits mLimits;
    int mMaxWaitMs;
    UniqueFd mWakeFd;  // eventfd, counts finished threads
    std::list<std::shared_ptr<Entry>> mRunning;
    std::deque<std::shared_ptr<Entry>> mWaiting;
    LogThrottle mLog;
};
