#include "tools/brisk-sim/TranscriptHooks.h"

#include <android/log.h>

#include <atomic>
#include <cstring>
#include <string>

#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"
#include "server/BriskLog.h"

namespace {
std::atomic<TranscriptWriter*> gWriter{nullptr};

bool isServiceTag(const struct __android_logger_data* data) {
    return data != nullptr && data->tag != nullptr && strcmp(data->tag, BRISK_LOG_TAG) == 0;
}

void transcriptLogger(const struct __android_logger_data* data, const char* message) {
    TranscriptWriter* writer = gWriter.load();
    if (writer == nullptr || !isServiceTag(data)) {
        __android_log_stderr_logger(data, message);
        return;
    }
    writer->line(TranscriptHooks::logLine(data->priority, message));
}

void silentLogger(const struct __android_logger_data* data, const char* message) {
    if (!isServiceTag(data)) {
        __android_log_stderr_logger(data, message);
    }
}
}  // namespace

std::string TranscriptHooks::logLine(int priority, const char* message) {
    static const char kLetters[] = "??VDIWEF";
    char letter = priority >= 0 && priority < 8 ? kLetters[priority] : '?';
    std::string text = message != nullptr ? message : "";
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return std::string("log ") + letter + " " + text;
}

TranscriptHooks::TranscriptHooks(TranscriptWriter& writer,
                                 const std::function<void(const SimCall&)>& alsoCalls) {
    gWriter.store(&writer);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(transcriptLogger);
    SimDevice& device = SimDevice::instance();
    // The listener alone is enough; the device's own record would only grow.
    device.setRecording(false);
    device.setListener([&writer, alsoCalls](const SimCall& call) {
        writer.line("plat " + call.toString());
        if (alsoCalls) {
            alsoCalls(call);
        }
    });
    JankLogSink::setCallback([&writer](int level, int eventId, const std::string& text) {
        writer.line("jank " + std::to_string(level) + " " + std::to_string(eventId) + " " + text);
    });
}

TranscriptHooks::~TranscriptHooks() {
    JankLogSink::reset();
    SimDevice::instance().setListener(nullptr);
    __android_log_set_logger(__android_log_stderr_logger);
    gWriter.store(nullptr);
}

void TranscriptHooks::silenceServiceLog() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(silentLogger);
}
