#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/sim/SimCall.h"

// One scenario line, understood: what to call and with which arguments.
struct ScenarioCommand {
    enum class Kind { Device, Fail, Init, Event, Set, Get, Dump, Sleep, Version };

    Kind kind = Kind::Init;

    // device, set: (tag, value) pairs in the order written.
    std::vector<std::pair<int, int>> pairs;
    // set: the client id.
    int clientId = 0;
    // get: the tags to read.
    std::vector<int> tags;

    // fail: the next `failCount` calls of `failOp` return `failCode`.
    SimCall::Op failOp = SimCall::Op::Initialize;
    int failCode = 0;
    int failCount = 1;

    // event: briskEvent(cmdId, msg, len, values or null). A payload shorter than
    // `len` is padded with zeros, so that a back-end reading `len` values stays
    // inside it; the parser refuses a `len` above this many with values given.
    static constexpr unsigned int kMaxPaddedPayload = 1024;
    int cmdId = 0;
    std::string msg;
    unsigned int len = 0;
    std::vector<int> values;

    // dump: the arguments, and whether the descriptor is -1 instead of a pipe.
    bool dumpToInvalidFd = false;
    std::vector<std::string> dumpArgs;

    // sleep: milliseconds of real time.
    int sleepMs = 0;
};
