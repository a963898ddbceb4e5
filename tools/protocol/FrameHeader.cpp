#include "tools/protocol/FrameHeader.h"

#include <cstring>

#include "tools/protocol/WireReader.h"
#include "tools/protocol/WireWriter.h"

std::vector<uint8_t> FrameHeader::frame(uint16_t type, const std::vector<uint8_t>& body) {
    WireWriter writer;
    writer.putBytes(Protocol::kMagic, sizeof(Protocol::kMagic));
    writer.putU16(Protocol::kVersion);
    writer.putU16(type);
    writer.putU32(static_cast<uint32_t>(body.size()));
    writer.putBytes(body.data(), body.size());
    return writer.take();
}

FrameHeader FrameHeader::decode(const uint8_t in[Protocol::kHeaderSize], bool* magicOk) {
    FrameHeader header;
    *magicOk = memcmp(in, Protocol::kMagic, sizeof(Protocol::kMagic)) == 0;
    WireReader reader(in + sizeof(Protocol::kMagic),
                      Protocol::kHeaderSize - sizeof(Protocol::kMagic));
    reader.getU16(&header.version);
    reader.getU16(&header.type);
    reader.getU32(&header.bodySize);
    return header;
}

FrameHeader::Check FrameHeader::check(const FrameHeader& header, bool magicOk) {
    if (!magicOk) {
        return Check::BadMagic;
    }
    if (header.version != Protocol::kVersion) {
        return Check::BadVersion;
    }
    return Check::Ok;
}
