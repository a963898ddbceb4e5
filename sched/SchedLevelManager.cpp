#include "sched/SchedLevelManager.h"

#include <new>

#include "config/Vocabulary.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"
#include "server/RelaxedAccess.h"

namespace {

// Every dump label is 18 characters, blanks included, so the values line up.
template <size_t N>
constexpr const char* label18(const char (&text)[N]) {
    static_assert(N == 18 + 1, "every group label is 18 characters wide");
    return text;
}

constexpr const char* kHmpLabel = label18("hmp,              ");

struct GroupLabel {
    int tag;
    const char* label;
};

// The eight EAS groups in the order the dump prints them: key-background (57)
// comes before system-background (56), each label staying with its own tag.
const GroupLabel kEasPrintOrder[SCHED_MAX_GROUP_NUM] = {
    {BRISK_TAG_GROUP_BOOST, label18("boost,            ")},
    {BRISK_TAG_GROUP_VIP, label18("vip,              ")},
    {BRISK_TAG_GROUP_TOP_APP, label18("top-app,          ")},
    {BRISK_TAG_GROUP_ROOT, label18("root,             ")},
    {BRISK_TAG_GROUP_FOREGROUND, label18("foreground,       ")},
    {BRISK_TAG_GROUP_KEY_BACKGROUND, label18("key-background,   ")},
    {BRISK_TAG_GROUP_SYSTEM_BACKGROUND, label18("system-background,")},
    {BRISK_TAG_GROUP_BACKGROUND, label18("background,       ")},
};

constexpr int kGroupCount = BRISK_TAG_GROUP_LAST - BRISK_TAG_GROUP_FIRST + 1;

// The nine levels of one map in tag order: what a request saves before a change,
// so that a failed platform call can put them back. Every map holds exactly the
// group tags, so values are copied in place: the tree never changes shape under
// an unlocked dump, and saving costs no allocation.
struct LevelSnapshot {
    int levels[kGroupCount];
};

LevelSnapshot takeSnapshot(const std::map<int, int>& m) {
    LevelSnapshot snapshot{};
    int i = 0;
    for (auto it = m.begin(); it != m.end() && i < kGroupCount; ++it) {
        snapshot.levels[i++] = it->second;
    }
    return snapshot;
}

void restoreSnapshot(std::map<int, int>& m, const LevelSnapshot& snapshot) {
    int i = 0;
    for (auto it = m.begin(); it != m.end() && i < kGroupCount; ++it) {
        storeRelaxed(it->second, snapshot.levels[i++]);
    }
}

}  // namespace

SchedLevelManager* getSchedLevel(BriskPlat* plat) {
    return new (std::nothrow) SchedLevelManager(plat);
}

SchedLevelManager::SchedLevelManager(BriskPlat* plat)
    : mPlat(plat), mSchedLevels{}, mSchedLevelNum(0), mMossBaseSaved(false), mIsHmp(false) {
    pthread_mutex_init(&mMutex, nullptr);
    initSchedLevelMap(mDefaultMap);
    initSchedLevelMap(mCurrentMap);
    initSchedLevelMap(mDuskMap);
    initSchedLevelMap(mFernMap);
    initSchedLevelMap(mMossMap);
    initSchedLevelVec();
    initMossSchedLevelMap(mMossBaseMap);
    initMossSchedLevelMap(mMossEventMap);
}

SchedLevelManager::~SchedLevelManager() {
    pthread_mutex_destroy(&mMutex);
}

void SchedLevelManager::initSchedLevelMap(std::map<int, int>& m) {
    for (int tag = BRISK_TAG_GROUP_FIRST; tag <= BRISK_TAG_GROUP_LAST; ++tag) {
        m[tag] = 0;
    }
}

void SchedLevelManager::initSchedLevelVec() {
    static_assert(Vocabulary::kSchedLadderSize <= SCHED_LEVEL_CAPACITY, "the ladder fits");
    mSchedLevelNum = 0;
    for (int level : Vocabulary::kSchedLadder) {
        mSchedLevels[mSchedLevelNum++] = level;
    }
}

void SchedLevelManager::initMossSchedLevelMap(std::map<int, int>& m) {
    for (int tag = BRISK_TAG_GROUP_FIRST; tag <= BRISK_TAG_GROUP_LAST; ++tag) {
        m[tag] = SCHED_LEVEL_UNSET;
    }
}

