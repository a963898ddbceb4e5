#include "freq/FreqClientManager.h"

#include <utils/String8.h>

#include <new>
#include <vector>

#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"
#include "server/BriskLog.h"
#include "server/MutexGuard.h"
#include "server/RelaxedAccess.h"

namespace {
// The tags kept per client, in their fixed order, with their dump labels (all
// 22 characters wide).
struct LimitTag {
    int tag;
    const char* label;
};
const LimitTag kLimitTags[] = {
    {BRISK_TAG_LITTLE_CPU_MAX, "little cpu max,       "},
    {BRISK_TAG_BIG_CPU_MAX, "big cpu max,          "},
    {BRISK_TAG_GPU_MAX, "gpu max,              "},
    {BRISK_TAG_IPA_ON_TEMP, "ipa switch temp,      "},
    {BRISK_TAG_IPA_CONTROL_TEMP, "ipa control temp,     "},
    {BRISK_TAG_IPA_SUSTAINABLE_POWER, "ipa sustainable power,"},
    {BRISK_TAG_FORK_ON_BIG_CLUSTER, "fork on big cluster,  "},
};

// Bit of the reporting switch's value that turns reporting on.
constexpr int kUploadEnableBit = 0x10000;

}  // namespace

FreqClientManager* getFreqClient(BriskPlat* plat) {
    return new (std::nothrow) FreqClientManager(plat);
}

FreqClientManager::FreqClientManager(BriskPlat* plat)
    : mPlat(plat), mMaxFreqRead(false), mUploadEnabled(false) {
    pthread_mutex_init(&mMutex, nullptr);
    initConfigSet();
    initConfigMap(mDuskConfigMap);
    initConfigMap(mFernConfigMap);
    initConfigMap(mMossConfigMap);
    initConfigMap(mMinConfigMap);
    initFreqMap();
}

FreqClientManager::~FreqClientManager() {
    pthread_mutex_destroy(&mMutex);
}

void FreqClientManager::initConfigSet() {
    for (const LimitTag& limit : kLimitTags) {
        mConfigSet.insert(limit.tag);
    }
}

void FreqClientManager::initConfigMap(std::map<int, int>& m) {
    for (const LimitTag& limit : kLimitTags) {
        m[limit.tag] = -1;
    }
}

void FreqClientManager::initFreqMap() {
    mFreqMap[BRISK_TAG_LITTLE_CPU_MIN] = &mLittleMinFreqMap;
    mFreqMap[BRISK_TAG_LITTLE_CPU_MAX] = &mLittleMaxFreqMap;
    mFreqMap[BRISK_TAG_BIG_CPU_MIN] = &mBigMinFreqMap;
    mFreqMap[BRISK_TAG_BIG_CPU_MAX] = &mBigMaxFreqMap;
    mFreqMap[BRISK_TAG_GPU_MIN] = &mGpuMinFreqMap;
    mFreqMap[BRISK_TAG_GPU_MAX] = &mGpuMaxFreqMap;
}

bool FreqClientManager::checkArrays(int tagLen, const int* tags, const int* configs) {
    if (tagLen < 0) {
        BRISK_LOGE("invalid tagLen(%d)", tagLen);
        return false;
    }
    if (tagLen > 0 && (tags == nullptr || configs == nullptr)) {
        BRISK_LOGE("null tags or configs, tagLen is %d", tagLen);
        return false;
    }
    return true;
}

PerfBackend* FreqClientManager::perf() const {
    return mPlat == nullptr ? nullptr : mPlat->mPerf;
}

int FreqClientManager::doPerfSetConfig(int clientId, int tagLen, const int* tags,
                                       const int* configs, const int* onOff) {
    MutexGuard lock(&mMutex);
    if (clientId == FREQ_CLIENT_CONTROL) {
        // Only a one-entry request reads the arrays.
        if (tagLen == 1 && (tags == nullptr || configs == nullptr)) {
            BRISK_LOGE("null tags or configs, tagLen is %d", tagLen);
            return -1;
        }
        enableFreqInfoUpload(tagLen, tags, configs);
        return 0;
    }
    if (clientId > FREQ_CLIENT_MOSS) {
        if (onOff == nullptr) {
            return -1;
        }
        return doPerfEventConfig(clientId, tagLen, tags, configs, *onOff);
    }
    return doClientConfigLocked(clientId, tagLen, tags, configs);
}

