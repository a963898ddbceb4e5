// The Linux platform adapter: a BriskPlat over the simulated device.
#include "platform/BriskPlat.h"

#include "config/BriskParser.h"
#include "platform/sim/LinuxLoadXml.h"
#include "platform/sim/SimBackend.h"
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
    BriskPlat* plat = new BriskPlat();
    plat->mPerf = new SimBackend();
    return plat;
}

BriskLoadXml* createBriskLoadXml() {
    if (SimDevice::instance().takeLoaderCreationFault()) {
        return nullptr;
    }
    return new LinuxLoadXml();
}
