#pragma once

#include "tools/briskd/AccessPolicy.h"
#include "tools/briskd/PeerCredentials.h"
#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

class BriskServer;

// Serves one decoded request: checks the peer's right, calls the service's
// entry point with the request's numbers and texts, and builds the reply. Called
// from many connection threads at once.
class RequestHandler {
public:
    RequestHandler(BriskServer& server, const AccessPolicy& policy, int dumpTimeoutMs)
        : mServer(server), mPolicy(policy), mDumpTimeoutMs(dumpTimeoutMs) {}

    // `dumpFd` is the descriptor passed with the request, or -1.
    Reply handle(const Request& request, const PeerCredentials& peer, int dumpFd);

private:
    bool permitted(const PeerCredentials& peer, AccessPolicy::Right right, Reply* refusal) const;
    Reply event(const Request& request, const PeerCredentials& peer);
    // True when the probe event may reach the service; else false with the refusal.
    bool probeTargetAllowed(const Request& request, const PeerCredentials& peer,
                            Reply* refusal) const;
    Reply setConfig(const Request& request);
    Reply getConfig(const Request& request);
    Reply dump(const Request& request, int dumpFd);

    BriskServer& mServer;
    const AccessPolicy& mPolicy;
    int mDumpTimeoutMs;
};