int FreqClientManager::doClientConfigLocked(int clientId, int tagLen, const int* tags,
                                            const int* configs) {
    if (!checkArrays(tagLen, tags, configs)) {
        return -1;
    }
    std::vector<int> tagsToWrite;
    std::vector<int> valuesToWrite;
    tagsToWrite.reserve(tagLen);
    valuesToWrite.reserve(tagLen);
    for (int i = 0; i < tagLen; ++i) {
        if (configs[i] < 0) {
            BRISK_LOGE("invalid config value(%d)", configs[i]);
            return -1;
        }
        tagsToWrite.push_back(tags[i]);
        if (mConfigSet.count(tags[i]) == 0) {
            valuesToWrite.push_back(configs[i]);
            continue;
        }
        int combined = getNewConfig(clientId, tags[i], configs[i]);
        // Stored before the check below: a refused fork value leaves its -1 here.
        mMinConfigMap[tags[i]] = combined;
        int value = getConfigWithSceneEvent(combined, tags[i]);
        if (value == -1) {
            return -1;
        }
        valuesToWrite.push_back(value);
    }

    PerfBackend* backend = perf();
    int result = backend == nullptr
                     ? -1
                     : backend->setConfig(tagLen, tagsToWrite.data(), valuesToWrite.data());
    if (result != 0) {
        BRISK_LOGE("doPerfSetConfig failed!");
        return result;
    }
    cacheTags(clientId, tagLen, tags, configs);

    if (mUploadEnabled) {
        if (!mMaxFreqRead) {
            if (readMaxFreq() != 0) {
                // The request itself succeeded; the read is retried next time.
                return 0;
            }
            mMaxFreqRead = true;
        }
        mFreqInfoUpload.updateOriginFreqData(clientId, tagLen, tags, configs);
        mFreqInfoUpload.updateFinalFreqData(clientId, tagLen, tagsToWrite.data(),
                                            valuesToWrite.data());
    }
    return 0;
}

void FreqClientManager::enableFreqInfoUpload(int tagLen, const int* tags, const int* configs) {
    if (tagLen == 1 && tags != nullptr && configs != nullptr &&
        tags[0] == BRISK_TAG_FREQ_INFO_UPLOAD && (configs[0] & kUploadEnableBit) != 0 &&
        !mUploadEnabled) {
        mUploadEnabled = true;
    }
}

std::map<int, int>* FreqClientManager::clientConfigMap(int clientId) {
    switch (clientId) {
        case FREQ_CLIENT_DUSK:
            return &mDuskConfigMap;
        case FREQ_CLIENT_FERN:
            return &mFernConfigMap;
        case FREQ_CLIENT_MOSS:
            return &mMossConfigMap;
        default:
            BRISK_LOGE("invalid clientId is %d", clientId);
            return nullptr;
    }
}

int FreqClientManager::getMinTagConfigs(int clientId, int tag) {
    if (clientConfigMap(clientId) == nullptr) {
        return -1;
    }
    // The other two clients, in client order.
    int a = (clientId == FREQ_CLIENT_DUSK ? mFernConfigMap : mDuskConfigMap)[tag];
    int b = (clientId == FREQ_CLIENT_MOSS ? mFernConfigMap : mMossConfigMap)[tag];
    return tag == BRISK_TAG_FORK_ON_BIG_CLUSTER ? getTaskForkMinValue(a, b)
                                                : getValidMinValue(a, b);
}

int FreqClientManager::getValidMinValue(int a, int b) {
    if (a >= 1) {
        return (b >= 1 && b < a) ? b : a;
    }
    if (a == 0 && b <= 0) {
        return 0;
    }
    return b;
}

int FreqClientManager::getTaskForkMinValue(int a, int b) {
    if (a == 0) {
        return 0;
    }
    if (a < 0) {
        return b;
    }
    return b >= 0 ? b : a;
}

