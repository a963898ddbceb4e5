#include "tools/briskctl/DaemonClient.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "tools/protocol/FrameChannel.h"

bool DaemonClient::connectSocket(UniqueFd* socketFd, std::string* error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (mSocketPath.empty() || mSocketPath.size() >= sizeof(address.sun_path)) {
        *error = "socket path is empty or too long: " + mSocketPath;
        return false;
    }
    memcpy(address.sun_path, mSocketPath.c_str(), mSocketPath.size() + 1);
    socketFd->reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socketFd->valid()) {
        *error = std::string("cannot create a socket: ") + strerror(errno);
        return false;
    }
    if (connect(socketFd->get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        int code = errno;
        *error = "cannot connect to " + mSocketPath + ": " + strerror(code);
        if (code == ENOENT || code == ECONNREFUSED) {
            *error += " (is briskd running?)";
        }
        return false;
    }
    return true;
}

bool DaemonClient::call(const Request& request, int passFd, Reply* reply, std::string* error) {
    UniqueFd socketFd;
    if (!connectSocket(&socketFd, error)) {
        return false;
    }
    FrameChannel channel(socketFd.get(), mTimeoutMs);
    // A daemon that refuses the connection (too many clients) answers before
    // reading the request: its answer is read even when sending failed.
    bool sent =
        channel.writeFrame(static_cast<uint16_t>(request.type), request.encodeBody(), passFd);
    FrameHeader header;
    std::vector<uint8_t> body;
    FrameChannel::ReadResult result =
        channel.readFrame(&header, &body, nullptr, Protocol::kMaxReplyBodySize);
    if (result != FrameChannel::ReadResult::Frame) {
        *error = std::string(sent ? "no answer from briskd on " : "cannot send to briskd on ") +
                 mSocketPath + ": " + FrameChannel::resultName(result);
        return false;
    }
    if ((header.type & Protocol::kReplyFlag) == 0 || !Reply::decodeBody(body, reply)) {
        *error = "briskd on " + mSocketPath + " sent an answer that cannot be read";
        return false;
    }
    return true;
}
