#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/SystemFileOps.h"

// The real file operations, except that chosen files fail with a chosen errno
// (under root, file modes refuse nothing), and writes are counted per file.
// Files are named by the end of their path ("policy4/scaling_max_freq").
class FaultyFileOps : public SystemFileOps {
public:
    enum class Op { Open, Write, Read };

    // The next `times` operations `op` on the file fail with `error` (-1: always).
    void fail(const std::string& pathEnd, Op op, int error, int times = -1);
    void clearFaults();
    // pwrite calls that reached the file, failed ones included.
    int writes(const std::string& pathEnd) const;
    int totalWrites() const;
    // Every write under `root` that landed, as "<path without root>=<text>", in order.
    std::vector<std::string> writeLog(const std::string& root) const;
    // Every call into the layer (each stands for one system call).
    long calls() const;
    void resetCounts();

    int open(const std::string& path, int flags, mode_t mode) override;
    int close(int fd) override;
    ssize_t pread(int fd, void* buffer, size_t size, off_t offset) override;
    ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) override;
    int fsync(int fd) override;
    int ftruncate(int fd, off_t size) override;
    int fstat(int fd, struct stat* out) override;
    int fstatfs(int fd, struct statfs* out) override;
    int stat(const std::string& path, struct stat* out) override;
    int flock(int fd, int operation) override;
    int rename(const std::string& from, const std::string& to) override;
    int unlink(const std::string& path) override;
    int mkdir(const std::string& path, mode_t mode) override;
    int listDir(const std::string& path, std::vector<std::string>* names) override;
    int readLink(const std::string& path, std::string* target) override;

private:
    struct Fault {
        std::string pathEnd;
        Op op;
        int error;
        int times;
    };
    // The errno to fail with, or 0; counts the fault down.
    int takeFault(const std::string& path, Op op);
    std::string pathOf(int fd) const;
    void count();

    mutable std::mutex mMutex;
    std::vector<Fault> mFaults;
    std::map<int, std::string> mPaths;  // open descriptors
    std::map<std::string, int> mWrites;
    std::vector<std::pair<std::string, std::string>> mLog;
    long mCalls = 0;
};
