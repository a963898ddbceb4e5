#pragma once

#include <cstdio>
#include <mutex>
#include <string>

// The one place transcript lines are written. Lines come from the scenario's
// thread, the probe thread and whatever thread logs; each is written whole under
// one lock, so lines never interleave and appear in the order they were made.
class TranscriptWriter {
public:
    explicit TranscriptWriter(FILE* out);

    TranscriptWriter(const TranscriptWriter&) = delete;
    TranscriptWriter& operator=(const TranscriptWriter&) = delete;

    // Writes `text` and a newline. A newline or carriage return inside `text`
    // would split the line, so it is written as \n or \r.
    void line(const std::string& text);

private:
    std::mutex mMutex;
    FILE* mOut;
};
