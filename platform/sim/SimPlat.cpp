#include "platform/sim/SimPlat.h"

#include "platform/sim/SimBackend.h"
#include "platform/sim/SimDevice.h"

SimPlat::SimPlat() {
    mPerf = new SimBackend();
}

int SimPlat::initialize() {
    return SimDevice::instance().initialize();
}
