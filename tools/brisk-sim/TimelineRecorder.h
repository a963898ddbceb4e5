#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "config/Vocabulary.h"
#include "platform/sim/SimCall.h"
#include "tools/brisk-sim/CommandNames.h"
#include "tools/brisk-sim/ScenarioObserver.h"

// What a replay did, for its picture: every scenario line with its time and the
// result of its entry call, and every call that reached the device with the line
// it arrived during.
struct Timeline {
    struct Step {
        int lineNumber = 0;
        std::string line;
        ScenarioCommand::Kind kind = ScenarioCommand::Kind::Init;
        int64_t beginNs = 0;
        int64_t endNs = 0;
        bool hasResult = false;
        int result = 0;
        // event lines: the command, its name in the configuration, and the first
        // payload value (hasPayload false without one).
        int cmdId = 0;
        std::string commandName;
        bool hasPayload = false;
        int payload = 0;
    };
    struct Call {
        SimCall call;
        size_t step = 0;  // index into steps
    };
    std::vector<Step> steps;
    std::vector<Call> calls;
    // True when the scenario went on past what is kept (kMaxSteps, kMaxCalls).
    bool truncated = false;
    // Each frequency domain's hardware maximum as the device reported it at the end.
    long long hardwareMax[Vocabulary::kFreqDomainCount] = {};
};

// Records a Timeline while ScenarioRunner plays a scenario: told of the lines as
// the runner's observer, and of the device calls through TranscriptHooks, from
// whichever thread makes them.
class TimelineRecorder : public ScenarioObserver {
public:
    // `names` gives event lines the names of their commands.
    explicit TimelineRecorder(CommandNames names = {}) : mNames(std::move(names)) {}

    void stepBegins(int lineNumber, const std::string& line,
                    const ScenarioCommand& command) override;
    void stepResult(int result) override;
    void stepEnds() override;
    void onCall(const SimCall& call);

    // The record so far, with the device's hardware maxima read now.
    Timeline timeline() const;

    // A replay keeps at most this many lines and device calls for its picture; a
    // longer scenario is drawn up to there.
    static constexpr size_t kMaxSteps = 2000;
    static constexpr size_t kMaxCalls = 100000;

private:
    const CommandNames mNames;
    mutable std::mutex mMutex;
    Timeline mTimeline;
    bool mTaking = true;  // false once the record is full
};
