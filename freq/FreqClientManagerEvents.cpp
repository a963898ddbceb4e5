// FreqClientManager, the event path: the floors and ceilings that running events
// hold, combined with the clients' ceilings (doPerfSetConfig holds the lock).
#include <climits>
#include <map>
#include <vector>

#include "config/Vocabulary.h"
#include "freq/FreqClientManager.h"
#include "platform/BriskPlat.h"
#include "server/BriskLog.h"

namespace {
// Start of the search for the lowest ceiling: no ceiling found yet.
constexpr int kNoCeiling = INT_MAX;
}  // namespace

int FreqClientManager::doPerfEventConfig(int cmdId, int tagLen, const int* tags, const int* values,
                                         int onOff) {
    if (!checkArrays(tagLen, tags, values)) {
        return -1;
    }
    std::map<int, int> request;
    std::map<int, int> result;
    std::vector<int> valuesToWrite(tagLen);
    for (int i = 0; i < tagLen; ++i) {
        int tag = tags[i];
        int value;
        if (Vocabulary::isFreqFloorTag(tag)) {
            value = getMaxFreqFromMap(cmdId, onOff, values[i], *mFreqMap[tag]);
        } else if (Vocabulary::isFreqCeilingTag(tag)) {
            value = getMinFreqFromMap(cmdId, onOff, tag, values[i], *mFreqMap[tag]);
        } else {
            BRISK_LOGE("invalid tag %d, cmdId is %d", tag, cmdId);
            return -1;
        }
        result[tag] = value;
        valuesToWrite[i] = value;
        request[tag] = values[i];
    }

    // An event going off is cleared even when the check below refuses the write.
    if (onOff == Vocabulary::kEnd) {
        saveDataToMap(cmdId, Vocabulary::kEnd, request);
    }

    // Unnamed tags count as 0 and so always pass.
    auto resultOf = [&result](int tag) {
        auto it = result.find(tag);
        return it == result.end() ? 0 : it->second;
    };
    for (const Vocabulary::FloorAndCeiling& pair : Vocabulary::kFreqLimitPairs) {
        if (!isFreqValValid(resultOf(pair.floor), resultOf(pair.ceiling))) {
            BRISK_LOGI(
                "freq is invalid(min > freq), cmdId is %d, (l_cpu(%d,%d), b_cpu(%d, %d), "
                "gpu(%d, %d))",
                cmdId, resultOf(BRISK_TAG_LITTLE_CPU_MIN), resultOf(BRISK_TAG_LITTLE_CPU_MAX),
                resultOf(BRISK_TAG_BIG_CPU_MIN), resultOf(BRISK_TAG_BIG_CPU_MAX),
                resultOf(BRISK_TAG_GPU_MIN), resultOf(BRISK_TAG_GPU_MAX));
            return -1;
        }
    }

    if (onOff == Vocabulary::kBegin) {
        saveDataToMap(cmdId, Vocabulary::kBegin, request);
    }

    PerfBackend* backend = perf();
    int status = backend == nullptr ? -1 : backend->setConfig(tagLen, tags, valuesToWrite.data());
    if (status != 0) {
        BRISK_LOGE("doPerfSetConfig failed!");
        return status;
    }
    return 0;
}

int FreqClientManager::getMaxFreqFromMap(int cmdId, int onOff, int value,
                                         std::map<int, int>& eventMap) {
    int highest = 0;
    for (const auto& entry : eventMap) {
        if (entry.first != cmdId && entry.second > highest) {
            highest = entry.second;
        }
    }
    return (onOff == Vocabulary::kBegin && value > highest) ? value : highest;
}

int FreqClientManager::getMinFreqFromMap(int cmdId, int onOff, int tag, int value,
                                         std::map<int, int>& eventMap) {
    int lowest = kNoCeiling;
    for (const auto& entry : eventMap) {
        if (entry.first != cmdId && entry.second >= 1 && entry.second < lowest) {
            lowest = entry.second;
        }
    }
    int clients = mMinConfigMap[tag];
    if (clients >= 1 && clients < lowest) {
        lowest = clients;
    }
    if (onOff != Vocabulary::kBegin) {
        return lowest == kNoCeiling ? 0 : lowest;
    }
    // Deliberately plain: an event asking for 0 (or less) while on gets it.
    return lowest > value ? value : lowest;
}

void FreqClientManager::saveDataToMap(int cmdId, int onOff, std::map<int, int>& request) {
    for (const auto& entry : request) {
        if (entry.second >= 1) {
            setMapFreq(cmdId, entry.first, onOff == Vocabulary::kBegin ? entry.second : 0);
        }
    }
}

void FreqClientManager::setMapFreq(int cmdId, int tag, int value) {
    auto it = mFreqMap.find(tag);
    if (it != mFreqMap.end()) {
        (*it->second)[cmdId] = value;
    }
}

bool FreqClientManager::isFreqValValid(int minFreq, int maxFreq) {
    return minFreq <= maxFreq || minFreq < 1 || maxFreq < 1;
}

int FreqClientManager::getSceneConfig(int tag) {
    if (!Vocabulary::isFreqCeilingTag(tag)) {
        return 0;
    }
    return getMinConfig(*mFreqMap[tag]);
}