int SchedLevelManager::initDefaultSchedLevel(int tagLen, const std::vector<int>& pairs,
                                             int* tagsOut, int* levelsOut) {
    if (tagLen > 0 && pairs.size() / 2 < static_cast<size_t>(tagLen)) {
        BRISK_LOGE("init default group failed! %d pairs announced, %zu values given", tagLen,
                   pairs.size());
        return -1;
    }
    if (tagLen == 1) {
        if (pairs[0] != BRISK_TAG_GROUP_HMP) {
            BRISK_LOGE("init default group failed! tagLen must be (eas:%d, hmp:1)",
                       SCHED_MAX_GROUP_NUM);
            return -1;
        }
        storeRelaxed(mIsHmp, true);
    } else if (tagLen == SCHED_MAX_GROUP_NUM) {
        for (int i = 0; i < tagLen; ++i) {
            int tag = pairs[2 * i];
            if (tag < BRISK_TAG_EAS_GROUP_FIRST || tag > BRISK_TAG_EAS_GROUP_LAST) {
                // Unsigned arithmetic: the group index of any int tag, without overflow.
                int group = static_cast<int>(static_cast<unsigned>(tag) -
                                             static_cast<unsigned>(BRISK_TAG_GROUP_HMP));
                BRISK_LOGE("invalid eas group, group tag is %d", group);
                return -1;
            }
        }
        storeRelaxed(mIsHmp, false);
    } else {
        BRISK_LOGE("init default group failed! tagLen must be (eas:%d, hmp:1)",
                   SCHED_MAX_GROUP_NUM);
        return -1;
    }

    // The defaults are not held against the ladder: whatever the command table
    // gives becomes the default and the ceiling of client steps.
    for (int i = 0; i < tagLen; ++i) {
        int tag = pairs[2 * i];
        int level = pairs[2 * i + 1];
        storeRelaxed(mDefaultMap[tag], level);
        storeRelaxed(mCurrentMap[tag], level);
        storeRelaxed(mDuskMap[tag], level);
        storeRelaxed(mFernMap[tag], level);
        storeRelaxed(mMossMap[tag], level);
        tagsOut[i] = tag;
        levelsOut[i] = level;
    }
    return 0;
}

int SchedLevelManager::doEventSchedLevel(const Action* action) {
    if (action == nullptr) {
        BRISK_LOGE("doEventSchedLevel failed, action is NULL!");
        return -1;
    }
    const int n = action->tagCount;
    const int cmdId = action->cmdId;
    int defaultTags[SCHED_MAX_GROUP_NUM];
    int defaultLevels[SCHED_MAX_GROUP_NUM];

    if (n < 1 || n > SCHED_MAX_GROUP_NUM) {
        BRISK_LOGD("cmdId(%d) (duration=0): group num is invalid, max group num is %d!", cmdId,
                   SCHED_MAX_GROUP_NUM);
        return -1;
    }
    if (action->tagPairCount() < n) {
        BRISK_LOGE("cmdId(%d) (duration=0): %d pairs announced, but the list holds %zu values!",
                   cmdId, n, action->tagValues.size());
        return -1;
    }
    for (int i = 0; i < n; ++i) {
        if (!Vocabulary::isGroupTag(action->tagValues[2 * i])) {
            BRISK_LOGD("cmdId(%d) (duration=0) does not support other tags except sched level!",
                       cmdId);
            return -1;
        }
    }

    MutexGuard lock(&mMutex);
    int result;
    if (cmdId == Vocabulary::kDefaultGroupCmdId) {
        // Only stored: the defaults reach the platform with the next computation.
        result = initDefaultSchedLevel(n, action->tagValues, defaultTags, defaultLevels);
    } else {
        const LevelSnapshot mossCopy = takeSnapshot(mMossMap);
        const LevelSnapshot currentCopy = takeSnapshot(mCurrentMap);
        const LevelSnapshot eventCopy = takeSnapshot(mMossEventMap);
        result = 0;
        if (updateSchedLevelMapIfNeeded(action)) {
            int count = 0;
            int tags[SCHED_MAX_GROUP_NUM];
            int levels[SCHED_MAX_GROUP_NUM];
            updateCurrentMapLocked(&count, tags, levels);
            result = callSchedLevelAction(count, tags, levels);
        }
        if (result != 0) {
            // The saved MOSS base is kept on purpose: it belongs to the first
            // command-4114 event, whether or not the platform took it.
            BRISK_LOGD("doSchedLevelAction failed!");
            restoreSnapshot(mMossMap, mossCopy);
            restoreSnapshot(mCurrentMap, currentCopy);
            restoreSnapshot(mMossEventMap, eventCopy);
            BRISK_LOGD("doSchedLevelAction failed!");
        }
    }
    return result;
}

