// The daemon's side of the protocol: the input is what a client sends on its
// connection. Frames are read as the daemon reads them (header checks, body
// limit, a stream that ends anywhere), and every body is decoded as the request
// its header names and as a reply (what briskctl decodes). Whatever decodes must
// encode back to the same bytes and pass the size checks that briskctl makes
// before it sends: the two sides agree on every frame.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "tools/protocol/FrameChannel.h"
#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

namespace {
// A stream that has ended never waits; this only bounds a broken harness.
constexpr int kTimeoutMs = 1000;

void decodeRequest(const FrameHeader& header, const std::vector<uint8_t>& body) {
    if (!isKnownRequestType(header.type)) {
        return;
    }
    Request request;
    std::string error;
    if (!Request::decodeBody(static_cast<RequestType>(header.type), body, &request, &error)) {
        if (error.empty()) {
            abort();  // a refusal must say why
        }
        return;
    }
    if (request.encodeBody() != body || !request.checkLimits(&error)) {
        abort();
    }
}

void decodeReply(const std::vector<uint8_t>& body) {
    Reply reply;
    if (Reply::decodeBody(body, &reply) && reply.encodeBody() != body) {
        abort();
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        abort();
    }
    UniqueFd daemonEnd(fds[0]);
    UniqueFd clientEnd(fds[1]);
    // The input fits in the socket's buffer (libFuzzer's -max_len stays far below).
    if (write(clientEnd.get(), data, size) != static_cast<ssize_t>(size)) {
        abort();
    }
    clientEnd.reset();

    FrameChannel channel(daemonEnd.get(), kTimeoutMs);
    FrameHeader header;
    std::vector<uint8_t> body;
    std::vector<UniqueFd> passed;
    while (channel.readFrame(&header, &body, &passed, Protocol::kMaxBodySize) ==
           FrameChannel::ReadResult::Frame) {
        decodeRequest(header, body);
        decodeReply(body);
    }
    return 0;
}
