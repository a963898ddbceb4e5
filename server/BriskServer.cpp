#include "server/BriskServer.h"

#include <fcntl.h>
#include <utils/String8.h>

#include <cstdio>
#include <cstdlib>

#include "config/BriskParser.h"
#include "config/Vocabulary.h"
#include "freq/FreqClientManager.h"
#include "platform/BriskPlat.h"
#include "probe/ProbeHandler.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskLog.h"
#include "server/EventRouter.h"

using V = Vocabulary;

namespace {
constexpr size_t kMaxDumpArgLen = 512;
}  // namespace

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
    delete mPlatPtr;
    mPlatPtr = nullptr;
    delete mFreqClientPtr;
    mFreqClientPtr = nullptr;
    delete mSchedLevelPtr;
    mSchedLevelPtr = nullptr;
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
    if (head == nullptr) {
        return head;
    }
    while (head != nullptr) {
        Action* next = head->next;
        delete head;
        head = next;
    }
    return nullptr;
}

int BriskServer::init() {
    mPlatPtr = getPlat();
    if (mPlatPtr == nullptr) {
        BRISK_LOGE("get platform ptr failed!");
        return -1;
    }
    mFreqClientPtr = getFreqClient(mPlatPtr);
    if (mFreqClientPtr == nullptr) {
        BRISK_LOGE("get freqClient ptr failed!");
        deleteObject();
        return -1;
    }
    mSchedLevelPtr = getSchedLevel(mPlatPtr);
    if (mSchedLevelPtr == nullptr) {
        BRISK_LOGE("get schedLevel ptr failed!");
        deleteObject();
        return -1;
    }
    int r = mPlatPtr->createParser();
    if (r != 0) {
        BRISK_LOGE("createParser failed!");
        deleteObject();
        return r;
    }
    r = mPlatPtr->initialize();
    if (r != 0) {
        BRISK_LOGE("initialize failed!");
        deleteObject();
        return r;
    }
    // The default groups go through the virtual entry, so a subclass sees them too.
    mInited = true;
    r = briskEvent(V::kDefaultGroupCmdId, "", 0, nullptr);
    if (r != 0) {
        mInited = false;
        deleteObject();
        BRISK_LOGE("init default group sched level failed!");
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
        int tag = action->tagValues[2 * i];
        int value = action->tagValues[2 * i + 1];
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

// ---- scene priorities ----

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
        if (action->tagValues[2 * i] == V::kPriorityTag) {
            priority = action->tagValues[2 * i + 1];
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
        if (action->keyValues[2 * i] == V::kPriorityKey) {
            priority = atoi(action->keyValues[2 * i + 1].c_str());
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

// ---- special scenes ----
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
    pthread_mutex_lock(&mSceneMutex);
    int oldScene = mCurSceneCmdId;
    if (oldScene == 0) {
        pthread_mutex_unlock(&mSceneMutex);
        return 0;
    }
    BRISK_LOGI("client may rebooted, clean special scene set, cmdId is %d", V::kClientRestartCmdId);
    mSceneSet.clear();
    mCurSceneCmdId = 0;
    pthread_mutex_unlock(&mSceneMutex);
    return doSpecialAction(oldScene, V::kEnd);
}

bool BriskServer::lockSceneWithValidPriority(int cmdId) {
    pthread_mutex_lock(&mSceneMutex);
    if (isPriorityValid(cmdId)) {
        return true;
    }
    BRISK_LOGE("invalid special scene priority, cmdId is %d", cmdId);
    pthread_mutex_unlock(&mSceneMutex);
    return false;
}

int BriskServer::doSceneBegin(int cmdId) {
    if (!lockSceneWithValidPriority(cmdId)) {
        return kResultInvalidParam;
    }
    int newPriority = mPriorityMap[cmdId];
    int curPriority = mPriorityMap[mCurSceneCmdId];
    int oldScene = mCurSceneCmdId;
    int rc = doOnEvent(cmdId, newPriority, curPriority);
    if (rc == 1) {
        int governor = getMaxGovPrioCmdIdInOnEvent(cmdId);
        pthread_mutex_unlock(&mSceneMutex);
        return governor == 0 ? 0 : doSpecialAction(governor, V::kBegin);
    }
    pthread_mutex_unlock(&mSceneMutex);
    int r1 = 0;
    if (rc == 3) {
        r1 = doSpecialAction(oldScene, V::kEnd);
    }
    return doSpecialAction(cmdId, V::kBegin) | r1;
}

int BriskServer::doSceneEnd(int cmdId) {
    if (!lockSceneWithValidPriority(cmdId)) {
        return kResultInvalidParam;
    }
    int nextCmdId = 0;
    int nextPayload = 0;
    int rc = doOffEvent(cmdId, &nextCmdId, &nextPayload);
    if (rc == 2) {
        int governor = getMaxGovPrioCmdIdInOffEvent();
        pthread_mutex_unlock(&mSceneMutex);
        return governor == 0 ? 0 : doSpecialAction(governor, V::kBegin);
    }
    pthread_mutex_unlock(&mSceneMutex);
    if (rc == 3) {
        int r1 = doSpecialAction(cmdId, V::kEnd);
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

// ---- client configuration ----

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

// ---- dump ----

void BriskServer::dumpBriskServerInfo(int fd, const std::vector<std::string>& args) {
    if (fd < 0) {
        BRISK_LOGW("invalid dump FD, %d\n", fd);
        return;
    }
    if (args.empty()) {
        BRISK_LOGW("dump parameter is NULL!\n");
        return;
    }
    if (args.size() >= 2) {
        BRISK_LOGW("there is too many dump parameter!\n");
        return;
    }
    const std::string& option = args[0];
    if (option.size() > kMaxDumpArgLen) {
        BRISK_LOGW("debug parameter is too long!\n");
        return;
    }
    android::String8 text;
    if (option == "--help") {
        text.appendFormat("--help: print debug usage\n");
        text.appendFormat("--logon: open debug log\n");
        text.appendFormat("--logoff: close debug log\n");
        text.appendFormat("--freqlist: print set freq list\n");
        text.appendFormat("--easgrouplist: print set eas group list\n");
    } else if (option == "--logon") {
        mLogOn.store(true, std::memory_order_relaxed);
        text.appendFormat("brisk log is %s\n", "ON");
    } else if (option == "--logoff") {
        mLogOn.store(false, std::memory_order_relaxed);
        text.appendFormat("brisk log is %s\n", "OFF");
    } else if (option == "--freqlist") {
        if (mFreqClientPtr != nullptr) {
            mFreqClientPtr->dumpFreqList(text);
        }
    } else if (option == "--easgrouplist") {
        if (mSchedLevelPtr != nullptr) {
            mSchedLevelPtr->dumpEasGroupList(text);
        }
    } else {
        text.appendFormat("invalid parameter!\n");
    }
    // A descriptor that is not open gets nothing (glibc's dprintf would leak its
    // buffer on the failed write).
    if (fcntl(fd, F_GETFD) == -1) {
        BRISK_LOGW("invalid dump FD, %d\n", fd);
        return;
    }
    dprintf(fd, "%s\n", text.c_str());
}
