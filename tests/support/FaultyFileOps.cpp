#include "tests/support/FaultyFileOps.h"

#include <fcntl.h>

namespace {
bool endsWith(const std::string& path, const std::string& end) {
    return path.size() >= end.size() &&
           path.compare(path.size() - end.size(), end.size(), end) == 0;
}
}  // namespace

void FaultyFileOps::fail(const std::string& pathEnd, Op op, int error, int times) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFaults.push_back(Fault{pathEnd, op, error, times});
}

void FaultyFileOps::clearFaults() {
    std::lock_guard<std::mutex> lock(mMutex);
    mFaults.clear();
}

int FaultyFileOps::writes(const std::string& pathEnd) const {
    std::lock_guard<std::mutex> lock(mMutex);
    int n = 0;
    for (const auto& entry : mWrites) {
        n += endsWith(entry.first, pathEnd) ? entry.second : 0;
    }
    return n;
}

long FaultyFileOps::calls() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

std::vector<std::string> FaultyFileOps::writeLog(const std::string& root) const {
    std::lock_guard<std::mutex> lock(mMutex);
    std::vector<std::string> lines;
    for (const auto& entry : mLog) {
        if (entry.first.compare(0, root.size(), root) == 0) {
            lines.push_back(entry.first.substr(root.size()) + "=" + entry.second);
        }
    }
    return lines;
}

void FaultyFileOps::resetCounts() {
    std::lock_guard<std::mutex> lock(mMutex);
    mWrites.clear();
    mLog.clear();
    mCalls = 0;
}

int FaultyFileOps::takeFault(const std::string& path, Op op) {
    for (auto it = mFaults.begin(); it != mFaults.end(); ++it) {
        if (it->op == op && endsWith(path, it->pathEnd)) {
            int error = it->error;
            if (it->times > 0 && --it->times == 0) {
                mFaults.erase(it);
            }
            return error;
        }
    }
    return 0;
}

// The system calls themselves run outside the lock, as the back-end's threads
// would make them.
int FaultyFileOps::open(const std::string& path, int flags, mode_t mode) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        if (int error = (flags & O_ACCMODE) != O_RDONLY ? takeFault(path, Op::Open) : 0) {
            return -error;
        }
    }
    int fd = SystemFileOps::open(path, flags, mode);
    std::lock_guard<std::mutex> lock(mMutex);
    mPaths[fd] = path;
    return fd;
}

int FaultyFileOps::close(int fd) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mPaths.erase(fd);
    }
    return counted(SystemFileOps::close(fd));
}

ssize_t FaultyFileOps::pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    std::string path;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        path = mPaths[fd];
        ++mWrites[path];
        if (int error = takeFault(path, Op::Write)) {
            return -error;
        }
    }
    ssize_t n = SystemFileOps::pwrite(fd, buffer, size, offset);
    std::lock_guard<std::mutex> lock(mMutex);
    if (n >= 0) {
        mLog.emplace_back(path, std::string(static_cast<const char*>(buffer), size));
    }
    return n;
}
