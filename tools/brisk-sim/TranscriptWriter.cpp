#include "tools/brisk-sim/TranscriptWriter.h"

TranscriptWriter::TranscriptWriter(FILE* out) : mOut(out) {}

void TranscriptWriter::line(const std::string& text) {
    std::string whole;
    whole.reserve(text.size() + 1);
    for (char c : text) {
        if (c == '\n') {
            whole += "\\n";
        } else if (c == '\r') {
            whole += "\\r";
        } else {
            whole += c;
        }
    }
    whole += '\n';
    std::lock_guard<std::mutex> lock(mMutex);
    fwrite(whole.data(), 1, whole.size(), mOut);
    fflush(mOut);
}
