#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Reads protocol fields from a received body without ever reading past its end.
// Every getter returns false (and leaves the reader failed) when the field does
// not fit in what is left.
class WireReader {
public:
    WireReader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    bool getU16(uint16_t* value);
    bool getU32(uint32_t* value);
    bool getI32(int32_t* value);
    // A text of at most `maxSize` bytes.
    bool getText(std::string* text, uint32_t maxSize);
    // An element count, accepted only when that many elements of `elementSize`
    // bytes can still follow: a count can never make the reader allocate more
    // than the body holds.
    bool getCount(uint32_t* count, size_t elementSize);

    bool atEnd() const { return mPos == mSize; }
    size_t remaining() const { return mSize - mPos; }

private:
    bool take(size_t size, const uint8_t** out);

    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};
