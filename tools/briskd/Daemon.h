#pragma once

#include <memory>

#include "tools/briskd/ConnectionPool.h"
#include "tools/briskd/DaemonOptions.h"
#include "tools/briskd/ListenSocket.h"
#include "tools/briskd/PeerCredentials.h"
#include "tools/briskd/PolicyStore.h"
#include "tools/briskd/RateLimits.h"
#include "tools/briskd/SimRecorder.h"
#include "tools/briskd/StatusDocument.h"
#include "tools/protocol/UniqueFd.h"

class BriskServer;
class RequestHandler;

// The daemon: hosts one BriskServer, serves clients on the socket until SIGTERM
// or SIGINT, then shuts down in order: stop accepting, let the requests in
// flight finish, take back the probe boosts, delete the server (the back-end
// restores what it changed), remove the socket. SIGHUP re-reads the access
// policy.
class Daemon {
public:
    // Exit statuses of run().
    static constexpr int kExitOk = 0;
    static constexpr int kExitFailed = 1;
    static constexpr int kExitUsage = 2;

    explicit Daemon(const DaemonOptions& options);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    int run();

private:
    bool setUpProcess();
    bool setUpPolicy();
    bool setUpDevice();
    bool startServer();
    void logStart() const;
    // Serves until a stop signal; SIGHUP re-reads the policy on the way.
    void serveUntilSignalled();
    // True when the signal asks the daemon to stop.
    bool onSignal(int signo);
    void reloadPolicy();
    void acceptPending();
    void shutDown();

    DaemonOptions mOptions;
    PolicyStore mPolicies;
    DaemonFacts mFacts;
    SimRecorder mRecorder;
    ListenSocket mListen;
    UniqueFd mSignalFd;
    UniqueFd mStopFd;  // readable once the daemon stops: idle connections close
    BriskServer* mServer = nullptr;
    std::unique_ptr<RequestHandler> mHandler;
    std::unique_ptr<ConnectionPool> mPool;
    std::unique_ptr<RateLimits> mRates;
};
