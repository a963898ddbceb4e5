#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/protocol/Protocol.h"

// One reply. Every reply body has the same fields: the status, a message (empty
// when the status is Ok), the entry point's result and the values read (only
// a get returns values; a version request returns the version as its result).
// A status or command-list reply adds a document (JSON text) after them.
struct Reply {
    Status status = Status::Ok;
    std::string message;
    int32_t result = 0;
    std::vector<int32_t> values;
    std::string document;

    static Reply ok(int32_t result) {
        Reply reply;
        reply.result = result;
        return reply;
    }
    static Reply error(Status status, const std::string& message) {
        Reply reply;
        reply.status = status;
        reply.message = message;
        return reply;
    }

    std::vector<uint8_t> encodeBody() const;
    static bool decodeBody(const std::vector<uint8_t>& body, Reply* out);
};
