#include "server/EventRouter.h"

#include "config/Vocabulary.h"

bool EventRouter::readsStep(int cmdId) {
    // A signed test: negative ids are plain events too.
    return cmdId != Vocabulary::kProbeCmdId && cmdId < Vocabulary::kClientRestartCmdId;
}

EventRouter::Route EventRouter::route(int cmdId, int duration) {
    if (cmdId == Vocabulary::kProbeCmdId) {
        return Route::Probe;
    }
    if (cmdId == Vocabulary::kClientRestartCmdId) {
        return Route::RestartNotice;
    }
    if (cmdId == Vocabulary::kFreqReportSwitchCmdId) {
        return Route::ReportSwitch;
    }
    if (!readsStep(cmdId) || duration < 0) {
        return Route::Ignored;
    }
    if (Vocabulary::isGovernorCmdId(cmdId)) {
        return Route::GovernorScene;
    }
    if (Vocabulary::isSceneCmdId(cmdId)) {
        return Route::Scene;
    }
    if (Vocabulary::isOnOffCmdId(cmdId)) {
        return Route::OnOff;
    }
    return duration == 0 ? Route::SchedEvent : Route::PlatformAction;
}

const char* EventRouter::routeName(Route route) {
    switch (route) {
        case Route::Probe:
            return "probe";
        case Route::Scene:
            return "scene";
        case Route::GovernorScene:
            return "governor scene";
        case Route::OnOff:
            return "on/off";
        case Route::SchedEvent:
            return "scheduling event";
        case Route::PlatformAction:
            return "platform action";
        case Route::RestartNotice:
            return "restart notice";
        case Route::ReportSwitch:
            return "report switch";
        case Route::Ignored:
            return "ignored";
    }
    return "unknown";
}
