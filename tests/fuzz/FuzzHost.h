#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class ProbeHandler;

// What the fuzz targets of the service set up once per process. The Android log
// and the jank log keep formatting every line, verbose ones included, so that
// fuzzed values run through every format string, but the lines are thrown away;
// dumps are written to /dev/null; the simulated device starts fresh.
class FuzzHost {
public:
    static void quietOutputs();
    // A descriptor on /dev/null, opened once, for dumps.
    static int nullFd();
    // Replaces the content of `path` with the input; aborts when it cannot (the
    // harness is broken, not the code under test).
    static void writeFile(const std::string& path, const uint8_t* data, size_t size);
    // The fuzz input as a NUL-terminated text (a C string stops at its first NUL).
    static std::string text(const uint8_t* data, size_t size);
    // Empties the probe queues that an input filled (the worker is stopped, so
    // nothing else would), so that they do not grow with the run.
    static void forgetProbes(ProbeHandler* handler);
};
