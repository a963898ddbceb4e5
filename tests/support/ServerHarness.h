#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/sim/SimCall.h"
#include "server/BriskServer.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempConfig.h"

// A BriskServer that lets tests look at its bookkeeping.
class InspectableServer : public BriskServer {
public:
    using BriskServer::mCurSceneCmdId;
    using BriskServer::mFreqClientPtr;
    using BriskServer::mInited;
    using BriskServer::mPlatPtr;
    using BriskServer::mPriorityMap;
    using BriskServer::mProbeHandler;
    using BriskServer::mSceneSet;
    using BriskServer::mSchedLevelPtr;
};

// A configuration covering every route of the service: defaults for eight EAS
// groups, the probe command, ordinary and governor scenes, on/off actions, plain
// timed and scheduling events.
std::string fullTestConfig();

// The device record as lines ("doAction cmd=100 ..."), optionally of one operation.
std::vector<std::string> recordLines();
std::vector<std::string> recordLines(SimCall::Op op);

// Tag/value pairs as the two parallel arrays that the entry points take.
struct TagValues {
    explicit TagValues(const std::vector<std::pair<int, int>>& pairs);
    int size() const { return static_cast<int>(tags.size()); }
    std::vector<int> tags;
    std::vector<int> values;
};

// What dumpBriskServerInfo writes for `args`, read back through a pipe.
std::string dumpText(BriskServer& server, const std::vector<std::string>& args);
