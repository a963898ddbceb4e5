#pragma once

#include <string>

// Where the install that brisk_plat belongs to keeps its data. Found from where
// the library itself was loaded, so that an install made with a prefix chosen
// only at install time, or moved afterwards, still finds its own files.
class InstallLayout {
public:
    // <prefix>/share/brisk of this library's install (no trailing slash).
    static std::string dataDir();
};
