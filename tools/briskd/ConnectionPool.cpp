#include "tools/briskd/ConnectionPool.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <system_error>

ConnectionPool::ConnectionPool(size_t limit)
    : mLimit(limit), mWakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

ConnectionPool::~ConnectionPool() {
    joinAll();
}

bool ConnectionPool::tryStart(std::function<void()> work) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mWorkers.size() >= mLimit) {
        return false;
    }
    auto worker = std::make_shared<Worker>();
    int wakeFd = mWakeFd.get();
    try {
        worker->thread = std::thread([this, worker, wakeFd, work = std::move(work)]() {
            work();
            {
                std::lock_guard<std::mutex> doneLock(mMutex);
                worker->done = true;
            }
            uint64_t one = 1;
            (void)write(wakeFd, &one, sizeof(one));
        });
    } catch (const std::system_error&) {
        return false;  // out of threads: the same answer as a full pool
    }
    mWorkers.push_back(std::move(worker));
    return true;
}

void ConnectionPool::reap() {
    uint64_t count = 0;
    (void)read(mWakeFd.get(), &count, sizeof(count));
    std::list<std::shared_ptr<Worker>> finished;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        for (auto it = mWorkers.begin(); it != mWorkers.end();) {
            if ((*it)->done) {
                finished.push_back(*it);
                it = mWorkers.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto& worker : finished) {
        worker->thread.join();
    }
}

void ConnectionPool::joinAll() {
    std::list<std::shared_ptr<Worker>> all;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        all.swap(mWorkers);
    }
    for (auto& worker : all) {
        if (worker->thread.joinable()) {
            worker->thread.join();
        }
    }
}

size_t ConnectionPool::active() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mWorkers.size();
}
