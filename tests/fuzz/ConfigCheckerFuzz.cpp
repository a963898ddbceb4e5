// brisk-sim --check: the input is the configuration file the checker reads (with
// the service's loader and its own reading of the raw XML); its report goes to
// /dev/null.
#include <cstdio>
#include <cstdlib>

#include "tests/fuzz/FuzzHost.h"
#include "tests/support/TempConfig.h"
#include "tools/brisk-sim/ConfigChecker.h"

namespace {
struct Target {
    TempConfig config = TempConfig::withContent("");
    FILE* report = fopen("/dev/null", "w");
};

Target& target() {
    static Target* instance = [] {
        FuzzHost::quietOutputs();
        auto* created = new Target();
        if (created->report == nullptr) {
            abort();
        }
        return created;
    }();
    return *instance;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Target& checked = target();
    FuzzHost::writeFile(checked.config.path(), data, size);
    ConfigChecker().run(checked.config.path(), checked.report);
    return 0;
}
