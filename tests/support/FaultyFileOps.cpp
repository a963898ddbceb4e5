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

int FaultyFileOps::totalWrites() const {
    return writes("");
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

std::string FaultyFileOps::pathOf(int fd) const {
    auto found = mPaths.find(fd);
    return found == mPaths.end() ? "" : found->second;
}

int FaultyFileOps::open(const std::string& path, int flags, mode_t mode) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        bool writing = (flags & O_ACCMODE) != O_RDONLY;
        if (int error = takeFault(path, writing ? Op::Open : Op::Read)) {
            return -error;
        }
    }
    int fd = SystemFileOps::open(path, flags, mode);
    if (fd >= 0) {
        std::lock_guard<std::mutex> lock(mMutex);
        mPaths[fd] = path;
    }
    return fd;
}

int FaultyFileOps::close(int fd) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        mPaths.erase(fd);
    }
    return SystemFileOps::close(fd);
}

ssize_t FaultyFileOps::pread(int fd, void* buffer, size_t size, off_t offset) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        if (int error = takeFault(pathOf(fd), Op::Read)) {
            return -error;
        }
    }
    return SystemFileOps::pread(fd, buffer, size, offset);
}

ssize_t FaultyFileOps::pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        std::string path = pathOf(fd);
        ++mWrites[path];
        if (int error = takeFault(path, Op::Write)) {
            return -error;
        }
    }
    ssize_t n = SystemFileOps::pwrite(fd, buffer, size, offset);
    if (n >= 0) {
        std::lock_guard<std::mutex> lock(mMutex);
        mLog.emplace_back(pathOf(fd), std::string(static_cast<const char*>(buffer), size));
    }
    return n;
}

int FaultyFileOps::fsync(int fd) {
    count();
    return SystemFileOps::fsync(fd);
}

int FaultyFileOps::ftruncate(int fd, off_t size) {
    count();
    return SystemFileOps::ftruncate(fd, size);
}

int FaultyFileOps::fstat(int fd, struct stat* out) {
    count();
    return SystemFileOps::fstat(fd, out);
}

int FaultyFileOps::fstatfs(int fd, struct statfs* out) {
    count();
    return SystemFileOps::fstatfs(fd, out);
}

int FaultyFileOps::stat(const std::string& path, struct stat* out) {
    count();
    return SystemFileOps::stat(path, out);
}

void FaultyFileOps::count() {
    std::lock_guard<std::mutex> lock(mMutex);
    ++mCalls;
}

int FaultyFileOps::flock(int fd, int operation) {
    count();
    return SystemFileOps::flock(fd, operation);
}

int FaultyFileOps::rename(const std::string& from, const std::string& to) {
    count();
    return SystemFileOps::rename(from, to);
}

int FaultyFileOps::unlink(const std::string& path) {
    count();
    return SystemFileOps::unlink(path);
}

int FaultyFileOps::mkdir(const std::string& path, mode_t mode) {
    count();
    return SystemFileOps::mkdir(path, mode);
}

int FaultyFileOps::listDir(const std::string& path, std::vector<std::string>* names) {
    count();
    return SystemFileOps::listDir(path, names);
}

int FaultyFileOps::readLink(const std::string& path, std::string* target) {
    count();
    return SystemFileOps::readLink(path, target);
}
