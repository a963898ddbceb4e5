#include "tools/brisk-sim/DeviceModel.h"

#include "platform/sim/SimDevice.h"

namespace {
// In the order of Vocabulary::kFreqLimitPairs.
struct DomainText {
    const char* name;
    const char* word;
};
const DomainText kDomains[Vocabulary::kFreqDomainCount] = {
    {"little cluster", "little"},
    {"big cluster", "big"},
    {"GPU", "gpu"},
};

bool isDomain(int domain) {
    return domain >= 0 && domain < Vocabulary::kFreqDomainCount;
}
}  // namespace

DeviceModel DeviceModel::simulated() {
    DeviceModel model;
    model.source = "the simulated device";
    SimDevice& device = SimDevice::instance();
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        model.hardwareMax[i] = device.value(Vocabulary::kFreqLimitPairs[i].hardwareMax);
    }
    return model;
}

const char* DeviceModel::domainName(int domain) {
    return isDomain(domain) ? kDomains[domain].name : "?";
}

const char* DeviceModel::domainWord(int domain) {
    return isDomain(domain) ? kDomains[domain].word : "?";
}

int DeviceModel::domainForWord(const std::string& word) {
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        if (word == kDomains[i].word) {
            return i;
        }
    }
    return -1;
}

bool DeviceModel::isGpu(int domain) {
    return isDomain(domain) && Vocabulary::kFreqLimitPairs[domain].floor == BRISK_TAG_GPU_MIN;
}
