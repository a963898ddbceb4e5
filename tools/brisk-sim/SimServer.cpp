#include "tools/brisk-sim/SimServer.h"

#include <pthread.h>
#include <unistd.h>

#include "probe/ProbeHandler.h"
#include "probe/ProbeThread.h"

namespace {
constexpr useconds_t kStopPollUs = 1000;
// The loop sleeps at most the boost delay between passes; ten seconds is far
// beyond any pass, however loaded the machine.
constexpr int kStopPolls = 10000;
}  // namespace

SimServer::~SimServer() {
    stopProbeThread();
}

void SimServer::stopProbeThread() {
    if (mProbeHandler == nullptr || mProbeHandler->mProbeThread == nullptr) {
        return;
    }
    android::sp<ProbeHandler::ProbeThread> thread = mProbeHandler->mProbeThread;
    thread->requestExit();
    // The loop sleeps on mCond while its queues are empty; a signal that arrives
    // while it is still in a pass is lost, so keep signalling until it is gone.
    for (int i = 0; i < kStopPolls && thread->isRunning(); ++i) {
        pthread_mutex_lock(&thread->mLock);
        pthread_cond_signal(&thread->mCond);
        pthread_mutex_unlock(&thread->mLock);
        usleep(kStopPollUs);
    }
}
