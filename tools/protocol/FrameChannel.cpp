#include "tools/protocol/FrameChannel.h"

#include <poll.h>
#include <sys/socket.h>
#include <time.h>

#include <cerrno>
#include <cstring>

namespace {
// Room for more descriptors than are kept, so that a request with a few extra
// ones is still read whole (the extras are closed).
constexpr size_t kControlFds = 16;

long long nowMs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}
}  // namespace

FrameChannel::Wait FrameChannel::waitFor(short events, long long deadlineMs, int stopFd) {
    for (;;) {
        long long left = deadlineMs - nowMs();
        if (left <= 0) {
            return Wait::TimedOut;
        }
        pollfd fds[2] = {{mFd, events, 0}, {stopFd, POLLIN, 0}};
        int n = poll(fds, stopFd >= 0 ? 2 : 1, static_cast<int>(left));
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return Wait::Error;
        }
        if (n == 0) {
            continue;  // the loop head decides whether the deadline has passed
        }
        if (fds[0].revents != 0) {
            return Wait::Ready;  // readable, writable, or an error that the call will report
        }
        if (stopFd >= 0 && fds[1].revents != 0) {
            return Wait::Stopped;
        }
    }
}

void FrameChannel::takeFds(msghdr& message, std::vector<UniqueFd>* fds) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        const unsigned char* data = CMSG_DATA(c);
        for (size_t i = 0; i < count; ++i) {
            int fd = -1;
            memcpy(&fd, data + i * sizeof(int), sizeof(int));
            UniqueFd owned(fd);
            if (fds != nullptr && fds->size() < Protocol::kMaxPassedFds) {
                fds->push_back(std::move(owned));
            }
        }
    }
}

FrameChannel::ReadResult FrameChannel::readExact(uint8_t* out, size_t size, bool started,
                                                 long long* deadlineMs, std::vector<UniqueFd>* fds,
                                                 int stopFd) {
    size_t got = 0;
    while (got < size) {
        Wait wait = waitFor(POLLIN, *deadlineMs, started ? -1 : stopFd);
        if (wait == Wait::TimedOut) {
            return ReadResult::TimedOut;
        }
        if (wait == Wait::Stopped) {
            return ReadResult::Stopped;
        }
        if (wait == Wait::Error) {
            return ReadResult::Error;
        }
        iovec iov{out + got, size - got};
        alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(int) * kControlFds)];
        msghdr message{};
        message.msg_iov = &iov;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        ssize_t n = recvmsg(mFd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK) {
                continue;
            }
            return started ? ReadResult::Truncated : ReadResult::Error;
        }
        takeFds(message, fds);
        if (n == 0) {
            return started ? ReadResult::Truncated : ReadResult::Closed;
        }
        if (!started) {
            // The frame has begun: from now on it has one timeout to arrive whole.
            started = true;
            *deadlineMs = nowMs() + mTimeoutMs;
        }
        got += static_cast<size_t>(n);
    }
    return ReadResult::Frame;
}

FrameChannel::ReadResult FrameChannel::readFrame(FrameHeader* header, std::vector<uint8_t>* body,
                                                 std::vector<UniqueFd>* fds, uint32_t maxBodySize,
                                                 int stopFd) {
    long long deadline = nowMs() + mTimeoutMs;
    uint8_t raw[Protocol::kHeaderSize];
    ReadResult result = readExact(raw, sizeof(raw), false, &deadline, fds, stopFd);
    if (result != ReadResult::Frame) {
        return result;
    }
    bool magicOk = false;
    *header = FrameHeader::decode(raw, &magicOk);
    switch (FrameHeader::check(*header, magicOk)) {
        case FrameHeader::Check::BadMagic:
            return ReadResult::BadMagic;
        case FrameHeader::Check::BadVersion:
            return ReadResult::BadVersion;
        case FrameHeader::Check::Ok:
            break;
    }
    if (header->bodySize > maxBodySize) {
        return ReadResult::TooLarge;
    }
    body->assign(header->bodySize, 0);
    if (header->bodySize == 0) {
        return ReadResult::Frame;
    }
    return readExact(body->data(), body->size(), true, &deadline, fds, -1);
}

bool FrameChannel::writeFrame(uint16_t type, const std::vector<uint8_t>& body, int passFd) {
    std::vector<uint8_t> frame = FrameHeader::frame(type, body);

    long long deadline = nowMs() + mTimeoutMs;
    size_t sent = 0;
    bool fdPending = passFd >= 0;
    while (sent < frame.size()) {
        iovec iov{frame.data() + sent, frame.size() - sent};
        alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(int))];
        msghdr message{};
        message.msg_iov = &iov;
        message.msg_iovlen = 1;
        if (fdPending) {
            memset(control, 0, sizeof(control));
            message.msg_control = control;
            message.msg_controllen = sizeof(control);
            cmsghdr* c = CMSG_FIRSTHDR(&message);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int));
            memcpy(CMSG_DATA(c), &passFd, sizeof(int));
        }
        ssize_t n = sendmsg(mFd, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
                return false;
            }
            if (waitFor(POLLOUT, deadline, -1) != Wait::Ready) {
                return false;
            }
            continue;
        }
        fdPending = false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

const char* FrameChannel::resultName(ReadResult result) {
    switch (result) {
        case ReadResult::Frame:
            return "frame";
        case ReadResult::Closed:
            return "closed";
        case ReadResult::Stopped:
            return "stopped";
        case ReadResult::Truncated:
            return "truncated frame";
        case ReadResult::TimedOut:
            return "timed out";
        case ReadResult::BadMagic:
            return "not a briskd frame";
        case ReadResult::BadVersion:
            return "unsupported protocol version";
        case ReadResult::TooLarge:
            return "frame too large";
        case ReadResult::Error:
            return "socket error";
    }
    return "unknown";
}
