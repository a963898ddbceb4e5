#pragma once

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>

#include <string>
#include <vector>

// The file operations of the Linux back-end, one virtual call per system call,
// so that tests can make chosen files fail with a chosen errno: under root, file
// modes refuse nothing. Every operation returns -errno on failure.
class FileOps {
public:
    virtual ~FileOps() = default;

    // A descriptor (the back-end always adds O_CLOEXEC and O_NONBLOCK, so that a
    // FIFO planted in a tree can never block it).
    virtual int open(const std::string& path, int flags, mode_t mode) = 0;
    virtual int close(int fd) = 0;
    virtual ssize_t pread(int fd, void* buffer, size_t size, off_t offset) = 0;
    virtual ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) = 0;
    virtual int fsync(int fd) = 0;
    virtual int ftruncate(int fd, off_t size) = 0;
    virtual int fstat(int fd, struct stat* out) = 0;
    virtual int fstatfs(int fd, struct statfs* out) = 0;
    virtual int flock(int fd, int operation) = 0;
    virtual int rename(const std::string& from, const std::string& to) = 0;
    virtual int unlink(const std::string& path) = 0;
    virtual int mkdir(const std::string& path, mode_t mode) = 0;
    virtual int stat(const std::string& path, struct stat* out) = 0;
    // The names in a folder, without "." and "..", in no particular order.
    virtual int listDir(const std::string& path, std::vector<std::string>* names) = 0;
    virtual int readLink(const std::string& path, std::string* target) = 0;
};