bool SchedLevelManager::updateSchedLevelMapIfNeeded(const Action* action) {
    const int n = action->tagPairCount();
    if (action->cmdId == Vocabulary::kMossSchedCondCmdId) {
        // Only groups whose event level still sits at the saved base follow.
        for (int i = 0; i < n; ++i) {
            int tag = action->tagValues[2 * i];
            auto event = mMossEventMap.find(tag);
            auto base = mMossBaseMap.find(tag);
            if (event != mMossEventMap.end() && base != mMossBaseMap.end() &&
                event->second == base->second) {
                event->second = action->tagValues[2 * i + 1];
            }
        }
    } else {
        if (action->cmdId == Vocabulary::kMossSchedBaseCmdId && !mMossBaseSaved) {
            updateMossSchedValue(action, mMossBaseMap);
            mMossBaseSaved = true;
        }
        updateMossSchedValue(action, mMossEventMap);
    }
    return checkIfMossLevelChanged();
}

bool SchedLevelManager::checkIfMossLevelChanged() {
    bool changed = false;
    for (int tag = BRISK_TAG_GROUP_FIRST; tag <= BRISK_TAG_GROUP_LAST; ++tag) {
        int eventLevel = mMossEventMap[tag];
        if (mMossMap[tag] != eventLevel) {
            storeRelaxed(mMossMap[tag], eventLevel);
            changed = true;
        }
    }
    return changed;
}

void SchedLevelManager::updateMossSchedValue(const Action* action, std::map<int, int>& m) {
    if (action == nullptr) {
        return;
    }
    const int n = action->tagPairCount();
    for (int i = 0; i < n; ++i) {
        // Only the nine group tags exist in the maps; nothing else is added.
        auto it = m.find(action->tagValues[2 * i]);
        if (it != m.end()) {
            it->second = action->tagValues[2 * i + 1];
        }
    }
}

void SchedLevelManager::updateCurrentMapLocked(int* count, int* tags, int* levels) {
    const int first = mIsHmp ? BRISK_TAG_GROUP_HMP : BRISK_TAG_EAS_GROUP_FIRST;
    const int last = mIsHmp ? BRISK_TAG_GROUP_HMP : BRISK_TAG_EAS_GROUP_LAST;
    int written = 0;
    for (int tag = first; tag <= last; ++tag) {
        // DUSK and FERN only pull a group below its default, the lower one
        // winning; where neither does, the MOSS level applies as it stands.
        int defaultLevel = mDefaultMap[tag];
        int v = defaultLevel;
        if (mDuskMap[tag] < v) {
            v = mDuskMap[tag];
        }
        if (mFernMap[tag] < v) {
            v = mFernMap[tag];
        }
        if (v >= defaultLevel) {
            v = mMossMap[tag];
        }
        storeRelaxed(mCurrentMap[tag], v);
        tags[written] = tag;
        levels[written] = v;
        ++written;
    }
    *count = written;
}

int SchedLevelManager::updateCurrentSchedlevel() {
    int count = 0;
    int tags[SCHED_MAX_GROUP_NUM];
    int levels[SCHED_MAX_GROUP_NUM];
    updateCurrentMapLocked(&count, tags, levels);
    int result = callSchedLevelAction(count, tags, levels);
    if (result != 0) {
        BRISK_LOGD("doSchedLevelAction failed!");
    }
    return result;
}

void SchedLevelManager::updateSchedLevelByOneStep(std::map<int, int>& m, int step) {
    if (mSchedLevelNum < 1) {
        return;
    }
    for (int tag = BRISK_TAG_GROUP_FIRST; tag <= BRISK_TAG_GROUP_LAST; ++tag) {
        // A level off the ladder has index -1 and restarts at the bottom either way.
        int j = getIndex(m[tag]) + step;
        if (j < 0) {
            j = 0;
        }
        if (j >= mSchedLevelNum) {
            j = mSchedLevelNum - 1;
        }
        int defaultLevel = mDefaultMap[tag];
        storeRelaxed(m[tag], mSchedLevels[j] < defaultLevel ? mSchedLevels[j] : defaultLevel);
    }
}

int SchedLevelManager::getIndex(int level) {
    for (int i = 0; i < mSchedLevelNum; ++i) {
        if (mSchedLevels[i] == level) {
            return i;
        }
    }
    return -1;
}

int SchedLevelManager::getSchedLevel(int word) {
    if (mSchedLevelNum < 1) {
        return -1;
    }
    int level = static_cast<int>(static_cast<unsigned>(word) & 0xFFFFu) - SCHED_LEVEL_WORD_OFFSET;
    if (level >= mSchedLevels[0] && level <= mSchedLevels[mSchedLevelNum - 1]) {
        return level;
    }
    return -1;
}

int SchedLevelManager::getSchedGroup(int word) {
    unsigned group = static_cast<unsigned>(word) >> 16;
    return group <= SCHED_MAX_GROUP_INDEX ? static_cast<int>(group) : -1;
}

std::map<int, int>* SchedLevelManager::getSchedLevelMap(int clientId) {
    switch (clientId) {
        case FREQ_CLIENT_DUSK:
            return &mDuskMap;
        case FREQ_CLIENT_FERN:
            return &mFernMap;
        case FREQ_CLIENT_MOSS:
            return &mMossMap;
        default:
            BRISK_LOGE("invalid clientId is %d", clientId);
            return nullptr;
    }
}

