#include "tests/fuzz/FuzzHost.h"

#include <android/log.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>

#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"
#include "probe/ProbeHandler.h"
#include "probe/ProbeThread.h"
#include "server/MutexGuard.h"

namespace {
void dropLine(const struct __android_logger_data* /*data*/, const char* /*message*/) {}
}  // namespace

void FuzzHost::quietOutputs() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(dropLine);
    JankLogSink::setCallback([](int, int, const std::string&) {});
    SimDevice::instance().reset();
}

int FuzzHost::nullFd() {
    static const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd;
}

std::string FuzzHost::text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

void FuzzHost::writeFile(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(data, 1, size, file) != size || fclose(file) != 0) {
        abort();
    }
}

void FuzzHost::forgetProbes(ProbeHandler* handler) {
    if (handler == nullptr || handler->mProbeThread == nullptr) {
        return;
    }
    ProbeHandler::ProbeThread& worker = *handler->mProbeThread;
    MutexGuard lock(&worker.mLock);
    worker.mWaitQueue.clear();
    worker.mBoostedQueue.clear();
}
