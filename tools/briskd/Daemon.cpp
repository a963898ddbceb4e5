#include "tools/briskd/Daemon.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "config/Vocabulary.h"
#include "platform/sim/JankLogSink.h"
#include "server/BriskServer.h"
#include "tools/briskd/BackendSetup.h"
#include "tools/briskd/ConfigCheck.h"
#include "tools/briskd/Connection.h"
#include "tools/briskd/DaemonLog.h"
#include "tools/briskd/DaemonLogger.h"
#include "tools/briskd/DumpWatchdog.h"
#include "tools/briskd/RequestHandler.h"
#include "tools/briskd/ServiceNotifier.h"

namespace {
constexpr int kBacklog = 64;
// After running out of descriptors, the accept loop pauses this long.
constexpr int kAcceptBackoffMs = 100;

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text.empty() ? "none" : text;
}

void logPolicy(const AccessPolicy& policy) {
    for (const std::string& line : policy.describe()) {
        BRISKD_LOGD("may %s", line.c_str());
    }
}
}  // namespace

Daemon::Daemon(const DaemonOptions& options) : mOptions(options) {}

Daemon::~Daemon() {
    delete mServer;
}

bool Daemon::setUpProcess() {
    DaemonLogger::install(mOptions.verbose);
    // Blocked before any thread starts (the service's probe thread included), so
    // that only the signal descriptor sees SIGTERM, SIGINT and SIGHUP, and the
    // watchdog signal reaches only a thread that arms it.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
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
    std::string error;
    std::shared_ptr<const AccessPolicy> policy =
        PolicyStore::build(ConfigCheck::policySources(mOptions), &error);
    if (policy == nullptr) {
        BRISKD_LOGE("policy: %s; briskd did not start ('briskd --check-config' checks it)",
                    error.c_str());
        return false;
    }
    logPolicy(*policy);
    mPolicies.set(policy);
    return true;
}

void Daemon::reloadPolicy() {
    ServiceNotifier::reloading();
    BRISKD_LOGI(
        "SIGHUP: re-reading the access policy (the configuration is read only at start-up: "
        "restart briskd to load a changed one)");
    std::string error;
    std::shared_ptr<const AccessPolicy> policy =
        PolicyStore::build(ConfigCheck::policySources(mOptions), &error);
    if (policy == nullptr) {
        BRISKD_LOGE("policy: %s; the policy in force stays", error.c_str());
    } else {
        logPolicy(*policy);
        mPolicies.set(policy);
        BRISKD_LOGI("policy re-read: files %s, %zu --allow rules",
                    joined(mOptions.policyFiles).c_str(), mOptions.allowRules.size());
    }
    ServiceNotifier::ready("serving on " + mOptions.socketPath);
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
    std::string error;
    if (!ConfigCheck::useConfiguration(mOptions, &error)) {
        BRISKD_LOGE("%s", error.c_str());
        return false;
    }
    mFacts.configuration = ConfigCheck::configurationPath(mOptions);
    if (mFacts.configuration.empty()) {
        BRISKD_LOGE(
            "no configuration found: %s under /etc/brisk/ or the install; give one with "
            "--config",
            Vocabulary::kConfigFileName);
        return false;
    }
    return true;
}

bool Daemon::startServer() {
    BackendSetup::select(mOptions);
    mServer = new BriskServer();
    int result = mServer->init();
    if (result != 0) {
        const char* meaning = Vocabulary::resultMeaning(result);
        BRISKD_LOGE("the service did not start: init returned %d (%s)", result,
                    meaning != nullptr ? meaning : "the back-end's own code");
        std::string backendCheck = mOptions.backend == "sim"
                                       ? std::string()
                                       : " and the back-end with 'briskd --backend " +
                                             mOptions.backend + " --check-backend'";
        BRISKD_LOGE("check the configuration with 'brisk-sim --check --config %s'%s",
                    mFacts.configuration.c_str(), backendCheck.c_str());
        delete mServer;
        mServer = nullptr;
        return false;
    }
    mFacts.pid = getpid();
    mFacts.version = BRISK_VERSION;
    mFacts.socket = mOptions.socketPath;
    mFacts.policyFiles = mOptions.policyFiles;
    mFacts.allowRules = mOptions.allowRules.size();
    mFacts.backend = mOptions.backend;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    mFacts.startedAt = now.tv_sec;
    mHandler = std::make_unique<RequestHandler>(*mServer, mPolicies, mOptions.timeoutMs, mFacts);
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
        const bool privileged = mPolicies.current()->isPrivileged(peer);
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
            if (read(mSignalFd.get(), &info, sizeof(info)) == sizeof(info) &&
                onSignal(static_cast<int>(info.ssi_signo))) {
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

bool Daemon::onSignal(int signo) {
    if (signo == SIGHUP) {
        reloadPolicy();
        return false;
    }
    BRISKD_LOGI("%s received; shutting down", strsignal(signo));
    return true;
}

void Daemon::shutDown() {
    ServiceNotifier::stopping();
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

void Daemon::logStart() const {
    BRISKD_LOGI("%s: configuration %s; policy %s (%zu --allow rules); back-end %s",
                DaemonOptions::versionLine().c_str(), mFacts.configuration.c_str(),
                joined(mOptions.policyFiles).c_str(), mOptions.allowRules.size(),
                mOptions.backend.c_str());
    BRISKD_LOGI("listening on %s (protocol %u, back-end %s, up to %d clients, timeout %d ms)",
                mOptions.socketPath.c_str(), Protocol::kVersion, mOptions.backend.c_str(),
                mOptions.maxClients, mOptions.timeoutMs);
    BRISKD_LOGI(
        "users other than root and the daemon's: up to %d connections each, %d in all; "
        "up to %d values a second on a connection, %d for a user (0: no limit)",
        mOptions.maxPerUid, mOptions.maxClients - mOptions.reserved, mOptions.connectionRate,
        mOptions.uidRate);
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
    logStart();
    ServiceNotifier::ready("serving on " + mOptions.socketPath);
    serveUntilSignalled();
    shutDown();
    return kExitOk;
}