int FreqClientManager::getNewConfig(int clientId, int tag, int config) {
    if (tag == BRISK_TAG_FORK_ON_BIG_CLUSTER) {
        if (config == 0) {
            return 0;
        }
        if (config == 1) {
            int others = getMinTagConfigs(clientId, tag);
            return (others != -1 && others != 1) ? others : 1;
        }
        BRISK_LOGE("invalid config(%d), tag is %d", config, BRISK_TAG_FORK_ON_BIG_CLUSTER);
        return -1;
    }
    int others = getMinTagConfigs(clientId, tag);
    if (others >= 1 && (config == 0 || (config >= 1 && others < config))) {
        return others;
    }
    return config;
}

int FreqClientManager::getConfigWithSceneEvent(int config, int tag) {
    if (!Vocabulary::isFreqCeilingTag(tag)) {
        return config;
    }
    int eventCeiling = getSceneConfig(tag);
    if (eventCeiling == 0) {
        return config;
    }
    if (config == 0) {
        return eventCeiling;
    }
    if (config < 0 || eventCeiling >= config) {
        return config;
    }
    return eventCeiling;
}

void FreqClientManager::cacheTags(int clientId, int tagLen, const int* tags, const int* configs) {
    std::map<int, int>* m = clientConfigMap(clientId);
    if (m != nullptr) {
        updateConfigMap(tagLen, tags, configs, *m);
    }
}

void FreqClientManager::updateConfigMap(int tagLen, const int* tags, const int* configs,
                                        std::map<int, int>& m) {
    if (tags == nullptr || configs == nullptr) {
        return;
    }
    for (int i = 0; i < tagLen; ++i) {
        if (mConfigSet.count(tags[i]) != 0) {
            storeRelaxed(m[tags[i]], configs[i]);
        }
    }
}

int FreqClientManager::readMaxFreq() {
    const int tags[] = {BRISK_TAG_LITTLE_CPU_HW_MAX, BRISK_TAG_BIG_CPU_HW_MAX,
                        BRISK_TAG_GPU_HW_MAX};
    int out[] = {-1, -1, -1};
    PerfBackend* backend = perf();
    int result = backend == nullptr ? -1 : backend->getConfig(3, tags, out);
    if (result != 0) {
        BRISK_LOGE("getConfig failed!");
        return result;
    }
    mFreqInfoUpload.updateMaxFreqData(out[0], out[1], out[2]);
    return 0;
}

int FreqClientManager::getMinConfig(std::map<int, int>& m) {
    int lowest = 0;
    for (const auto& entry : m) {
        if (entry.second >= 1 && (lowest == 0 || entry.second < lowest)) {
            lowest = entry.second;
        }
    }
    return lowest;
}

void FreqClientManager::dumpFreqList(android::String8& out) {
    out.appendFormat("DUSK set freq is:\n");
    printFreqList(mDuskConfigMap, out);
    out.appendFormat("FERN set freq is:\n");
    printFreqList(mFernConfigMap, out);
    out.appendFormat("MOSS set freq is:\n");
    printFreqList(mMossConfigMap, out);
}

void FreqClientManager::printFreqList(std::map<int, int>& configMap, android::String8& out) {
    for (const LimitTag& limit : kLimitTags) {
        out.appendFormat("tag=%s value=%d\n", limit.label, loadRelaxed(configMap[limit.tag]));
    }
}

void FreqClientManager::readStatus(ServiceStatus* out) {
    MutexGuard lock(&mMutex);
    const std::pair<int, const std::map<int, int>*> clients[] = {
        {FREQ_CLIENT_DUSK, &mDuskConfigMap},
        {FREQ_CLIENT_FERN, &mFernConfigMap},
        {FREQ_CLIENT_MOSS, &mMossConfigMap},
    };
    for (const auto& client : clients) {
        ServiceStatus::ClientLimits limits{client.first, {}};
        for (const auto& entry : *client.second) {
            if (entry.second != -1) {
                limits.limits.push_back({entry.first, entry.second});
            }
        }
        out->clients.push_back(limits);
    }
    for (const auto& entry : mMinConfigMap) {
        if (entry.second != -1) {
            out->combined.push_back({entry.first, entry.second});
        }
    }
    for (const auto& tagMap : mFreqMap) {
        for (const auto& event : *tagMap.second) {
            // An event that went off keeps its entry with 0.
            if (event.second != 0) {
                out->eventLimits.push_back({event.first, tagMap.first, event.second});
            }
        }
    }
    out->reportingOn = mUploadEnabled;
}
