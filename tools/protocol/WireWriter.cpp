#include "tools/protocol/WireWriter.h"

void WireWriter::putU16(uint16_t value) {
    mBytes.push_back(static_cast<uint8_t>(value & 0xFF));
    mBytes.push_back(static_cast<uint8_t>(value >> 8));
}

void WireWriter::putU32(uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        mBytes.push_back(static_cast<uint8_t>((value >> shift) & 0xFF));
    }
}

void WireWriter::putI32(int32_t value) {
    putU32(static_cast<uint32_t>(value));
}

void WireWriter::putText(const std::string& text) {
    putU32(static_cast<uint32_t>(text.size()));
    putBytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void WireWriter::putBytes(const uint8_t* data, size_t size) {
    mBytes.insert(mBytes.end(), data, data + size);
}
