#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One call that reached the simulated device, as recorded by SimDevice.
struct SimCall {
    enum class Op {
        Initialize,
        DoAction,
        SetConfig,
        GetConfig,
        DoSchedLevelAction,
        SetProbeTarget
    };

    Op op = Op::Initialize;
    int result = 0;
    int64_t timeNs = 0;  // CLOCK_MONOTONIC when the call arrived

    // doAction: the Action's fields and the payload (null when `payloadNull`).
    int cmdId = -1;
    std::string name;
    int duration = -1;
    std::vector<int> pairs;
    unsigned int len = 0;
    bool payloadNull = true;
    std::vector<int> payload;

    // setConfig, getConfig, doSchedLevelAction: tags and the values written (or read).
    std::vector<int> tags;
    std::vector<int> values;

    // setProbeTarget
    int tid = 0;
    int mode = 0;

    static const char* opName(Op op);
    // Parses an operation name ("doAction", ...); false when unknown.
    static bool opFromName(const std::string& name, Op* op);

    // The call as one line, e.g. "setConfig 2:1200000" or
    // "doAction cmd=12300 duration=0 len=1 payload=0 pairs=2:1200000 name=game".
    std::string toString() const;
};
