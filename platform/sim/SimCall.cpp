#include "platform/sim/SimCall.h"

#include <cstring>

namespace {
struct OpName {
    SimCall::Op op;
    const char* name;
};
const OpName kOpNames[] = {
    {SimCall::Op::Initialize, "initialize"},
    {SimCall::Op::DoAction, "doAction"},
    {SimCall::Op::SetConfig, "setConfig"},
    {SimCall::Op::GetConfig, "getConfig"},
    {SimCall::Op::DoSchedLevelAction, "doSchedLevelAction"},
    {SimCall::Op::SetProbeTarget, "setProbeTarget"},
};

std::string joinPairs(const std::vector<int>& a, const std::vector<int>& b, const char* sep) {
    std::string out;
    for (size_t i = 0; i < a.size(); ++i) {
        if (i != 0) {
            out += sep;
        }
        out += std::to_string(a[i]);
        out += ':';
        out += i < b.size() ? std::to_string(b[i]) : std::string("?");
    }
    return out;
}
}  // namespace

const char* SimCall::opName(Op op) {
    for (const OpName& entry : kOpNames) {
        if (entry.op == op) {
            return entry.name;
        }
    }
    return "?";
}

bool SimCall::opFromName(const std::string& name, Op* op) {
    for (const OpName& entry : kOpNames) {
        if (name == entry.name) {
            *op = entry.op;
            return true;
        }
    }
    return false;
}

std::string SimCall::toString() const {
    std::string out = opName(op);
    switch (op) {
        case Op::Initialize:
            break;
        case Op::DoAction: {
            out += " cmd=" + std::to_string(cmdId) + " duration=" + std::to_string(duration) +
                   " len=" + std::to_string(len) + " payload=";
            if (payloadNull) {
                out += "null";
            }
            for (size_t i = 0; i < payload.size(); ++i) {
                out += (i != 0 ? "," : "") + std::to_string(payload[i]);
            }
            std::vector<int> pairTags;
            std::vector<int> pairValues;
            for (size_t i = 0; i + 1 < pairs.size(); i += 2) {
                pairTags.push_back(pairs[i]);
                pairValues.push_back(pairs[i + 1]);
            }
            out += " pairs=" + joinPairs(pairTags, pairValues, ",") + " name=" + name;
            break;
        }
        case Op::SetConfig:
        case Op::DoSchedLevelAction:
            if (!tags.empty()) {
                out += " " + joinPairs(tags, values, " ");
            }
            break;
        case Op::GetConfig:
            for (int tag : tags) {
                out += " " + std::to_string(tag);
            }
            break;
        case Op::SetProbeTarget:
            out += " " + std::to_string(tid) + " " + std::to_string(mode);
            break;
    }
    return out;
}
