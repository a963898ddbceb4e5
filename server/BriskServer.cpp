#include "server/BriskServer.h"

#include "config/BriskParser.h"
#include "config/RecordChain.h"
#include "config/Vocabulary.h"
#include "freq/FreqClientManager.h"
#include "platform/BriskPlat.h"
#include "probe/ProbeHandler.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskLog.h"
#include "server/EventRouter.h"

using V = Vocabulary;

BriskServer::BriskServer()
    : mPlatPtr(nullptr),
      mFreqClientPtr(nullptr),
      mSchedLevelPtr(nullptr),
      mProbeHandler(nullptr),
      mLogOn(false),
      mInited(false),
      mCurSceneCmdId(0) {
    pthread_mutex_init(&mSceneMutex, nullptr);
    initExistingPriority();
}

BriskServer::~BriskServer() {
    // The probe worker outlives the handler and would otherwise go on using the
    // platform freed first below: it is detached before anything is deleted.
    if (mProbeHandler != nullptr) {
        mProbeHandler->detachWorker();
    }
    deleteObject();
    delete mProbeHandler;
    mProbeHandler = nullptr;
    mSceneSet.clear();
    mPriorityMap.clear();
    pthread_mutex_destroy(&mSceneMutex);
}

void BriskServer::deleteObject() {
    delete mPlatPtr;
    mPlatPtr = nullptr;
    delete mFreqClientPtr;
    mFreqClientPtr = nullptr;
    delete mSchedLevelPtr;
    mSchedLevelPtr = nullptr;
}

Action* BriskServer::deleteActionPtr(Action* head) {
    deleteRecordChain(head);
    return nullptr;
}

int BriskServer::init() {
    bool defaultGroupsFailed = false;
    int r = wireParts(&defaultGroupsFailed);
    if (r != 0) {
        // The one clean-up path of every step up to the default groups: the object
        // goes back to its constructed state.
        mInited = false;
        deleteObject();
        if (defaultGroupsFailed) {
            // Logged after the clean-up, deliberately.
            BRISK_LOGE("init default group sched level failed!");
        }
        return r;
    }
    // A missing probe command leaves the rest of the service running: only probe
    // events fail afterwards.
    Action* probeAction = new Action();
    if (parseCommand(V::kProbeCmdId, probeAction) != 0) {
        deleteActionPtr(probeAction);
        BRISK_LOGE("doParse probe event failed!");
        return kResultComponentMissing;
    }
    mProbeHandler = new ProbeHandler(mPlatPtr, probeAction);
    initPriorityMap();
    return 0;
}

int BriskServer::wireParts(bool* defaultGroupsFailed) {
    mPlatPtr = getPlat();
    if (mPlatPtr == nullptr) {
        BRISK_LOGE("get platform ptr failed!");
        return -1;
    }
    mFreqClientPtr = getFreqClient(mPlatPtr);
    if (mFreqClientPtr == nullptr) {
        BRISK_LOGE("get freqClient ptr failed!");
        return -1;
    }
    mSchedLevelPtr = getSchedLevel(mPlatPtr);
    if (mSchedLevelPtr == nullptr) {
        BRISK_LOGE("get schedLevel ptr failed!");
        return -1;
    }
    int r = mPlatPtr->createParser();
    if (r != 0) {
        BRISK_LOGE("createParser failed!");
        return r;
    }
    r = mPlatPtr->initialize();
    if (r != 0) {
        BRISK_LOGE("initialize failed!");
        return r;
    }
    // The default groups go through the virtual entry, so a subclass sees them too.
    mInited = true;
    r = briskEvent(V::kDefaultGroupCmdId, "", 0, nullptr);
    *defaultGroupsFailed = r != 0;
    return r;
}

void BriskServer::stopProbeWorker(bool releaseBoosts) {
    if (mProbeHandler != nullptr) {
        mProbeHandler->stopWorker(releaseBoosts);
    }
}

int BriskServer::parseCommand(int cmdId, Action* out) {
    if (mPlatPtr == nullptr || mPlatPtr->mParser == nullptr) {
        return -1;
    }
    return mPlatPtr->mParser->doParse(cmdId, out);
}

