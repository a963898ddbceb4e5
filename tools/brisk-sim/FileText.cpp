#include "tools/brisk-sim/FileText.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
class Descriptor {
public:
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor() {
        if (mFd >= 0) {
            close(mFd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mFd; }

private:
    int mFd;
};
}  // namespace

bool FileText::read(const std::string& path, size_t maxSize, std::string* text, std::string* why) {
    Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (fd.get() < 0 || fstat(fd.get(), &info) != 0) {
        *why = strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        *why = "it is a folder";
        return false;
    }
    text->clear();
    if (S_ISREG(info.st_mode) && static_cast<unsigned long long>(info.st_size) <= maxSize) {
        text->reserve(static_cast<size_t>(info.st_size));
    }
    char buffer[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd.get(), buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            *why = strerror(errno);
            return false;
        }
        if (n == 0) {
            return true;
        }
        if (static_cast<size_t>(n) > maxSize - text->size()) {
            *why = "it is larger than the " + std::to_string(maxSize) + " bytes this reader takes";
            return false;
        }
        text->append(buffer, static_cast<size_t>(n));
    }
}
