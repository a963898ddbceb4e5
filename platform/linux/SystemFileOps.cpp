#include "platform/linux/SystemFileOps.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
// A folder with more entries than this is not a kernel folder the back-end reads.
constexpr size_t kMaxDirEntries = 4096;

int result(int r) {
    return r < 0 ? -errno : r;
}

ssize_t sizeResult(ssize_t r) {
    return r < 0 ? -errno : r;
}
}  // namespace

int SystemFileOps::open(const std::string& path, int flags, mode_t mode) {
    int fd;
    do {
        fd = ::open(path.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    return result(fd);
}

int SystemFileOps::close(int fd) {
    return result(::close(fd));
}

ssize_t SystemFileOps::pread(int fd, void* buffer, size_t size, off_t offset) {
    ssize_t n;
    do {
        n = ::pread(fd, buffer, size, offset);
    } while (n < 0 && errno == EINTR);
    return sizeResult(n);
}

ssize_t SystemFileOps::pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    ssize_t n;
    do {
        n = ::pwrite(fd, buffer, size, offset);
    } while (n < 0 && errno == EINTR);
    return sizeResult(n);
}

int SystemFileOps::fsync(int fd) {
    return result(::fsync(fd));
}

int SystemFileOps::ftruncate(int fd, off_t size) {
    return result(::ftruncate(fd, size));
}

int SystemFileOps::fstat(int fd, struct stat* out) {
    return result(::fstat(fd, out));
}

int SystemFileOps::fstatfs(int fd, struct statfs* out) {
    return result(::fstatfs(fd, out));
}

int SystemFileOps::flock(int fd, int operation) {
    int r;
    do {
        r = ::flock(fd, operation);
    } while (r < 0 && errno == EINTR);
    return result(r);
}

int SystemFileOps::rename(const std::string& from, const std::string& to) {
    return result(::rename(from.c_str(), to.c_str()));
}

int SystemFileOps::unlink(const std::string& path) {
    return result(::unlink(path.c_str()));
}

int SystemFileOps::mkdir(const std::string& path, mode_t mode) {
    return result(::mkdir(path.c_str(), mode));
}

int SystemFileOps::stat(const std::string& path, struct stat* out) {
    return result(::stat(path.c_str(), out));
}

int SystemFileOps::listDir(const std::string& path, std::vector<std::string>* names) {
    names->clear();
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) {
        return -errno;
    }
    while (const dirent* entry = readdir(dir)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (names->size() >= kMaxDirEntries) {
            break;
        }
        names->emplace_back(entry->d_name);
    }
    closedir(dir);
    return 0;
}

int SystemFileOps::readLink(const std::string& path, std::string* target) {
    char buffer[PATH_MAX];
    ssize_t n = ::readlink(path.c_str(), buffer, sizeof(buffer));
    if (n < 0) {
        return -errno;
    }
    if (static_cast<size_t>(n) >= sizeof(buffer)) {
        return -ENAMETOOLONG;
    }
    target->assign(buffer, static_cast<size_t>(n));
    return 0;
}
