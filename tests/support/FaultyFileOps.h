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
    enum class Op { Open, Write };  // Open: an open for writing

    // The next `times` operations `op` on the file fail with `error` (-1: always).
    void fail(const std::string& pathEnd, Op op, int error, int times = -1);
    void clearFaults();
    // pwrite calls that reached the file, failed ones included.
    int writes(const std::string& pathEnd) const;
    // Every write under `root` that landed, as "<path without root>=<text>", in order.
    std::vector<std::string> writeLog(const std::string& root) const;
    // Every call into the layer (each stands for one system call).
    long calls() const;
    void resetCounts();

    int open(const std::string& path, int flags, mode_t mode) override;
    int close(int fd) override;
    ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) override;
    ssize_t pread(int fd, void* buffer, size_t size, off_t offset) override {
        return counted(SystemFileOps::pread(fd, buffer, size, offset));
    }
    int fsync(int fd) override { return counted(SystemFileOps::fsync(fd)); }
    int ftruncate(int fd, off_t size) override {
        return counted(SystemFileOps::ftruncate(fd, size));
    }
    int fstat(int fd, struct stat* out) override { return counted(SystemFileOps::fstat(fd, out)); }
    int fstatfs(int fd, struct statfs* out) override {
        return counted(SystemFileOps::fstatfs(fd, out));
    }
    int stat(const std::string& path, struct stat* out) override {
        return counted(SystemFileOps::stat(path, out));
    }
    int flock(int fd, int operation) override {
        return counted(SystemFileOps::flock(fd, operation));
    }
    int rename(const std::string& from, const std::string& to) override {
        return counted(SystemFileOps::rename(from, to));
    }
    int unlink(const std::string& path) override { return counted(SystemFileOps::unlink(path)); }
    int mkdir(const std::string& path, mode_t mode) override {
        return counted(SystemFileOps::mkdir(path, mode));
    }
    int listDir(const std::string& path, std::vector<std::string>* names) override {
        return counted(SystemFileOps::listDir(path, names));
    }
    int readLink(const std::string& path, std::string* target) override {
        return counted(SystemFileOps::readLink(path, target));
    }

private:
    struct Fault {
        std::string pathEnd;
        Op op;
        int error;
        int times;
    };
    // The errno to fail with, or 0; counts the fault down.
    int takeFault(const std::string& path, Op op);
    template <typename Result>
    Result counted(Result result) {
        std::lock_guard<std::mutex> lock(mMutex);
        ++mCalls;
        return result;
    }

    mutable std::mutex mMutex;
    std::vector<Fault> mFaults;
    std::map<int, std::string> mPaths;  // open descriptors
    std::map<std::string, int> mWrites;
    std::vector<std::pair<std::string, std::string>> mLog;
    long mCalls = 0;
};
