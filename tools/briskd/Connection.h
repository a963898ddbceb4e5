#pragma once

#include "tools/briskd/PeerCredentials.h"
#include "tools/briskd/RequestHandler.h"
#include "tools/protocol/FrameChannel.h"
#include "tools/protocol/UniqueFd.h"

// One client connection: reads requests one after another, hands them to the
// handler and writes the replies, until the client leaves, breaks the protocol,
// stays silent (or stops reading) past the timeout, or the daemon stops.
class Connection {
public:
    Connection(UniqueFd socket, const PeerCredentials& peer, RequestHandler& handler, int timeoutMs,
               int stopFd)
        : mSocket(std::move(socket)),
          mPeer(peer),
          mHandler(handler),
          mChannel(mSocket.get(), timeoutMs),
          mStopFd(stopFd) {}

    void serve();

    // Tells a client that the daemon cannot take its connection now; never blocks.
    static void refuseBusy(int socketFd, size_t limit);

private:
    // Serves one frame; false when the connection is to be closed.
    bool serveOne();
    bool stopped() const;
    bool reply(uint16_t requestType, const Reply& reply);

    UniqueFd mSocket;
    PeerCredentials mPeer;
    RequestHandler& mHandler;
    FrameChannel mChannel;
    int mStopFd;
};
