#include "sched/SchedLevelManager.h"

#include <new>

#include "config/Vocabulary.h"
#include "server/BriskLog.h"
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
            int tag = pairs[2 * static_cast<size_t>(i)];
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
        int tag = pairs[2 * static_cast<size_t>(i)];
        int level = pairs[2 * static_cast<size_t>(i) + 1];
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
    // Fetched at each use: a missing platform or back-end is a failed call.
    PerfBackend* perf = mPlat == nullptr ? nullptr : mPlat->mPerf;
    int result = perf == nullptr ? -1 : perf->doSchedLevelAction(count, tags, levels);
    if (result != 0) {
        BRISK_LOGD("doSchedLevelAction failed!");
    }
    return result;
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

void SchedLevelManager::readStatus(ServiceStatus* out) {
    // Every map holds the nine group tags from construction on: finding one
    // never changes a map, and its value is read as the dump reads it.
    auto level = [](const std::map<int, int>& m, int tag) {
        auto it = m.find(tag);
        return it == m.end() ? -1 : loadRelaxed(it->second);
    };
    for (int tag = BRISK_TAG_GROUP_FIRST; tag <= BRISK_TAG_GROUP_LAST; ++tag) {
        out->groups.push_back({tag, level(mCurrentMap, tag), level(mDefaultMap, tag),
                               level(mDuskMap, tag), level(mFernMap, tag), level(mMossMap, tag)});
    }
}
