#include "tools/brisk-sim/TimelineRecorder.h"

#include <time.h>

#include "platform/sim/SimDevice.h"

namespace {
// The clock of SimCall::timeNs.
int64_t monotonicNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}
}  // namespace

void TimelineRecorder::stepBegins(int lineNumber, const std::string& line,
                                  const ScenarioCommand& command) {
    Timeline::Step step;
    step.lineNumber = lineNumber;
    step.line = line;
    step.kind = command.kind;
    if (command.kind == ScenarioCommand::Kind::Event) {
        step.cmdId = command.cmdId;
        step.commandName = mNames.nameOf(command.cmdId);
        step.hasPayload = !command.values.empty();
        step.payload = step.hasPayload ? command.values.front() : 0;
    }
    step.beginNs = monotonicNs();
    std::lock_guard<std::mutex> lock(mMutex);
    if (mTimeline.steps.size() >= kMaxSteps) {
        mTaking = false;
        mTimeline.truncated = true;
        return;
    }
    mTimeline.steps.push_back(step);
}

void TimelineRecorder::stepResult(int result) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mTaking && !mTimeline.steps.empty()) {
        mTimeline.steps.back().hasResult = true;
        mTimeline.steps.back().result = result;
    }
}

void TimelineRecorder::stepEnds() {
    const int64_t now = monotonicNs();
    std::lock_guard<std::mutex> lock(mMutex);
    if (mTaking && !mTimeline.steps.empty()) {
        mTimeline.steps.back().endNs = now;
    }
}

void TimelineRecorder::onCall(const SimCall& call) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mTaking || mTimeline.calls.size() >= kMaxCalls) {
        mTaking = false;
        mTimeline.truncated = true;
        return;
    }
    // A call before the first line (none is expected) belongs to it all the same.
    const size_t step = mTimeline.steps.empty() ? 0 : mTimeline.steps.size() - 1;
    mTimeline.calls.push_back({call, step});
}

Timeline TimelineRecorder::timeline() const {
    // The device is asked before the record is locked: calls reach onCall with
    // the device's lock held, so the two locks are never taken the other way.
    long long maxima[Vocabulary::kFreqDomainCount] = {};
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        maxima[i] = SimDevice::instance().value(Vocabulary::kFreqLimitPairs[i].hardwareMax);
    }
    std::lock_guard<std::mutex> lock(mMutex);
    Timeline copy = mTimeline;
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        copy.hardwareMax[i] = maxima[i];
    }
    return copy;
}
