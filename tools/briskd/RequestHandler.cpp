#include "tools/briskd/RequestHandler.h"

#include <android/log.h>

#include "config/Vocabulary.h"
#include "server/BriskServer.h"
#include "tools/briskd/DaemonLog.h"
#include "tools/briskd/DumpOutput.h"
#include "tools/briskd/ProbeTargetCheck.h"

bool RequestHandler::permitted(const AccessPolicy& policy, const PeerCredentials& peer,
                               AccessPolicy::Right right, Reply* refusal) const {
    if (policy.allows(peer, right)) {
        return true;
    }
    std::string message = std::string("permission denied: uid ") + std::to_string(peer.uid) +
                          " may not " + AccessPolicy::rightAction(right);
    BRISKD_LOGW("refused %s: may not %s", peer.describe().c_str(),
                AccessPolicy::rightAction(right));
    *refusal = Reply::error(Status::PermissionDenied, message);
    return false;
}

Reply RequestHandler::handle(const Request& request, const PeerCredentials& peer, int dumpFd) {
    // One policy decides the whole request, even when SIGHUP replaces it meanwhile.
    const std::shared_ptr<const AccessPolicy> policy = mPolicies.current();
    Reply refusal;
    switch (request.type) {
        case RequestType::Event:
            return permitted(*policy, peer, AccessPolicy::Right::Event, &refusal)
                       ? event(request, peer, *policy)
                       : refusal;
        case RequestType::SetConfig:
            return permitted(*policy, peer,
                             AccessPolicy::rightForSet(request.clientId, request.tags), &refusal)
                       ? setConfig(request)
                       : refusal;
        case RequestType::GetConfig:
            return permitted(*policy, peer, AccessPolicy::Right::Get, &refusal) ? getConfig(request)
                                                                                : refusal;
        case RequestType::Dump:
            return permitted(*policy, peer, AccessPolicy::Right::Dump, &refusal)
                       ? dump(request, dumpFd)
                       : refusal;
        case RequestType::Version:
            return Reply::ok(mServer.briskGetVersion());
        case RequestType::Status:
            return permitted(*policy, peer, AccessPolicy::Right::Get, &refusal) ? status()
                                                                                : refusal;
        case RequestType::Commands:
            return commands();
    }
    return Reply::error(Status::UnknownRequest, "unknown request");
}

bool RequestHandler::probeTargetAllowed(const Request& request, const PeerCredentials& peer,
                                        const AccessPolicy& policy, Reply* refusal) const {
    int tid = 0;
    bool anyThread = policy.allows(peer, AccessPolicy::Right::ProbeAny);
    switch (ProbeTargetCheck::check(request.msg, peer.pid, anyThread, &tid)) {
        case ProbeTargetCheck::Verdict::Pass:
            return true;
        case ProbeTargetCheck::Verdict::NoThread:
            *refusal = Reply::error(Status::BadRequest,
                                    "probe: thread id " + std::to_string(tid) + " names no thread");
            return false;
        case ProbeTargetCheck::Verdict::OtherProcess:
            break;
    }
    const char* action = AccessPolicy::rightAction(AccessPolicy::Right::ProbeAny);
    BRISKD_LOGW("refused %s: may not %s (thread %d)", peer.describe().c_str(), action, tid);
    *refusal = Reply::error(Status::PermissionDenied,
                            "permission denied: uid " + std::to_string(peer.uid) + " may not " +
                                action + ": thread " + std::to_string(tid) +
                                " is not a thread of pid " + std::to_string(peer.pid));
    return false;
}

Reply RequestHandler::event(const Request& request, const PeerCredentials& peer,
                            const AccessPolicy& policy) {
    if (request.cmdId == Vocabulary::kProbeCmdId) {
        Reply refusal;
        if (!probeTargetAllowed(request, peer, policy, &refusal)) {
            return refusal;
        }
    }
    // The payload is null when there are no values, and its length is always
    // the number of values sent: the service never reads past what arrived.
    const int* payload = request.values.empty() ? nullptr : request.values.data();
    return Reply::ok(mServer.briskEvent(request.cmdId, request.msg.c_str(),
                                        static_cast<unsigned int>(request.values.size()), payload));
}

Reply RequestHandler::setConfig(const Request& request) {
    int count = static_cast<int>(request.tags.size());
    return Reply::ok(mServer.briskSetConfig(request.clientId, count, request.tags.data(),
                                            request.values.data()));
}

Reply RequestHandler::getConfig(const Request& request) {
    Reply reply;
    reply.values.assign(request.tags.size(), -1);
    reply.result = mServer.briskGetConfig(static_cast<int>(request.tags.size()),
                                          request.tags.data(), reply.values.data());
    return reply;
}

Reply RequestHandler::dump(const Request& request, int dumpFd) {
    if (dumpFd < 0) {
        return Reply::error(Status::BadRequest, "dump: no output descriptor passed with it");
    }
    return DumpOutput::run(mServer, request.args, dumpFd, mDumpTimeoutMs);
}

Reply RequestHandler::status() {
    ServiceStatus service;
    mServer.readStatus(&service);
    Reply reply = Reply::ok(0);
    reply.document =
        StatusDocument::status(mFacts, mServer.briskGetVersion(), service, mServer.listCommands());
    return reply;
}

Reply RequestHandler::commands() {
    Reply reply = Reply::ok(0);
    reply.document = StatusDocument::commands(mServer.listCommands());
    return reply;
}
