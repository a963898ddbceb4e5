// The Linux platform adapter: a BriskPlat over the simulated device, or over the
// Linux back-end when a host chose it (PlatformSelector).
#include "platform/BriskPlat.h"

#include "config/BriskParser.h"
#include "platform/PlatformSelector.h"
#include "platform/sim/LinuxLoadXml.h"
#include "platform/sim/SimDevice.h"

BriskPlat::BriskPlat() : mParser(nullptr), mPerf(nullptr) {}

BriskPlat::~BriskPlat() {
    delete mParser;
    mParser = nullptr;
    delete mPerf;
    mPerf = nullptr;
}

int BriskPlat::initialize() {
    return SimDevice::instance().initialize();
}

BriskPlat* getPlat() {
    if (SimDevice::instance().takePlatCreationFault()) {
        return nullptr;
    }
    return PlatformSelector::createPlat();
}

BriskLoadXml* createBriskLoadXml() {
    if (SimDevice::instance().takeLoaderCreationFault()) {
        return nullptr;
    }
    return new LinuxLoadXml();
}
