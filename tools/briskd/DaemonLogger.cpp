#include "tools/briskd/DaemonLogger.h"

#include <android/log.h>

#include <string>

namespace {
void writeLine(const struct __android_logger_data* data, const char* message) {
    if (message == nullptr) {
        __android_log_stderr_logger(data, message);
        return;
    }
    std::string text = message;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    __android_log_stderr_logger(data, text.c_str());
}
}  // namespace

void DaemonLogger::install(bool verbose) {
    __android_log_set_logger(writeLine);
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);
}
