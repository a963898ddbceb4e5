#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <mutex>

#include "server/BriskLog.h"

namespace {
std::mutex gMutex;
std::vector<LogLine> gLines;

void captureLogger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gMutex);
    gLines.push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

char priorityLetter(int priority) {
    static const char kLetters[] = "??VDIWEF";
    return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}
}  // namespace

LogCapture::LogCapture() {
    clear();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(captureLogger);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    clear();
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(gMutex);
    return gLines;
}

int LogCapture::count(int priority, const std::string& text) const {
    std::lock_guard<std::mutex> lock(gMutex);
    int n = 0;
    for (const LogLine& line : gLines) {
        if (line.tag == BRISK_LOG_TAG && line.priority == priority && line.text == text) {
            ++n;
        }
    }
    return n;
}

std::vector<std::string> LogCapture::texts() const {
    std::lock_guard<std::mutex> lock(gMutex);
    std::vector<std::string> out;
    for (const LogLine& line : gLines) {
        if (line.tag == BRISK_LOG_TAG) {
            out.push_back(std::string(1, priorityLetter(line.priority)) + " " + line.text);
        }
    }
    return out;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(gMutex);
    gLines.clear();
}
