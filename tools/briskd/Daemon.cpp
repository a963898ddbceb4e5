#include "tools/briskd/Daemon.h"

#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/sim/CfgFileResolver.h"
#include "platform/sim/JankLogSink.h"
#include "server/BriskServer.h"
#include "tools/briskd/BackendSetup.h"
#include "tools/briskd/Connection.h"
#include "tools/briskd/DaemonLog.h"
#include "tools/briskd/DumpWatchdog.h"
#include "tools/briskd/RequestHandler.h"

namespace {
constexpr int kBacklog = 64;
// The configuration lookup of the platform hands paths in a buffer of this size.
constexpr size_t kMaxConfigPath = 127;
// After running out of descriptors, the accept loop pauses this long.
constexpr int kAcceptBackoffMs = 100;
}  // namespace

Daemon::Daemon(const DaemonOptions& options) : mOptions(options) {}

Daemon::~Daemon() {
    delete mServer;
}

bool Daemon::setUpProcess() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(mOptions.verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
    // Blocked before any thread starts (the service's probe thread included), so
    // that only the signal descriptor sees SIGTERM and SIGINT, and the watchdog
    // signal reaches only a thread that arms it.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, DumpWatchdog::signalNumber());
    signal(SIGPIPE, SIG_IGN);  // a client's dump pipe may close under a write
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0 || !DumpWatchdog::install()) {
        BRISKD_LOGE("cannot set up signal handling: %s", strerror(errno));
        return false;
    }
    sigdelset(&set, DumpWatchdog::signalNumber());
    mSignalFd.reset(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    mStopFd.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    ConnectionLimits limits;
    limits.total = static_cast<size_t>(mOptions.maxClients);
    limits.perUid = static_cast<size_t>(mOptions.maxPerUid);
    limits.reserved = static_cast<size_t>(mOptions.reserved);
    mPool = std::make_unique<ConnectionPool>(limits, mOptions.timeoutMs);
    mRates = std::make_unique<RateLimits>(static_cast<unsigned>(mOptions.connectionRate),
                                          static_cast<unsigned>(mOptions.uidRate));
    if (!mSignalFd.valid() || !mStopFd.valid() || !mPool->ok()) {
        BRISKD_LOGE("cannot create the daemon's descriptors: %s", strerror(errno));
        return false;
    }
    return true;
}

bool Daemon::setUpPolicy() {
    mPolicy.setOwner(geteuid());
    std::string error;
    for (const std::string& file : mOptions.policyFiles) {
        if (!mPolicy.loadFile(file, &error)) {
            BRISKD_LOGE("policy: %s", error.c_str());
            return false;
        }
    }
    for (const std::string& rule : mOptions.allowRules) {
        if (!mPolicy.addOption(rule, &error)) {
            BRISKD_LOGE("--allow %s: %s", rule.c_str(), error.c_str());
            return false;
        }
    }
    for (const std::string& line : mPolicy.describe()) {
        BRISKD_LOGI("may %s", line.c_str());
    }
    return true;
}

bool Daemon::setUpDevice() {
    if (!mRecorder.start(mOptions.recordPath)) {
        BRISKD_LOGE("cannot write the record file %s: %s", mOptions.recordPath.c_str(),
                    strerror(errno));
        return false;
    }
    if (!mOptions.jankLogPath.empty() && !JankLogSink::setFile(mOptions.jankLogPath)) {
        BRISKD_LOGE("cannot write the jank log %s: %s", mOptions.jankLogPath.c_str(),
                    strerror(errno));
        return false;
    }
    if (!mOptions.config.empty()) {
        char resolved[PATH_MAX];
        if (realpath(mOptions.config.c_str(), resolved) == nullptr || access(resolved, R_OK) != 0) {
            BRISKD_LOGE("cannot read the configuration %s: %s", mOptions.config.c_str(),
                        strerror(errno));
            return false;
        }
        if (strlen(resolved) > kMaxConfigPath) {
            BRISKD_LOGE("configuration path %s is longer than %zu bytes", resolved, kMaxConfigPath);
            return false;
        }
        CfgFileResolver::setFile(resolved);
    }
    return true;
}