int BriskServer::briskEvent(int cmdId, const char* msg, unsigned int len, const int* payload) {
    if (!mInited) {
        return kResultNotInited;
    }
    if (mLogOn.load(std::memory_order_relaxed)) {
        BRISK_LOGI("briskEvent cmdId=%d", cmdId);
    }
    // The probe route needs neither the platform nor the configuration here.
    if (cmdId == V::kProbeCmdId) {
        return doProbeEvent(msg, len, payload);
    }
    if (mPlatPtr == nullptr) {
        BRISK_LOGE("init mPlatPtr failed!");
        return kResultComponentMissing;
    }
    // Lives for the call; its `next` chain belongs to the parser. Ids that read no
    // step keep the default duration.
    Action action;
    if (EventRouter::readsStep(cmdId)) {
        int r = parseCommand(cmdId, &action);
        if (r != 0) {
            BRISK_LOGE("briskEvent doParse failed! cmdId=%d, errno=%d", cmdId, r);
            return kResultParseFailed;
        }
    }
    switch (EventRouter::route(cmdId, action.duration)) {
        case EventRouter::Route::Probe:
            return doProbeEvent(msg, len, payload);
        case EventRouter::Route::Scene:
        case EventRouter::Route::GovernorScene:
        case EventRouter::Route::RestartNotice:
            return doSpecialSceneEvent(cmdId, len, payload);
        case EventRouter::Route::OnOff:
            return doOnOffAction(&action, len, payload);
        case EventRouter::Route::SchedEvent:
            return doSchedEvent(action);
        case EventRouter::Route::PlatformAction:
            return doPlatformAction(action, len, payload);
        case EventRouter::Route::ReportSwitch:
            return doNotificationEvent(cmdId, len, payload);
        case EventRouter::Route::Ignored:
            break;
    }
    return kResultOk;
}

int BriskServer::doSchedEvent(const Action& action) {
    if (mSchedLevelPtr == nullptr) {
        BRISK_LOGE("init mSchedLevelPtr failed!");
        return kResultComponentMissing;
    }
    if (mSchedLevelPtr->doEventSchedLevel(&action) != 0) {
        BRISK_LOGE("briskEvent doAction failed! cmdId=%d", action.cmdId);
        return kResultExecutorFailed;
    }
    return kResultOk;
}

int BriskServer::doPlatformAction(const Action& action, unsigned int len, const int* payload) {
    // The host's length and payload go to the back-end as they are: a back-end takes
    // a null payload for none, whatever the length.
    PerfBackend* perf = mPlatPtr->mPerf;
    if (perf == nullptr || perf->doAction(&action, len, payload) != 0) {
        BRISK_LOGE("briskEvent doAction failed! cmdId=%d", action.cmdId);
        return kResultExecutorFailed;
    }
    return kResultOk;
}

int BriskServer::doProbeEvent(const char* msg, unsigned int len, const int* payload) {
    if (mProbeHandler == nullptr) {
        BRISK_LOGE("init mProbeHandler failed!");
        return kResultComponentMissing;
    }
    int r = mProbeHandler->handle(msg, len, payload);
    if (r != 0) {
        BRISK_LOGE("briskEvent do probe handle failed!");
    }
    return r;
}

int BriskServer::doNotificationEvent(int cmdId, unsigned int len, const int* payload) {
    switch (EventRouter::route(cmdId, EventRouter::kNoStep)) {
        case EventRouter::Route::ReportSwitch: {
            if (len != 1 || payload == nullptr) {
                return kResultOk;
            }
            const int tags[1] = {BRISK_TAG_FREQ_INFO_UPLOAD};
            const int configs[1] = {payload[0]};
            return briskSetConfig(V::kReportSwitchClient, 1, tags, configs);
        }
        case EventRouter::Route::RestartNotice:
            return doSpecialSceneEvent(cmdId, len, payload);
        default:
            return kResultOk;
    }
}

bool BriskServer::isParamValid(unsigned int len, const int* payload) {
    return len == 1 && payload != nullptr && (payload[0] == V::kBegin || payload[0] == V::kEnd);
}

