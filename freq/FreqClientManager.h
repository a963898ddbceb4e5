#pragma once

#include <pthread.h>

#include <map>
#include <set>

#include "freq/FreqInfoUpload.h"
#include "freq/FreqTags.h"
#include "server/ServiceStatus.h"

class BriskPlat;
class PerfBackend;
namespace android {
class String8;
}

// Holds every frequency and thermal limit the service applies: the limits that
// the three clients (DUSK, FERN, MOSS) request and the floors and ceilings that
// running events request. It combines them, writes the result through the
// platform back-end and feeds the frequency-limit reporting.
//
// The code spans two files: FreqClientManager.cpp (construction, the entry, the
// client path and the dump) and FreqClientManagerEvents.cpp (the event path).
//
// Every request enters through doPerfSetConfig, which holds mMutex for the whole
// request (back-end calls and reporting included); the other request operations
// expect that lock to be held and take none. dumpFreqList reads without the lock.
class FreqClientManager {
public:
    explicit FreqClientManager(BriskPlat* plat);
    virtual ~FreqClientManager();

    FreqClientManager(const FreqClientManager&) = delete;
    FreqClientManager& operator=(const FreqClientManager&) = delete;

    // A client request (clientId 1 to 3, or a negative, unknown id), the reporting
    // switch (clientId 0) or an event request (clientId = the event's cmdId, 4 or
    // above, with its on/off flag in *onOff: 0 on, -1 off). Returns 0, -1 or the
    // back-end's failure.
    int doPerfSetConfig(int clientId, int tagLen, const int* tags, const int* configs,
                        const int* onOff);
    // Appends each client's last raw request per limit tag.
    void dumpFreqList(android::String8& out);
    // The clients' requests, their combination, the limits of the events now on
    // and the reporting switch, for a status view. Takes mMutex briefly (the
    // event maps grow under it) and calls nothing.
    void readStatus(ServiceStatus* out);

    void initConfigSet();
    void initConfigMap(std::map<int, int>& m);
    void initFreqMap();

    // Client path.
    void enableFreqInfoUpload(int tagLen, const int* tags, const int* configs);
    int getMinTagConfigs(int clientId, int tag);
    // Combine rules: the lower positive value wins (0 = no limit, -1 = not set) ...
    int getValidMinValue(int a, int b);
    // ... and, for the fork tag, an off (0) wins.
    int getTaskForkMinValue(int a, int b);
    int getNewConfig(int clientId, int tag, int config);
    int getConfigWithSceneEvent(int config, int tag);
    void cacheTags(int clientId, int tagLen, const int* tags, const int* configs);
    void updateConfigMap(int tagLen, const int* tags, const int* configs, std::map<int, int>& m);
    int readMaxFreq();
    int getMinConfig(std::map<int, int>& m);

    // Event path.
    int doPerfEventConfig(int cmdId, int tagLen, const int* tags, const int* values, int onOff);
    int getMaxFreqFromMap(int cmdId, int onOff, int value, std::map<int, int>& eventMap);
    int getMinFreqFromMap(int cmdId, int onOff, int tag, int value, std::map<int, int>& eventMap);
    void saveDataToMap(int cmdId, int onOff, std::map<int, int>& request);
    void setMapFreq(int cmdId, int tag, int value);
    bool isFreqValValid(int minFreq, int maxFreq);
    int getSceneConfig(int tag);

    void printFreqList(std::map<int, int>& configMap, android::String8& out);

private:
    // A request's arrays must hold tagLen readable entries; logs when they do not.
    static bool checkArrays(int tagLen, const int* tags, const int* configs);
    PerfBackend* perf() const;
    // The map of client 1, 2 or 3; null, with "invalid clientId is %d", for any
    // other id.
    std::map<int, int>* clientConfigMap(int clientId);
    // The client path of doPerfSetConfig, under the lock.
    int doClientConfigLocked(int clientId, int tagLen, const int* tags, const int* configs);

    BriskPlat* mPlat;
    std::set<int> mConfigSet;  // the limit tags 2, 5, 8, 17, 18, 19, 20
    std::map<int, int> mDuskConfigMap;
    std::map<int, int> mFernConfigMap;
    std::map<int, int> mMossConfigMap;
    std::map<int, int> mMinConfigMap;  // the clients' combined value last computed per tag
    // Per event cmdId, the value it asked for while on (0 once it went off).
    std::map<int, int> mLittleMinFreqMap;
    std::map<int, int> mLittleMaxFreqMap;
    std::map<int, int> mBigMinFreqMap;
    std::map<int, int> mBigMaxFreqMap;
    std::map<int, int> mGpuMinFreqMap;
    std::map<int, int> mGpuMaxFreqMap;
    std::map<int, std::map<int, int>*> mFreqMap;  // tag -> one of the six event maps
    pthread_mutex_t mMutex;
    FreqInfoUpload mFreqInfoUpload;
    bool mMaxFreqRead;
    bool mUploadEnabled;
};

// Returns a new manager over `plat` (not owned); the caller deletes it.
FreqClientManager* getFreqClient(BriskPlat* plat);
