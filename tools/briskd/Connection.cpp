#include "tools/briskd/Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include "tools/briskd/DaemonLog.h"

namespace {
// The reply type for a frame that could not be read as a request at all.
constexpr uint16_t kNoRequestType = 0;
}  // namespace

void Connection::serve() {
    // Once the daemon stops, the request being read or served is finished and
    // answered, and the connection closes.
    while (serveOne() && !stopped()) {
    }
    shutdown(mSocket.get(), SHUT_RDWR);
}

bool Connection::stopped() const {
    pollfd stop{mContext.stopFd, POLLIN, 0};
    return mContext.stopFd >= 0 && poll(&stop, 1, 0) > 0;
}

bool Connection::reply(uint16_t requestType, const Reply& reply) {
    return mChannel.writeFrame(static_cast<uint16_t>(requestType | Protocol::kReplyFlag),
                               reply.encodeBody());
}

bool Connection::serveOne() {
    FrameHeader header;
    std::vector<uint8_t> body;
    std::vector<UniqueFd> fds;
    FrameChannel::ReadResult result =
        mChannel.readFrame(&header, &body, &fds, Protocol::kMaxBodySize, mContext.stopFd);
    switch (result) {
        case FrameChannel::ReadResult::Frame:
            break;
        case FrameChannel::ReadResult::Closed:
        case FrameChannel::ReadResult::Stopped:
            return false;
        case FrameChannel::ReadResult::BadMagic:
            reply(kNoRequestType, Reply::error(Status::BadRequest, "not a briskd request"));
            BRISKD_LOGD("closing %s: not a briskd request", mPeer.describe().c_str());
            return false;
        case FrameChannel::ReadResult::BadVersion:
            reply(header.type, Reply::error(Status::UnsupportedVersion,
                                            "protocol version " + std::to_string(header.version) +
                                                " not supported; this daemon speaks version " +
                                                std::to_string(Protocol::kVersion)));
            return false;
        case FrameChannel::ReadResult::TooLarge:
            reply(header.type, Reply::error(Status::TooLarge,
                                            "request body of " + std::to_string(header.bodySize) +
                                                " bytes exceeds the limit of " +
                                                std::to_string(Protocol::kMaxBodySize)));
            return false;
        case FrameChannel::ReadResult::Truncated:
        case FrameChannel::ReadResult::TimedOut:
        case FrameChannel::ReadResult::Error:
            BRISKD_LOGD("closing %s: %s", mPeer.describe().c_str(),
                        FrameChannel::resultName(result));
            return false;
    }
    const bool known = isKnownRequestType(header.type);
    const RequestType type = static_cast<RequestType>(header.type);
    Request request;
    std::string error;
    const bool decoded = known && Request::decodeBody(type, body, &request, &error);
    if (!decoded) {
        request = Request();
    }
    // Every frame counts against the rates, also one that is refused (a request
    // that could not be decoded counts as one).
    std::string refusal;
    if (!mPrivileged && !mContext.rates.admit(mPeer, mBucket, request, &refusal)) {
        return reply(header.type, Reply::error(Status::Busy, refusal));
    }
    if (!known) {
        return reply(header.type,
                     Reply::error(Status::UnknownRequest,
                                  "unknown request type " + std::to_string(header.type)));
    }
    if (!decoded) {
        return reply(header.type, Reply::error(Status::BadRequest, error));
    }
    if (type == RequestType::Dump && fds.size() != 1) {
        return reply(header.type,
                     Reply::error(Status::BadRequest,
                                  "dump: pass exactly one output descriptor with the request"));
    }
    int dumpFd = type == RequestType::Dump ? fds[0].get() : -1;
    Reply answer = mContext.handler.handle(request, mPeer, dumpFd);
    // The daemon's copies of passed descriptors are closed before the reply goes
    // out, so that a client reading its pipe to the end sees it end.
    fds.clear();
    return reply(header.type, answer);
}

void Connection::refuseBusy(const std::string& message) {
    const std::vector<uint8_t> frame =
        FrameHeader::frame(static_cast<uint16_t>(kNoRequestType | Protocol::kReplyFlag),
                           Reply::error(Status::Busy, message).encodeBody());
    // A fresh socket's buffer is empty: the small frame fits, or is dropped.
    (void)send(mSocket.get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}
