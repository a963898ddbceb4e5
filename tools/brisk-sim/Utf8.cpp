#include "tools/brisk-sim/Utf8.h"

size_t Utf8::sequenceLength(const std::string& text, size_t i) {
    const auto byte = [&text](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    size_t length = 0;
    unsigned int lowest = 0;
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        lowest = 0x800;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        lowest = 0x10000;
    } else {
        return 0;
    }
    if (i + length > text.size()) {
        return 0;
    }
    unsigned int code = lead & (0x3fu >> (length - 1));
    for (size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xc0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (byte(i + k) & 0x3fu);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return code < lowest || code > 0x10ffff || surrogate ? 0 : length;
}
