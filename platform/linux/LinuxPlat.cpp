#include "platform/linux/LinuxPlat.h"

LinuxPlat::LinuxPlat(const LinuxBackendSettings& settings) : mBackend(new LinuxBackend(settings)) {
    mPerf = mBackend;
}

int LinuxPlat::initialize() {
    return mBackend->initialize();
}
