// BriskServer, scene arbitration: the priorities of the scene commands and the
// special-scene state (which scenes are active, which one is applied).
#include "config/BriskParser.h"
#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"
#include "server/BriskLog.h"
#include "server/BriskServer.h"
#include "server/MutexGuard.h"

using V = Vocabulary;

void BriskServer::initExistingPriority() {
    mPriorityMap[4118] = 100;
    mPriorityMap[4119] = 200;
    mPriorityMap[4120] = 20;
    mPriorityMap[4121] = 70;
}

void BriskServer::initPriorityMap() {
    // 4352, though a scene id, is deliberately not loaded here.
    for (int cmdId = V::kSceneFirstCmdId; cmdId < V::kSceneLastCmdId; ++cmdId) {
        Action action;
        if (parseCommand(cmdId, &action) == 0) {
            setPriorityMap(cmdId, &action);
        }
    }
}

void BriskServer::setPriorityMap(int cmdId, Action* action) {
    if (action == nullptr || action->tagCount < 1) {
        return;
    }
    int priority = V::isGovernorCmdId(cmdId) ? getInterPriority(action) : getPriority(action);
    if (V::isUsablePriority(priority)) {
        mPriorityMap[cmdId] = priority;
    }
}

int BriskServer::getPriority(Action* action) {
    if (action == nullptr) {
        return 0;
    }
    int priority = 0;
    const int pairs = action->tagPairCount();
    for (int i = 0; i < pairs; ++i) {
        if (action->pairTag(i) == V::kPriorityTag) {
            priority = action->pairValue(i);
        }
    }
    return priority;
}

int BriskServer::getInterPriority(Action* action) {
    if (action == nullptr) {
        return 0;
    }
    int priority = 0;
    const int pairs = action->keyPairCount();
    for (int i = 0; i < pairs; ++i) {
        if (action->pairKey(i) == V::kPriorityKey) {
            priority = atoi(action->pairText(i).c_str());
        }
    }
    return priority;
}

bool BriskServer::isPriorityValid(int cmdId) {
    return V::isUsablePriority(mPriorityMap[cmdId]);
}

int BriskServer::getCmdIdWithMaxPrio(bool governorOnly) {
    int best = -1;
    int bestCmdId = 0;
    for (int cmdId : mSceneSet) {
        if (governorOnly && cmdId < V::kGovernorFirstCmdId) {
            continue;
        }
        int priority = mPriorityMap[cmdId];
        if (priority > best) {
            best = priority;
            bestCmdId = cmdId;
        }
    }
    return bestCmdId;
}

int BriskServer::getMaxGovPrioCmdIdInOnEvent(int cmdId) {
    if (!V::isGovernorCmdId(cmdId) || mCurSceneCmdId != V::kGovernorBaseCmdId) {
        return 0;
    }
    int best = getCmdIdWithMaxPrio(true);
    return mPriorityMap[cmdId] < mPriorityMap[best] ? best : cmdId;
}

int BriskServer::getMaxGovPrioCmdIdInOffEvent() {
    return mCurSceneCmdId == V::kGovernorBaseCmdId ? getCmdIdWithMaxPrio(true) : 0;
}

// Bookkeeping happens under mSceneMutex; every back-end call is made after it is
// released: first the old scene ends, then the new one begins.

int BriskServer::doSpecialSceneEvent(int cmdId, unsigned int len, const int* payload) {
    if (cmdId == V::kClientRestartCmdId) {
        return doClientRestart();
    }
    if (!isParamValid(len, payload)) {
        BRISK_LOGE("invalid special scene parameters, cmdId is %d", cmdId);
        return kResultInvalidParam;
    }
    return payload[0] == V::kBegin ? doSceneBegin(cmdId) : doSceneEnd(cmdId);
}

