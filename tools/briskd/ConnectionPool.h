#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "tools/protocol/UniqueFd.h"

// The connection threads: at most `limit` at once, each serving one connection.
// Finished threads are joined by reap(), which the accept loop calls whenever
// wakeFd() becomes readable.
class ConnectionPool {
public:
    explicit ConnectionPool(size_t limit);
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    bool ok() const { return mWakeFd.valid(); }
    size_t limit() const { return mLimit; }
    // Runs `work` on a new thread; false (and `work` not run) when full.
    bool tryStart(std::function<void()> work);
    int wakeFd() const { return mWakeFd.get(); }
    void reap();
    void joinAll();
    size_t active() const;

private:
    struct Worker {
        std::thread thread;
        bool done = false;
    };

    size_t mLimit;
    UniqueFd mWakeFd;  // eventfd, counts finished workers
    mutable std::mutex mMutex;
    std::list<std::shared_ptr<Worker>> mWorkers;
};
