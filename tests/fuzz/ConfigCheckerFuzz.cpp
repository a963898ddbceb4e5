// brisk-sim --check: the input is the configuration text the checker reads (with
// the service's loader and its own reading of the raw XML), checked against the
// simulated device or, for every other input, a device that declares platform
// items; the listing, the report and its JSON go to /dev/null.
#include <cstdio>
#include <cstdlib>

#include "tests/fuzz/FuzzHost.h"
#include "tools/brisk-sim/ConfigChecker.h"

namespace {
FILE* devNull() {
    static FILE* file = [] {
        FuzzHost::quietOutputs();
        FILE* opened = fopen("/dev/null", "w");
        if (opened == nullptr) {
            abort();
        }
        return opened;
    }();
    return file;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* out = devNull();
    ConfigChecker::Options options;
    if (size % 2 == 1) {
        options.device.itemsKnown = true;
        options.device.items = {"touch_boost", "governor"};
    }
    options.lenient = size % 4 == 3;
    ConfigChecker checker(options);
    checker.check("fuzz.xml", reinterpret_cast<const char*>(data), size);
    checker.printListing(out);
    checker.report().printText(out, true);
    checker.report().printJson(out, "fuzz.xml");
    return 0;
}
