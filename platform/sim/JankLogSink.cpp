#include "platform/sim/JankLogSink.h"

#include <android/log.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

#include "platform/DeviceApi.h"

namespace {
const char kJankTag[] = "zqlog jank";

std::mutex gMutex;
FILE* gFile = nullptr;
JankLogSink::Callback gCallback;

void closeFileLocked() {
    if (gFile != nullptr) {
        fclose(gFile);
        gFile = nullptr;
    }
}
}  // namespace

bool JankLogSink::setFile(const std::string& path) {
    FILE* file = fopen(path.c_str(), "ae");
    std::lock_guard<std::mutex> lock(gMutex);
    if (file == nullptr) {
        return false;
    }
    closeFileLocked();
    gCallback = nullptr;
    gFile = file;
    return true;
}

void JankLogSink::setCallback(Callback callback) {
    std::lock_guard<std::mutex> lock(gMutex);
    closeFileLocked();
    gCallback = std::move(callback);
}

void JankLogSink::reset() {
    std::lock_guard<std::mutex> lock(gMutex);
    closeFileLocked();
    gCallback = nullptr;
}

void JankLogSink::write(int level, int eventId, const std::string& text) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (gCallback) {
        gCallback(level, eventId, text);
    } else if (gFile != nullptr) {
        fprintf(gFile, "%s\n", text.c_str());
        fflush(gFile);
    } else {
        __android_log_print(ANDROID_LOG_INFO, kJankTag, "%d %d %s", level, eventId, text.c_str());
    }
}

extern "C" int __zqlog_jank_print(int level, int eventId, const char* format, ...) {
    if (format == nullptr) {
        return -1;
    }
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int size = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (size < 0) {
        va_end(args);
        return -1;
    }
    std::vector<char> buffer(static_cast<size_t>(size) + 1);
    vsnprintf(buffer.data(), buffer.size(), format, args);
    va_end(args);
    JankLogSink::write(level, eventId, std::string(buffer.data(), static_cast<size_t>(size)));
    return 0;
}
