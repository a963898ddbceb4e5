#pragma once

#include <cstdint>
#include <vector>

#include "tools/protocol/FrameHeader.h"
#include "tools/protocol/UniqueFd.h"

// Sends and receives whole frames on a connected Unix stream socket, with time
// limits, passing descriptors beside a frame (SCM_RIGHTS). The socket itself is
// not owned.
class FrameChannel {
public:
    enum class ReadResult {
        Frame,       // a whole frame arrived
        Closed,      // the peer closed between frames
        Stopped,     // the stop descriptor became readable between frames
        Truncated,   // the peer closed in the middle of a frame
        TimedOut,    // nothing arrived in time, or a frame did not complete in time
        BadMagic,    // the header is not a briskd header
        BadVersion,  // a briskd header of another protocol version
        TooLarge,    // the body is longer than the limit
        Error,       // a socket error
    };

    // `timeoutMs` bounds the wait for a frame to begin, the time a begun frame
    // may take to arrive whole, and the time a frame may take to be sent.
    FrameChannel(int socketFd, int timeoutMs) : mFd(socketFd), mTimeoutMs(timeoutMs) {}

    // Reads one frame. While no byte of it has arrived, a readable `stopFd` (if
    // not -1) ends the wait. Descriptors that arrive with the frame are added to
    // `fds` (at most Protocol::kMaxPassedFds; extra ones are closed at once).
    // `maxBodySize` is the largest body accepted.
    ReadResult readFrame(FrameHeader* header, std::vector<uint8_t>* body,
                         std::vector<UniqueFd>* fds, uint32_t maxBodySize, int stopFd = -1);

    // Sends one frame, with `passFd` (if not -1) attached to its first byte.
    // False when the peer is gone or the frame could not be sent in time.
    bool writeFrame(uint16_t type, const std::vector<uint8_t>& body, int passFd = -1);

    static const char* resultName(ReadResult result);

private:
    enum class Wait { Ready, Stopped, TimedOut, Error };
    Wait waitFor(short events, long long deadlineMs, int stopFd);
    // Reads exactly `size` bytes; `started` says whether a byte of the frame has
    // already arrived (then the stop descriptor no longer counts).
    ReadResult readExact(uint8_t* out, size_t size, bool started, long long* deadlineMs,
                         std::vector<UniqueFd>* fds, int stopFd);
    void takeFds(struct msghdr& message, std::vector<UniqueFd>* fds);

    int mFd;
    int mTimeoutMs;
};
