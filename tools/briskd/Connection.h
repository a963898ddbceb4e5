#pragma once

#include <string>

#include "tools/briskd/PeerCredentials.h"
#include "tools/briskd/RateLimits.h"
#include "tools/briskd/RequestHandler.h"
#include "tools/briskd/TokenBucket.h"
#include "tools/protocol/FrameChannel.h"
#include "tools/protocol/UniqueFd.h"

// What all connections share.
struct ConnectionContext {
    RequestHandler& handler;
    RateLimits& rates;
    int timeoutMs;
    int stopFd;  // readable once the daemon stops
};

// One client connection: reads requests one after another, hands them to the
// handler and writes the replies, until the client leaves, breaks the protocol,
// stays silent (or stops reading) past the timeout, or the daemon stops. The
// requests of a peer that is not privileged (root or the daemon's user) are held
// to the rate limits.
class Connection {
public:
    Connection(UniqueFd socket, const PeerCredentials& peer, bool privileged,
               const ConnectionContext& context)
        : mSocket(std::move(socket)),
          mPeer(peer),
          mPrivileged(privileged),
          mContext(context),
          mChannel(mSocket.get(), context.timeoutMs),
          mBucket(context.rates.connectionBucket()) {}

    // Serves the connection to its end, then shuts the socket down: the client
    // sees the end at once, while the descriptor stays open until the
    // connection is destroyed.
    void serve();

    const PeerCredentials& peer() const { return mPeer; }
    int socketFd() const { return mSocket.get(); }

    // Tells the client that the daemon cannot take its connection now, before
    // any request is read; never blocks.
    void refuseBusy(const std::string& message);

private:
    // Serves one frame; false when the connection is to be closed.
    bool serveOne();
    bool stopped() const;
    bool reply(uint16_t requestType, const Reply& reply);

    UniqueFd mSocket;
    PeerCredentials mPeer;
    bool mPrivileged;
    ConnectionContext mContext;
    FrameChannel mChannel;
    TokenBucket mBucket;
};
