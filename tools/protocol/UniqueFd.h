#pragma once

#include <unistd.h>

// Owns one file descriptor and closes it when it goes.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : mFd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return mFd; }
    bool valid() const { return mFd >= 0; }
    int release() {
        int fd = mFd;
        mFd = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (mFd >= 0) {
            ::close(mFd);
        }
        mFd = fd;
    }

private:
    int mFd = -1;
};
