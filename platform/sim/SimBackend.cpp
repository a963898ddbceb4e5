#include "platform/sim/SimBackend.h"

#include "platform/sim/SimDevice.h"

int SimBackend::doAction(const Action* action, unsigned int len, const int* payload) {
    return SimDevice::instance().doAction(action, len, payload);
}

int SimBackend::setConfig(int len, const int* tags, const int* values) {
    return SimDevice::instance().setConfig(len, tags, values);
}

int SimBackend::getConfig(int len, const int* tags, int* values) {
    return SimDevice::instance().getConfig(len, tags, values);
}

int SimBackend::doSchedLevelAction(int len, const int* tags, const int* levels) {
    return SimDevice::instance().doSchedLevelAction(len, tags, levels);
}

int SimBackend::setProbeTarget(int tid, int mode) {
    return SimDevice::instance().setProbeTarget(tid, mode);
}

void SimBackend::readStatus(BackendStatus* out) {
    SimDevice::instance().readStatus(out);
}