bool Daemon::startServer() {
    BackendSetup::select(mOptions);
    mServer = new BriskServer();
    int result = mServer->init();
    if (result != 0) {
        BRISKD_LOGE("the service did not start: init returned %d", result);
        delete mServer;
        mServer = nullptr;
        return false;
    }
    mHandler = std::make_unique<RequestHandler>(*mServer, mPolicy, mOptions.timeoutMs);
    return true;
}

void Daemon::acceptPending() {
    for (;;) {
        UniqueFd client(accept4(mListen.fd(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!client.valid()) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                BRISKD_LOGW("accept: %s; pausing", strerror(errno));
                poll(nullptr, 0, kAcceptBackoffMs);
            }
            return;  // EAGAIN: nothing more waiting; other errors: the peer is gone
        }
        PeerCredentials peer;
        if (!PeerCredentials::read(client.get(), &peer)) {
            continue;
        }
        const bool privileged = mPolicy.isPrivileged(peer);
        ConnectionContext context{*mHandler, *mRates, mOptions.timeoutMs, mStopFd.get()};
        mPool->admit(std::make_shared<Connection>(std::move(client), peer, privileged, context),
                     privileged);
    }
}

void Daemon::serveUntilSignalled() {
    for (;;) {
        pollfd fds[3] = {
            {mSignalFd.get(), POLLIN, 0}, {mPool->wakeFd(), POLLIN, 0}, {mListen.fd(), POLLIN, 0}};
        // While connections wait for a place, the loop wakes when their time is up.
        int ready = poll(fds, 3, mPool->waitMs());
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            BRISKD_LOGE("poll: %s", strerror(errno));
            return;
        }
        if (fds[0].revents != 0) {
            signalfd_siginfo info{};
            if (read(mSignalFd.get(), &info, sizeof(info)) == sizeof(info)) {
                BRISKD_LOGI("%s received; shutting down", strsignal(info.ssi_signo));
                return;
            }
        }
        if (fds[1].revents != 0 || ready == 0) {
            mPool->reap();
        }
        if (fds[2].revents != 0) {
            acceptPending();
        }
    }
}

void Daemon::shutDown() {
    mListen.stopListening();
    uint64_t one = 1;
    (void)write(mStopFd.get(), &one, sizeof(one));
    mPool->joinAll();
    if (mServer != nullptr) {
        // Once the server is gone its probe worker no longer touches the platform:
        // a boost still held then would stay on the device.
        mServer->stopProbeWorker(true);
        mHandler.reset();
        delete mServer;
        mServer = nullptr;
    }
    mListen.remove();
    mRecorder.stop();
    JankLogSink::reset();
    BRISKD_LOGI("stopped");
}

int Daemon::run() {
    if (!setUpProcess() || !setUpPolicy()) {
        return kExitFailed;
    }
    // The socket first: a daemon refused because another one is live must not
    // touch the record, the jank log or the device.
    std::string error;
    if (!mListen.open(mOptions.socketPath, kBacklog, &error)) {
        BRISKD_LOGE("%s", error.c_str());
        return kExitFailed;
    }
    if (!setUpDevice() || !startServer()) {
        mListen.remove();
        mRecorder.stop();
        return kExitFailed;
    }
    BRISKD_LOGI("listening on %s (protocol %u, back-end %s, up to %d clients, timeout %d ms)",
                mOptions.socketPath.c_str(), Protocol::kVersion, mOptions.backend.c_str(),
                mOptions.maxClients, mOptions.timeoutMs);
    BRISKD_LOGI(
        "users other than root and the daemon's: up to %d connections each, %d in all; "
        "up to %d values a second on a connection, %d for a user (0: no limit)",
        mOptions.maxPerUid, mOptions.maxClients - mOptions.reserved, mOptions.connectionRate,
        mOptions.uidRate);
    serveUntilSignalled();
    shutDown();
    return kExitOk;
}
