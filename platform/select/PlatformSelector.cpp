#include "platform/select/PlatformSelector.h"

#include <mutex>

#include "platform/linux/BackendCheck.h"
#include "platform/linux/Journal.h"
#include "platform/linux/JournalRecovery.h"
#include "platform/linux/LinuxPlat.h"
#include "platform/linux/SystemFileOps.h"
#include "platform/linux/SystemThreadOps.h"
#include "platform/sim/LinuxLoadXml.h"
#include "platform/sim/SimDevice.h"
#include "platform/sim/SimPlat.h"

namespace {
std::mutex gMutex;
bool gLinux = false;
LinuxBackendSettings gSettings;
}  // namespace

void PlatformSelector::useSimulatedDevice() {
    std::lock_guard<std::mutex> lock(gMutex);
    gLinux = false;
    gSettings = LinuxBackendSettings();
}

void PlatformSelector::useLinuxBackend(const LinuxBackendSettings& settings) {
    std::lock_guard<std::mutex> lock(gMutex);
    gLinux = true;
    gSettings = settings;
}

bool PlatformSelector::usesLinuxBackend() {
    std::lock_guard<std::mutex> lock(gMutex);
    return gLinux;
}

BriskPlat* PlatformSelector::createPlat() {
    std::lock_guard<std::mutex> lock(gMutex);
    if (gLinux) {
        return new LinuxPlat(gSettings);
    }
    return new SimPlat();
}

// The platform library's entry points: the adapter of the chosen back-end, and the
// configuration conversion both back-ends share.

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

bool PlatformSelector::checkLinuxBackend(const LinuxBackendSettings& settings,
                                         std::vector<std::string>* report) {
    return BackendCheck(settings).run(report);
}

bool PlatformSelector::restoreLinuxBackend(const LinuxBackendSettings& settings,
                                           std::vector<std::string>* report) {
    std::shared_ptr<FileOps> ops =
        settings.fileOps != nullptr ? settings.fileOps : std::make_shared<SystemFileOps>();
    std::shared_ptr<ThreadOps> threads =
        settings.threadOps != nullptr ? settings.threadOps : std::make_shared<SystemThreadOps>();
    KernelReader reader(*ops, settings.kernelRoot);
    Journal journal(*ops, settings.stateDir);
    std::string error;
    if (journal.lock(&error) != 0) {
        report->push_back("error: " + error);
        return false;
    }
    int r = JournalRecovery(reader, journal, *threads, LinuxBackend::boostJournalPath(settings))
                .run(report);
    if (r == 0 && report->empty()) {
        report->push_back("nothing to put back: no journal in " + settings.stateDir);
    }
    return r == 0;
}
