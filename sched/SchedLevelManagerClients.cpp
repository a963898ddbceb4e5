// SchedLevelManager, the clients' requests: whole-client ladder steps and resets,
// and single group levels.
#include "config/Vocabulary.h"
#include "sched/LevelSnapshot.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"
#include "server/RelaxedAccess.h"

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
    const LevelSnapshot clientCopy = LevelSnapshot::take(*clientMap);
    const LevelSnapshot currentCopy = LevelSnapshot::take(mCurrentMap);

    if (tagLen == 1 && tags[0] == BRISK_TAG_SET_SCHED_LEVEL) {
        switch (configs[0]) {
            case BRISK_SCHED_LEVEL_STEP_UP:
                updateSchedLevelByOneStep(*clientMap, 1);
                break;
            case BRISK_SCHED_LEVEL_STEP_DOWN:
                updateSchedLevelByOneStep(*clientMap, -1);
                break;
            case BRISK_SCHED_LEVEL_RESET:
                LevelSnapshot::take(mDefaultMap).restore(*clientMap);
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
                clientCopy.restore(*clientMap);
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
    int result = updateCurrentSchedlevel();
    if (result != 0) {
        clientCopy.restore(*clientMap);
        currentCopy.restore(mCurrentMap);
        // The failure's second line, deliberately (updateCurrentSchedlevel wrote
        // the first).
        BRISK_LOGD("doSchedLevelAction failed!");
    }
    return result;
}
