// BriskServer, the status view: what the service holds, read without changing
// any of it, and the configured commands with their routes.
#include "config/BriskParser.h"
#include "freq/FreqClientManager.h"
#include "platform/BackendStatusSource.h"
#include "platform/BriskPlat.h"
#include "probe/ProbeThread.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskServer.h"
#include "server/MutexGuard.h"

void BriskServer::readStatus(ServiceStatus* out) {
    *out = ServiceStatus();
    out->inited = mInited;
    out->verboseLog = mLogOn.load(std::memory_order_relaxed);
    {
        MutexGuard lock(&mSceneMutex);
        out->appliedScene = mCurSceneCmdId;
        for (int cmdId : mSceneSet) {
            // find, not operator[]: the status view inserts nothing.
            auto it = mPriorityMap.find(cmdId);
            out->activeScenes.push_back({cmdId, it == mPriorityMap.end() ? 0 : it->second});
        }
    }
    if (mFreqClientPtr != nullptr) {
        mFreqClientPtr->readStatus(out);
    }
    if (mSchedLevelPtr != nullptr) {
        mSchedLevelPtr->readStatus(out);
    }
    if (mProbeHandler != nullptr && mProbeHandler->mProbeThread != nullptr) {
        mProbeHandler->mProbeThread->readStatus(out);
    }
    auto* source =
        mPlatPtr == nullptr ? nullptr : dynamic_cast<BackendStatusSource*>(mPlatPtr->mPerf);
    if (source != nullptr) {
        source->readStatus(&out->backend);
    }
}

std::vector<ServiceStatus::Command> BriskServer::listCommands() {
    std::vector<ServiceStatus::Command> commands;
    if (mPlatPtr == nullptr || mPlatPtr->mParser == nullptr) {
        return commands;
    }
    BriskParser& parser = *mPlatPtr->mParser;
    for (int cmdId : parser.commandIds()) {
        Action step;
        parser.doParse(cmdId, &step);
        // A command without steps leaves the default record: no name, duration -1.
        const int duration = step.duration < 0 ? EventRouter::kNoStep : step.duration;
        commands.push_back({cmdId, step.name, duration, EventRouter::route(cmdId, duration)});
    }
    return commands;
}
