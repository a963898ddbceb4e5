#include "tools/briskd/ConnectionPool.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <system_error>

#include "tools/briskd/DaemonLog.h"

ConnectionPool::ConnectionPool(const ConnectionLimits& limits, int waitMs)
    : mLimits(limits),
      mMaxWaitMs(waitMs),
      mWakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mLog(std::chrono::seconds(1)) {}

ConnectionPool::~ConnectionPool() {
    joinAll();
}

ConnectionPool::Fit ConnectionPool::fit(const Entry& newcomer, bool afterLeaving) const {
    std::vector<const Entry*> counted;
    for (const auto& entry : mRunning) {
        if (!entry->done) {
            counted.push_back(entry.get());
        }
    }
    if (afterLeaving) {
        // A client that has hung up sends nothing more: its thread ends once it
        // has answered what had arrived.
        std::vector<pollfd> fds;
        fds.reserve(counted.size());
        for (const Entry* entry : counted) {
            fds.push_back({entry->connection->socketFd(), POLLRDHUP, 0});
        }
        if (poll(fds.data(), fds.size(), 0) > 0) {
            std::vector<const Entry*> staying;
            for (size_t i = 0; i < fds.size(); ++i) {
                if ((fds[i].revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0) {
                    staying.push_back(counted[i]);
                }
            }
            counted.swap(staying);
        }
        for (const auto& entry : mWaiting) {
            counted.push_back(entry.get());
        }
    }
    size_t shared = 0;
    size_t sameUser = 0;
    const uid_t uid = newcomer.connection->peer().uid;
    for (const Entry* entry : counted) {
        if (!entry->privileged) {
            ++shared;
            sameUser += entry->connection->peer().uid == uid;
        }
    }
    if (counted.size() >= mLimits.total) {
        return Fit::Full;
    }
    if (newcomer.privileged) {
        return Fit::Yes;
    }
    if (sameUser >= mLimits.perUid) {
        return Fit::UserFull;
    }
    return shared >= mLimits.total - mLimits.reserved ? Fit::SharedFull : Fit::Yes;
}

bool ConnectionPool::start(const std::shared_ptr<Entry>& entry) {
    int wakeFd = mWakeFd.get();
    try {
        entry->thread = std::thread([entry, wakeFd]() {
            entry->connection->serve();
            entry->done = true;
            uint64_t one = 1;
            (void)write(wakeFd, &one, sizeof(one));
        });
    } catch (const std::system_error&) {
        return false;  // out of threads: the same answer as a full pool
    }
    mRunning.push_back(entry);
    return true;
}

std::string ConnectionPool::refusalReason(const Entry& entry, Fit why) const {
    switch (why) {
        case Fit::UserFull:
            return "too many connections from uid " + std::to_string(entry.connection->peer().uid) +
                   " (limit " + std::to_string(mLimits.perUid) + "); try again later";
        case Fit::SharedFull:
            return "too many clients (the last " + std::to_string(mLimits.reserved) + " of " +
                   std::to_string(mLimits.total) +
                   " connections are kept for root and the daemon's user); try again later";
        case Fit::Yes:
        case Fit::Full:
            break;
    }
    return "too many clients (limit " + std::to_string(mLimits.total) + "); try again later";
}

void ConnectionPool::refuse(Entry& entry, Fit why) {
    std::string reason = refusalReason(entry, why);
    entry.connection->refuseBusy(reason);
    long refused = 0;
    if (mLog.due(&refused)) {
        BRISKD_LOGW("refused %ld connection(s), the last from %s: %s", refused,
                    entry.connection->peer().describe().c_str(), reason.c_str());
    }
}

void ConnectionPool::admit(std::shared_ptr<Connection> connection, bool privileged) {
    reap();
    auto entry = std::make_shared<Entry>();
    entry->connection = std::move(connection);
    entry->privileged = privileged;
    Fit fitNow = fit(*entry, false);
    if (fitNow == Fit::Yes) {
        if (!start(entry)) {
            refuse(*entry, Fit::Full);
        }
    } else if (fit(*entry, true) == Fit::Yes) {
        entry->deadline = Clock::now() + std::chrono::milliseconds(mMaxWaitMs);
        mWaiting.push_back(entry);
    } else {
        refuse(*entry, fitNow);
    }
}

void ConnectionPool::reap() {
    uint64_t count = 0;
    (void)read(mWakeFd.get(), &count, sizeof(count));
    for (auto it = mRunning.begin(); it != mRunning.end();) {
        if ((*it)->done) {
            (*it)->thread.join();
            it = mRunning.erase(it);
        } else {
            ++it;
        }
    }
    // Waiting connections start in the order they came, as soon as they fit.
    auto now = Clock::now();
    std::deque<std::shared_ptr<Entry>> waiting;
    waiting.swap(mWaiting);
    for (auto& entry : waiting) {
        Fit fitNow = fit(*entry, false);
        if (fitNow == Fit::Yes) {
            if (!start(entry)) {
                refuse(*entry, Fit::Full);
            }
        } else if (now >= entry->deadline) {
            refuse(*entry, fitNow);
        } else {
            mWaiting.push_back(entry);
        }
    }
}

int ConnectionPool::waitMs() const {
    if (mWaiting.empty()) {
        return -1;
    }
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(mWaiting.front()->deadline -
                                                                      Clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count()) + 1;
}

void ConnectionPool::joinAll() {
    mWaiting.clear();
    for (auto& entry : mRunning) {
        if (entry->thread.joinable()) {
            entry->thread.join();
        }
    }
    mRunning.clear();
}
