#pragma once

#include <string>
#include <vector>

// Linux stand-in for the customisation library's configuration lookup
// (get_one_cfg_file): resolves a relative name against an ordered list of roots,
// or answers one file that the host chose.
class CfgFileResolver {
public:
    // Every lookup answers `path` (when readable), whatever name is asked for.
    static void setFile(const std::string& path);
    // Roots searched in order; each is joined with the relative name.
    static void setRoots(const std::vector<std::string>& roots);
    // Back to the default roots: /etc/brisk/, then the install's data directory.
    static void reset();
    static std::vector<std::string> defaultRoots();

    // The resolved path, or empty when no readable regular file was found.
    static std::string resolve(const std::string& relativePath);
};
