#pragma once

#include <pthread.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "config/Action.h"
#include "config/Vocabulary.h"
#include "server/ServiceStatus.h"

class BriskPlat;
class FreqClientManager;
class SchedLevelManager;
class ProbeHandler;

// The one object a host holds: wires the platform, the two managers, the parser
// and the probe handler in init(), then routes events, client requests and dumps.
// Its code spans four files by job: BriskServer.cpp (lifecycle, event dispatch,
// client entry points), BriskServerScenes.cpp (scene priorities and arbitration),
// BriskServerDump.cpp (the diagnostic dump) and BriskServerStatus.cpp (the status
// view).
class BriskServer {
public:
    // Entry-point results.
    static constexpr int kResultOk = Vocabulary::kResultOk;
    static constexpr int kResultNotInited = Vocabulary::kResultNotInited;
    static constexpr int kResultParseFailed = Vocabulary::kResultParseFailed;
    static constexpr int kResultExecutorFailed = Vocabulary::kResultExecutorFailed;
    static constexpr int kResultComponentMissing = Vocabulary::kResultComponentMissing;
    static constexpr int kResultInvalidParam = Vocabulary::kResultInvalidParam;

    BriskServer();
    virtual ~BriskServer();

    BriskServer(const BriskServer&) = delete;
    BriskServer& operator=(const BriskServer&) = delete;

    virtual int briskEvent(int cmdId, const char* msg, unsigned int len, const int* payload);
    virtual int briskSetConfig(int clientId, int tagLen, const int* tags, const int* configs);
    virtual int briskGetConfig(int tagLen, const int* tags, int* configs);

    int init();
    int briskGetVersion();
    void dumpBriskServerInfo(int fd, const std::vector<std::string>& args);

    // What the service holds now, for a host's status view: read-only, the
    // service's behaviour unchanged. Each part is read as its dump reads it, or
    // under its own lock, taken briefly and without calling the back-end.
    void readStatus(ServiceStatus* out);
    // Every configured command with its route, in id order (empty before init).
    std::vector<ServiceStatus::Command> listCommands();

    void deleteObject();
    Action* deleteActionPtr(Action* head);

    // Ends the probe worker, for a host that must before it deletes the server (the
    // service itself never does): asks it to exit, wakes it and waits for it. With
    // `releaseBoosts` the boosts it still holds are taken back first, as a probe
    // stop for each would; without, the platform is not called again.
    void stopProbeWorker(bool releaseBoosts);

    // Event routes.
    int doOnOffAction(const Action* action, unsigned int len, const int* payload);
    int doProbeEvent(const char* msg, unsigned int len, const int* payload);
    int doNotificationEvent(int cmdId, unsigned int len, const int* payload);
    bool isParamValid(unsigned int len, const int* payload);

    // Scene priorities. Every look-up of mPriorityMap inserts a missing id with 0.
    void initExistingPriority();
    void initPriorityMap();
    void setPriorityMap(int cmdId, Action* action);
    int getPriority(Action* action);
    int getInterPriority(Action* action);
    bool isPriorityValid(int cmdId);
    int getCmdIdWithMaxPrio(bool governorOnly);
    int getMaxGovPrioCmdIdInOnEvent(int cmdId);
    int getMaxGovPrioCmdIdInOffEvent();

    // Special scenes.
    int doSpecialSceneEvent(int cmdId, unsigned int len, const int* payload);
    int doSpecialAction(int cmdId, int payload);
    int doOnEvent(int cmdId, int newPriority, int curPriority);
    int doOffEvent(int cmdId, int* outCmdId, int* outPayload);

protected:
    BriskPlat* mPlatPtr;
    FreqClientManager* mFreqClientPtr;
    SchedLevelManager* mSchedLevelPtr;
    ProbeHandler* mProbeHandler;
    pthread_mutex_t mSceneMutex;
    // Written by the dump, read by the event paths without a lock: a late or
    // early verbose line is acceptable, a torn read is not.
    std::atomic<bool> mLogOn;
    bool mInited;
    int mCurSceneCmdId;
    std::map<int, int> mPriorityMap;
    std::set<int> mSceneSet;

private:
    // doParse through the platform's parser; -1 when there is none.
    int parseCommand(int cmdId, Action* out);
    // The scheduling-event and timed platform-action routes of briskEvent.
    int doSchedEvent(const Action& action);
    int doPlatformAction(const Action& action, unsigned int len, const int* payload);
    // Steps 1 to 6 of init (platform, managers, parser, initialize, default groups);
    // `defaultGroupsFailed` tells whether the last one failed.
    int wireParts(bool* defaultGroupsFailed);
    // With mSceneMutex held: false (and the refusal logged) for a scene without a
    // priority of 1..500.
    bool checkScenePriorityLocked(int cmdId);
    int doSceneBegin(int cmdId);
    int doSceneEnd(int cmdId);
    int doClientRestart();
};