int BriskServer::doOnOffAction(const Action* action, unsigned int len, const int* payload) {
    if (action == nullptr) {
        BRISK_LOGE("doAction failed, action is NULL!");
        return kResultComponentMissing;
    }
    if (!isParamValid(len, payload)) {
        // The scene message is reused here on purpose.
        BRISK_LOGE("invalid special scene parameters, cmdId is %d", action->cmdId);
        return kResultInvalidParam;
    }
    PerfBackend* perf = mPlatPtr != nullptr ? mPlatPtr->mPerf : nullptr;
    if (action->duration >= 1) {
        return perf != nullptr ? perf->doAction(action, 1, payload) : -1;
    }
    int tags[V::kMaxOnOffPairs];
    int values[V::kMaxOnOffPairs];
    int count = 0;
    bool hasPlatformItems = false;
    const int pairs = action->tagPairCount();
    for (int i = 0; i < pairs; ++i) {
        int tag = action->pairTag(i);
        int value = action->pairValue(i);
        bool overflow = tag != V::kPlatformItemTag && count == V::kMaxOnOffPairs;
        if (value < 1 || overflow) {
            BRISK_LOGE("invalid parameters, cmdId is %d", action->cmdId);
            return kResultInvalidParam;
        }
        if (tag == V::kPlatformItemTag) {
            hasPlatformItems = true;
            continue;
        }
        tags[count] = tag;
        values[count] = value;
        ++count;
    }
    int r = 0;
    if (count > 0) {
        if (mFreqClientPtr == nullptr) {
            BRISK_LOGE("init mFreqClientPtr failed!");
            return kResultComponentMissing;
        }
        r = mFreqClientPtr->doPerfSetConfig(action->cmdId, count, tags, values, payload);
    }
    if (!hasPlatformItems) {
        return r;
    }
    if (perf == nullptr) {
        return -1;
    }
    return perf->doAction(action, 1, payload) | r;
}

int BriskServer::briskSetConfig(int clientId, int tagLen, const int* tags, const int* configs) {
    if (!mInited) {
        return kResultNotInited;
    }
    if (mFreqClientPtr == nullptr) {
        BRISK_LOGE("init mFreqClientPtr failed!");
        return kResultComponentMissing;
    }
    // The tag scan reads the tags, the per-pair log the values (except for client
    // 0, whose request the frequency manager checks itself).
    bool unreadable = tags == nullptr || (configs == nullptr && clientId != V::kReportSwitchClient);
    if (tagLen > 0 && unreadable) {
        BRISK_LOGE("invalid parameters, tagLen is %d but tags or configs is NULL", tagLen);
        return kResultInvalidParam;
    }
    bool schedRequest = false;
    for (int i = 0; i < tagLen; ++i) {
        if (clientId != V::kReportSwitchClient) {
            BRISK_LOGI("setConfig clientId=%d, tagLen=%d, tags[%d]=%d, configs[%d]=%d", clientId,
                       tagLen, i, tags[i], i, configs[i]);
        }
        schedRequest = schedRequest || tags[i] == BRISK_TAG_SET_SCHED_LEVEL ||
                       tags[i] == BRISK_TAG_SET_GROUP_SCHED_LEVEL;
    }
    if (schedRequest) {
        if (mSchedLevelPtr == nullptr) {
            BRISK_LOGE("init mSchedLevelPtr failed!");
            return kResultComponentMissing;
        }
        int r = mSchedLevelPtr->doPerfSetSchedLevel(clientId, tagLen, tags, configs);
        if (r != 0) {
            BRISK_LOGE("briskSetConfig doPerfSetSchedLevel failed! clientId=%d", clientId);
        }
        return r;
    }
    if (mFreqClientPtr->doPerfSetConfig(clientId, tagLen, tags, configs, nullptr) != 0) {
        BRISK_LOGE("briskSetConfig failed!");
        return kResultExecutorFailed;
    }
    return kResultOk;
}

int BriskServer::briskGetConfig(int tagLen, const int* tags, int* configs) {
    if (!mInited) {
        return kResultNotInited;
    }
    if (mLogOn.load(std::memory_order_relaxed)) {
        BRISK_LOGI("briskGetConfig tagLen=%d", tagLen);
    }
    if (mPlatPtr == nullptr) {
        BRISK_LOGE("init mPlatPtr failed!");
        return kResultComponentMissing;
    }
    if (tagLen < 0 || (tagLen > 0 && (tags == nullptr || configs == nullptr))) {
        BRISK_LOGE("invalid parameters, tagLen is %d but tags or configs is NULL", tagLen);
        return kResultInvalidParam;
    }
    PerfBackend* perf = mPlatPtr->mPerf;
    if (perf == nullptr || perf->getConfig(tagLen, tags, configs) != 0) {
        BRISK_LOGE("briskGetConfig doPerfGetConfig failed!");
        return kResultExecutorFailed;
    }
    return kResultOk;
}

int BriskServer::briskGetVersion() {
    return 1;
}
