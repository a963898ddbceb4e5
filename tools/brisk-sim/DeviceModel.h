#pragma once

#include <set>
#include <string>

#include "config/Vocabulary.h"

// What the checker knows of the device a configuration is written for: the
// hardware maximum of each frequency domain (little cluster, big cluster, GPU),
// in the configuration's unit, and the platform items the device declares.
struct DeviceModel {
    // "the simulated device", or the file the model was read from.
    std::string source;
    // Per domain of Vocabulary::kFreqLimitPairs; 0: unknown, not checked.
    long long hardwareMax[Vocabulary::kFreqDomainCount] = {};
    // False: the device names no platform items, and any name may be one.
    bool itemsKnown = false;
    std::set<std::string> items;

    // The simulated device's presets; its platform items are not declared.
    static DeviceModel simulated();
    // "little cluster", "big cluster", "GPU".
    static const char* domainName(int domain);
    // The domain's word in a device file ("little", "big", "gpu"), and back (-1
    // for no domain's word).
    static const char* domainWord(int domain);
    static int domainForWord(const std::string& word);
    // True for the GPU domain, whose kernel unit is Hz where the configuration
    // takes kHz.
    static bool isGpu(int domain);
};
