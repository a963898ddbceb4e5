#include "probe/ProbeHandler.h"

#include <safe_str_lib.h>

#include "config/Vocabulary.h"
#include "probe/ProbeThread.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"

ProbeHandler::ProbeHandler(BriskPlat* plat, Action* probeAction)
    : mProbeThread(nullptr), mBoostDelayMs(Vocabulary::kProbeDelayMs) {
    // Taking the first strong reference starts the worker (onFirstRef).
    mProbeThread = new ProbeThread(*this, plat, probeAction);
}

ProbeHandler::~ProbeHandler() {
    // The worker keeps running after us; it must not read this object again.
    detachWorker();
    mProbeThread.clear();
}

void ProbeHandler::detachWorker() {
    if (mProbeThread != nullptr) {
        mProbeThread->detachHandler();
    }
}

void ProbeHandler::stopWorker(bool releaseBoosts) {
    if (mProbeThread != nullptr) {
        mProbeThread->stop(releaseBoosts);
    }
}

int ProbeHandler::scanMessage(const char* msg, int* pid, int* tid) {
    // A missing message is refused like an empty one: the scanner's end of input.
    return msg == nullptr ? -1 : sscanf_s(msg, Vocabulary::kProbeMessageFormat, pid, tid);
}

int ProbeHandler::handle(const char* msg, unsigned int payloadNum, const int* payload) {
    int pid = 0;
    int tid = 0;
    const int scanned = scanMessage(msg, &pid, &tid);
    if (scanned != 2) {
        // Passed back unchanged: a message in which nothing matched yields 0, which
        // the caller takes for success. Kept on purpose.
        BRISK_LOGE("brisk: get msg info failed!");
        return scanned;
    }
    if (payloadNum != 1) {
        BRISK_LOGE("invalid payload, payloadNum=%d", static_cast<int>(payloadNum));
        return 2;
    }
    if (payload == nullptr) {
        BRISK_LOGE("payload is NULL");
        return 2;
    }
    if (mProbeThread == nullptr) {
        return 0;
    }

    const int state = payload[0];
    ProbeThread& worker = *mProbeThread;
    int result = 0;
    MutexGuard lock(&worker.mLock);
    if (state == Vocabulary::kEnd) {
        worker.moveItemToUnboostQueue(static_cast<unsigned int>(tid));
    } else if (state == Vocabulary::kBegin) {
        worker.addItemToQueue(static_cast<unsigned int>(pid), static_cast<unsigned int>(tid));
    } else {
        BRISK_LOGD("error case: state=%d, pid=%d, tid=%d\n", state, pid, tid);
        result = 2;
    }
    return result;
}
