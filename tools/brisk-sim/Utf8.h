#pragma once

#include <cstddef>
#include <string>

// UTF-8 as the checker's JSON and the timeline's SVG must carry it: text taken
// from a file may hold any bytes, and one that is no UTF-8 would make either
// document invalid.
class Utf8 {
public:
    // The length of the well-formed UTF-8 sequence of a code point at `text[i]`
    // (1 for ASCII), or 0 when none starts there.
    static size_t sequenceLength(const std::string& text, size_t i);
};