int SchedLevelManager::doPerfSetSchedLevel(int clientId, int tagLen, const int* tags,
                                           const int* configs) {
    std::map<int, int>* clientMap = getSchedLevelMap(clientId);
    if (clientMap == nullptr) {
        return -1;
    }
    if (tagLen > 0 && (tags == nullptr || configs == nullptr)) {
        BRISK_LOGE("invalid sched level argument, tags or configs is NULL, clientId is %d",
                   clientId);
        return -1;
    }

    MutexGuard lock(&mMutex);
    const LevelSnapshot clientCopy = takeSnapshot(*clientMap);
    const LevelSnapshot currentCopy = takeSnapshot(mCurrentMap);

    if (tagLen == 1 && tags[0] == BRISK_TAG_SET_SCHED_LEVEL) {
        switch (configs[0]) {
            case BRISK_SCHED_LEVEL_STEP_UP:
                updateSchedLevelByOneStep(*clientMap, 1);
                break;
            case BRISK_SCHED_LEVEL_STEP_DOWN:
                updateSchedLevelByOneStep(*clientMap, -1);
                break;
            case BRISK_SCHED_LEVEL_RESET:
                restoreSnapshot(*clientMap, takeSnapshot(mDefaultMap));
                break;
            default:
                BRISK_LOGE("invalid sched Level config is %d, clientId(%d)", configs[0], clientId);
                return -1;
        }
    } else {
        if (tagLen < 1 || tagLen > SCHED_MAX_GROUP_NUM) {
            BRISK_LOGD("invalid sched level argument, clientId is %d", clientId);
            return -1;
        }
        for (int i = 0; i < tagLen; ++i) {
            if (tags[i] != BRISK_TAG_SET_GROUP_SCHED_LEVEL) {
                restoreSnapshot(*clientMap, clientCopy);
                BRISK_LOGD(
                    "do not use BRISK_TAG_SET_SCHED_LEVEL with other tags(%d), clientId is %d",
                    tags[i], clientId);
                return -1;
            }
            int word = configs[i];
            int level = getSchedLevel(word);
            int group = getSchedGroup(word);
            // -1 is both the decoders' failure result and a level that is refused.
            if (level == -1 || group == -1) {
                // Groups set by earlier entries of this request stay set on purpose.
                BRISK_LOGD("invalid sched Level(%d), clientId(%d)", word, clientId);
                return -1;
            }
            storeRelaxed((*clientMap)[BRISK_TAG_GROUP_HMP + group], level);
        }
    }

    // Pushed after every accepted request, also one that changed nothing.
    int count = 0;
    int tagArray[SCHED_MAX_GROUP_NUM];
    int levelArray[SCHED_MAX_GROUP_NUM];
    updateCurrentMapLocked(&count, tagArray, levelArray);
    int result = callSchedLevelAction(count, tagArray, levelArray);
    if (result != 0) {
        BRISK_LOGD("doSchedLevelAction failed!");
        restoreSnapshot(*clientMap, clientCopy);
        restoreSnapshot(mCurrentMap, currentCopy);
        BRISK_LOGD("doSchedLevelAction failed!");
    }
    return result;
}

int SchedLevelManager::callSchedLevelAction(int count, const int* tags, const int* levels) {
    // Fetched at each use: a missing platform or back-end is a failed call.
    if (mPlat == nullptr || mPlat->mPerf == nullptr) {
        return -1;
    }
    return mPlat->mPerf->doSchedLevelAction(count, tags, levels);
}

void SchedLevelManager::dumpEasGroupList(android::String8& out) {
    out.appendFormat("default eas group value is:\n");
    printEasGroupList(mDefaultMap, out);
    out.appendFormat("current eas group value is:\n");
    printEasGroupList(mCurrentMap, out);
    out.appendFormat("DUSK set eas group value is:\n");
    printEasGroupList(mDuskMap, out);
    out.appendFormat("FERN set eas group value is:\n");
    printEasGroupList(mFernMap, out);
    out.appendFormat("MOSS set eas group value is:\n");
    printEasGroupList(mMossMap, out);
}

int SchedLevelManager::printEasGroupList(std::map<int, int>& m, android::String8& out) {
    if (loadRelaxed(mIsHmp)) {
        return out.appendFormat("group=%s value=%d\n", kHmpLabel,
                                loadRelaxed(m[BRISK_TAG_GROUP_HMP]));
    }
    int result = 0;
    for (const GroupLabel& group : kEasPrintOrder) {
        result = out.appendFormat("group=%s value=%d\n", group.label, loadRelaxed(m[group.tag]));
    }
    return result;
}
