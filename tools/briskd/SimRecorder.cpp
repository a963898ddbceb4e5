#include "tools/briskd/SimRecorder.h"

#include "platform/sim/SimDevice.h"

SimRecorder::~SimRecorder() {
    stop();
}

bool SimRecorder::start(const std::string& path) {
    SimDevice& device = SimDevice::instance();
    device.setRecording(false);
    if (path.empty()) {
        return true;
    }
    mFile = fopen(path.c_str(), "we");
    if (mFile == nullptr) {
        return false;
    }
    FILE* file = mFile;
    // The device calls this with its lock held, one call at a time.
    device.setListener([file](const SimCall& call) {
        fprintf(file, "%s\n", call.toString().c_str());
        fflush(file);
    });
    return true;
}

void SimRecorder::stop() {
    if (mFile == nullptr) {
        return;
    }
    SimDevice::instance().setListener(nullptr);
    fclose(mFile);
    mFile = nullptr;
}
