#include "platform/sim/SimPlat.h"

#include "platform/sim/LinuxLoadXml.h"
#include "platform/sim/SimBackend.h"
#include "platform/sim/SimDevice.h"

SimPlat::SimPlat() {
    mPerf = new SimBackend();
}

int SimPlat::initialize() {
    return SimDevice::instance().initialize();
}

// The platform library's entry points, for the simulated device.

BriskPlat* getPlat() {
    if (SimDevice::instance().takePlatCreationFault()) {
        return nullptr;
    }
    return new SimPlat();
}

BriskLoadXml* createBriskLoadXml() {
    if (SimDevice::instance().takeLoaderCreationFault()) {
        return nullptr;
    }
    return new LinuxLoadXml();
}
