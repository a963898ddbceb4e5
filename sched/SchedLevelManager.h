#pragma once

#include <pthread.h>
#include <utils/String8.h>

#include <map>
#include <vector>

#include "config/Action.h"
#include "platform/BriskPlat.h"
#include "sched/SchedTags.h"
#include "server/ServiceStatus.h"

// Keeps a level for every EAS scheduling group per source (the defaults, the
// clients DUSK, FERN and MOSS, and the scheduling events), combines them into one
// current level per group and hands the current levels to the platform back-end.
//
// Every map holds exactly the nine group tags 50..58 from construction on; later
// writes only replace values, so the unlocked dump never sees a map change shape.
//
// The code spans three files: SchedLevelManager.cpp (construction, the defaults,
// the combination and the dump), SchedLevelManagerEvents.cpp (scheduling events)
// and SchedLevelManagerClients.cpp (client requests).
class SchedLevelManager {
public:
    explicit SchedLevelManager(BriskPlat* plat);
    virtual ~SchedLevelManager();

    SchedLevelManager(const SchedLevelManager&) = delete;
    SchedLevelManager& operator=(const SchedLevelManager&) = delete;

    // A step without duration from the command table: command 5376 stores the
    // defaults, any other command sets MOSS event levels and pushes the result.
    // 0 on success or when nothing changed, -1 or the back-end's result on failure.
    int doEventSchedLevel(const Action* action);

    // A client's request (tag 40 alone, or up to eight tag-42 entries). 0 on
    // success, -1 when refused, the back-end's result when the platform fails.
    int doPerfSetSchedLevel(int clientId, int tagLen, const int* tags, const int* configs);

    // Appends the default, current, DUSK, FERN and MOSS levels. Takes no lock.
    void dumpEasGroupList(android::String8& out);
    // The same levels per group, for a status view; reads as the dump does.
    void readStatus(ServiceStatus* out);

    // Recomputes and pushes the current levels; on failure logs
    // "doSchedLevelAction failed!" once and rolls nothing back, which the event and
    // client paths do themselves before their second line. It takes no lock: the
    // caller holds mMutex.
    int updateCurrentSchedlevel();

    // Position of `level` on the ladder, or -1.
    int getIndex(int level);
    // Level carried by a packed level word when it lies within the ladder's
    // bounds, else -1 (so a carried level of -1 is indistinguishable: refuse it).
    int getSchedLevel(int word);
    // Group index (0..8) carried by a packed level word, else -1.
    int getSchedGroup(int word);

    // The building blocks of the requests above. The ones that touch the maps
    // expect the caller to hold mMutex (or to run before any other thread).
    void initSchedLevelMap(std::map<int, int>& m);
    void initSchedLevelVec();
    void initMossSchedLevelMap(std::map<int, int>& m);
    int initDefaultSchedLevel(int tagLen, const std::vector<int>& pairs, int* tagsOut,
                              int* levelsOut);

    bool updateSchedLevelMapIfNeeded(const Action* action);
    bool checkIfMossLevelChanged();
    void updateMossSchedValue(const Action* action, std::map<int, int>& m);
    void updateCurrentMapLocked(int* count, int* tags, int* levels);
    void updateSchedLevelByOneStep(std::map<int, int>& m, int step);
    std::map<int, int>* getSchedLevelMap(int clientId);
    int printEasGroupList(std::map<int, int>& m, android::String8& out);

private:
    BriskPlat* mPlat;
    std::map<int, int> mDefaultMap;
    std::map<int, int> mCurrentMap;
    std::map<int, int> mDuskMap;
    std::map<int, int> mFernMap;
    std::map<int, int> mMossMap;
    std::map<int, int> mMossBaseMap;
    std::map<int, int> mMossEventMap;
    int mSchedLevels[SCHED_LEVEL_CAPACITY];
    int mSchedLevelNum;
    bool mMossBaseSaved;
    bool mIsHmp;
    pthread_mutex_t mMutex;
};

// Allocates the process's manager; the caller owns it (null when out of memory).
SchedLevelManager* getSchedLevel(BriskPlat* plat);
