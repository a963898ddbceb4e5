#pragma once

#include "platform/linux/FileOps.h"

// The real system calls.
class SystemFileOps : public FileOps {
public:
    int open(const std::string& path, int flags, mode_t mode) override;
    int close(int fd) override;
    ssize_t pread(int fd, void* buffer, size_t size, off_t offset) override;
    ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) override;
    int fsync(int fd) override;
    int ftruncate(int fd, off_t size) override;
    int fstat(int fd, struct stat* out) override;
    int fstatfs(int fd, struct statfs* out) override;
    int flock(int fd, int operation) override;
    int rename(const std::string& from, const std::string& to) override;
    int unlink(const std::string& path) override;
    int mkdir(const std::string& path, mode_t mode) override;
    int stat(const std::string& path, struct stat* out) override;
    int listDir(const std::string& path, std::vector<std::string>* names) override;
    int readLink(const std::string& path, std::string* target) override;
};
