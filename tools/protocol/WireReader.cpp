#include "tools/protocol/WireReader.h"

bool WireReader::take(size_t size, const uint8_t** out) {
    if (size > mSize - mPos) {
        mPos = mSize;
        return false;
    }
    *out = mData + mPos;
    mPos += size;
    return true;
}

bool WireReader::getU16(uint16_t* value) {
    const uint8_t* p = nullptr;
    if (!take(2, &p)) {
        return false;
    }
    *value = static_cast<uint16_t>(p[0] | (p[1] << 8));
    return true;
}

bool WireReader::getU32(uint32_t* value) {
    const uint8_t* p = nullptr;
    if (!take(4, &p)) {
        return false;
    }
    *value = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
             (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    return true;
}

bool WireReader::getI32(int32_t* value) {
    uint32_t raw = 0;
    if (!getU32(&raw)) {
        return false;
    }
    *value = static_cast<int32_t>(raw);
    return true;
}

bool WireReader::getText(std::string* text, uint32_t maxSize) {
    uint32_t size = 0;
    const uint8_t* p = nullptr;
    if (!getU32(&size) || size > maxSize || !take(size, &p)) {
        mPos = mSize;
        return false;
    }
    text->assign(reinterpret_cast<const char*>(p), size);
    return true;
}

bool WireReader::getCount(uint32_t* count, size_t elementSize) {
    if (!getU32(count)) {
        return false;
    }
    if (elementSize != 0 && *count > remaining() / elementSize) {
        mPos = mSize;
        return false;
    }
    return true;
}