int BriskServer::doClientRestart() {
    MutexGuard lock(&mSceneMutex);
    const int oldScene = mCurSceneCmdId;
    if (oldScene == 0) {
        return 0;
    }
    BRISK_LOGI("client may rebooted, clean special scene set, cmdId is %d", V::kClientRestartCmdId);
    mSceneSet.clear();
    mCurSceneCmdId = 0;
    lock.unlock();
    return doSpecialAction(oldScene, V::kEnd);
}

bool BriskServer::checkScenePriorityLocked(int cmdId) {
    if (isPriorityValid(cmdId)) {
        return true;
    }
    BRISK_LOGE("invalid special scene priority, cmdId is %d", cmdId);
    return false;
}

int BriskServer::doSceneBegin(int cmdId) {
    MutexGuard lock(&mSceneMutex);
    if (!checkScenePriorityLocked(cmdId)) {
        return kResultInvalidParam;
    }
    const int newPriority = mPriorityMap[cmdId];
    const int curPriority = mPriorityMap[mCurSceneCmdId];
    const int oldScene = mCurSceneCmdId;
    const int rc = doOnEvent(cmdId, newPriority, curPriority);
    if (rc == 1) {
        const int governor = getMaxGovPrioCmdIdInOnEvent(cmdId);
        lock.unlock();
        return governor == 0 ? 0 : doSpecialAction(governor, V::kBegin);
    }
    lock.unlock();
    int r1 = 0;
    if (rc == 3) {
        r1 = doSpecialAction(oldScene, V::kEnd);
    }
    return doSpecialAction(cmdId, V::kBegin) | r1;
}

int BriskServer::doSceneEnd(int cmdId) {
    MutexGuard lock(&mSceneMutex);
    if (!checkScenePriorityLocked(cmdId)) {
        return kResultInvalidParam;
    }
    int nextCmdId = 0;
    int nextPayload = 0;
    const int rc = doOffEvent(cmdId, &nextCmdId, &nextPayload);
    if (rc == 2) {
        const int governor = getMaxGovPrioCmdIdInOffEvent();
        lock.unlock();
        return governor == 0 ? 0 : doSpecialAction(governor, V::kBegin);
    }
    lock.unlock();
    if (rc == 3) {
        const int r1 = doSpecialAction(cmdId, V::kEnd);
        return doSpecialAction(nextCmdId, nextPayload) | r1;
    }
    return doSpecialAction(cmdId, V::kEnd);
}

int BriskServer::doOnEvent(int cmdId, int newPriority, int curPriority) {
    mSceneSet.insert(cmdId);
    if (newPriority <= curPriority) {
        return 1;
    }
    int oldScene = mCurSceneCmdId;
    mCurSceneCmdId = cmdId;
    return oldScene != 0 ? 3 : 0;
}

int BriskServer::doOffEvent(int cmdId, int* outCmdId, int* outPayload) {
    mSceneSet.erase(cmdId);
    if (cmdId != mCurSceneCmdId) {
        return 2;
    }
    int next = getCmdIdWithMaxPrio(false);
    mCurSceneCmdId = next;
    if (next != 0) {
        *outCmdId = next;
        *outPayload = V::kBegin;
        return 3;
    }
    *outCmdId = cmdId;
    *outPayload = V::kEnd;
    return 0;
}

int BriskServer::doSpecialAction(int cmdId, int payload) {
    if (mLogOn.load(std::memory_order_relaxed)) {
        BRISK_LOGI("doSpecialAction cmdId is %d, payload is %d", cmdId, payload);
    }
    Action action;
    int r = parseCommand(cmdId, &action);
    if (r != 0) {
        BRISK_LOGE("briskEvent doParse failed! cmdId=%d, errno=%d", cmdId, r);
        return kResultParseFailed;
    }
    PerfBackend* perf = mPlatPtr != nullptr ? mPlatPtr->mPerf : nullptr;
    r = perf != nullptr ? perf->doAction(&action, 1, &payload) : -1;
    if (r != 0) {
        BRISK_LOGE("briskEvent doAction failed! cmdId=%d", cmdId);
    }
    return r;
}
