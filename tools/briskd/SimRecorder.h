#pragma once

#include <cstdio>
#include <string>

// Writes every call that reaches the simulated device to a file, one line per
// call as SimCall::toString() gives it, flushed at once. Without a file the
// device keeps no record at all, so that a long-running daemon does not grow.
class SimRecorder {
public:
    SimRecorder() = default;
    ~SimRecorder();
    SimRecorder(const SimRecorder&) = delete;
    SimRecorder& operator=(const SimRecorder&) = delete;

    // `path` empty: recording off. Otherwise the file is truncated and receives
    // the record. False when it cannot be opened.
    bool start(const std::string& path);
    // Detaches from the device and closes the file.
    void stop();

private:
    FILE* mFile = nullptr;
};
