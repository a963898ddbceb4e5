#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/protocol/Protocol.h"

// One request as the entry points take it. Which fields count depends on `type`:
//   Event:     cmdId, msg, values (the payload; its length is values.size())
//   SetConfig: clientId, tags, values (parallel)
//   GetConfig: tags
//   Dump:      args (the output descriptor travels beside the frame)
//   Version, Status, Commands: nothing
struct Request {
    RequestType type = RequestType::Version;
    int32_t cmdId = 0;
    std::string msg;
    int32_t clientId = 0;
    std::vector<int32_t> tags;
    std::vector<int32_t> values;
    std::vector<std::string> args;

    std::vector<uint8_t> encodeBody() const;
    // False, with `error` naming the limit, when the daemon would refuse this
    // request for its size: a body over Protocol::kMaxBodySize, a message or a
    // dump argument over kMaxTextSize, more than kMaxDumpArgs dump arguments.
    bool checkLimits(std::string* error) const;
    // Decodes the body of a request of a known type. On failure `error` says
    // what was wrong, in a few words, for the reply.
    static bool decodeBody(RequestType type, const std::vector<uint8_t>& body, Request* out,
                           std::string* error);
};
