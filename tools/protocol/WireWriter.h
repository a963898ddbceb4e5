#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Appends protocol fields to a byte buffer: little-endian integers and texts
// (a u32 length followed by the bytes, no terminator).
class WireWriter {
public:
    void putU16(uint16_t value);
    void putU32(uint32_t value);
    void putI32(int32_t value);
    void putText(const std::string& text);
    void putBytes(const uint8_t* data, size_t size);

    std::vector<uint8_t> take() { return std::move(mBytes); }

private:
    std::vector<uint8_t> mBytes;
};
