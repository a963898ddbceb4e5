// SchedLevelManager, the scheduling events of the command table: the defaults
// and the MOSS event levels.
#include "config/Vocabulary.h"
#include "sched/LevelSnapshot.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"
#include "server/RelaxedAccess.h"

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
        if (!Vocabulary::isGroupTag(action->pairTag(i))) {
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
        const LevelSnapshot mossCopy = LevelSnapshot::take(mMossMap);
        const LevelSnapshot currentCopy = LevelSnapshot::take(mCurrentMap);
        const LevelSnapshot eventCopy = LevelSnapshot::take(mMossEventMap);
        result = updateSchedLevelMapIfNeeded(action) ? updateCurrentSchedlevel() : 0;
        if (result != 0) {
            // The saved MOSS base is kept on purpose: it belongs to the first
            // command-4114 event, whether or not the platform took it.
            mossCopy.restore(mMossMap);
            currentCopy.restore(mCurrentMap);
            eventCopy.restore(mMossEventMap);
            // The failure's second line, deliberately (updateCurrentSchedlevel wrote
            // the first).
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
            int tag = action->pairTag(i);
            auto event = mMossEventMap.find(tag);
            auto base = mMossBaseMap.find(tag);
            if (event != mMossEventMap.end() && base != mMossBaseMap.end() &&
                event->second == base->second) {
                event->second = action->pairValue(i);
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
        auto it = m.find(action->pairTag(i));
        if (it != m.end()) {
            it->second = action->pairValue(i);
        }
    }
}
