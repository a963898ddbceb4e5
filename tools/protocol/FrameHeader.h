#pragma once

#include <cstdint>
#include <vector>

#include "tools/protocol/Protocol.h"

// The 12-byte header in front of every request and reply.
struct FrameHeader {
    enum class Check { Ok, BadMagic, BadVersion };

    uint16_t version = Protocol::kVersion;
    uint16_t type = 0;
    uint32_t bodySize = 0;

    // A whole frame of this protocol version: the header for `body`, then `body`.
    static std::vector<uint8_t> frame(uint16_t type, const std::vector<uint8_t>& body);
    // Decodes any 12 bytes; check() then says whether this side can go on.
    static FrameHeader decode(const uint8_t in[Protocol::kHeaderSize], bool* magicOk);
    // Whether a received header can be understood: right magic and version. The
    // body size is the reader's to judge (requests and replies differ).
    static Check check(const FrameHeader& header, bool magicOk);
};
