#pragma once

#include "tools/briskd/AccessPolicy.h"
#include "tools/briskd/PeerCredentials.h"
#include "tools/briskd/PolicyStore.h"
#include "tools/briskd/StatusDocument.h"
#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

class BriskServer;

// Serves one decoded request: checks the peer's right, calls the service's
// entry point with the request's numbers and texts, and builds the reply. Called
// from many connection threads at once.
class RequestHandler {
public:
    RequestHandler(BriskServer& server, const PolicyStore& policies, int dumpTimeoutMs,
                   DaemonFacts facts)
        : mServer(server),
          mPolicies(policies),
          mDumpTimeoutMs(dumpTimeoutMs),
          mFacts(std::move(facts)) {}

    // `dumpFd` is the descriptor passed with the request, or -1.
    Reply handle(const Request& request, const PeerCredentials& peer, int dumpFd);

private:
    bool permitted(const AccessPolicy& policy, const PeerCredentials& peer,
                   AccessPolicy::Right right, Reply* refusal) const;
    Reply event(const Request& request, const PeerCredentials& peer, const AccessPolicy& policy);
    // True when the probe event may reach the service; else false with the refusal.
    bool probeTargetAllowed(const Request& request, const PeerCredentials& peer,
                            const AccessPolicy& policy, Reply* refusal) const;
    Reply setConfig(const Request& request);
    Reply getConfig(const Request& request);
    Reply dump(const Request& request, int dumpFd);
    Reply status();
    Reply commands();

    BriskServer& mServer;
    const PolicyStore& mPolicies;
    int mDumpTimeoutMs;
    DaemonFacts mFacts;
};
