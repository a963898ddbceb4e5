#include "platform/sim/InstallLayout.h"

#include <dlfcn.h>

#include <vector>

// The data folder relative to the library folder (e.g. "../share/brisk"), and
// the absolute one of the configured prefix for when the library cannot tell
// where it was loaded from.
#ifndef BRISK_DATA_DIR_FROM_LIBDIR
#define BRISK_DATA_DIR_FROM_LIBDIR "../share/brisk"
#endif
#ifndef BRISK_DATA_DIR
#define BRISK_DATA_DIR "/usr/local/share/brisk"
#endif

namespace {
// Any object of this library: dladdr names the file it was loaded from.
const char kAnchor = 0;

// Joins `relative` to the folder `base`, resolving "." and ".." by name (the
// folders need not exist).
std::string joinNormalised(const std::string& base, const std::string& relative) {
    std::vector<std::string> parts;
    std::string all = base + "/" + relative;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find('/', start);
        if (end == std::string::npos) {
            end = all.size();
        }
        std::string part = all.substr(start, end - start);
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string out;
    for (const std::string& part : parts) {
        out += "/" + part;
    }
    return out.empty() ? "/" : out;
}
}  // namespace

std::string InstallLayout::dataDir() {
    Dl_info info{};
    if (dladdr(&kAnchor, &info) == 0 || info.dli_fname == nullptr || info.dli_fname[0] != '/') {
        return BRISK_DATA_DIR;
    }
    std::string library = info.dli_fname;
    return joinNormalised(library.substr(0, library.rfind('/')), BRISK_DATA_DIR_FROM_LIBDIR);
}
