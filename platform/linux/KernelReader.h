#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/FileOps.h"

// Reads the kernel's files under a root folder ("/" on a machine, a fake tree in
// tests): every kernel path ("/sys/...", "/proc/...") is prefixed with the root.
// Reads are bounded: a file longer than kMaxText is refused, not truncated.
class KernelReader {
public:
    KernelReader(FileOps& ops, std::string root);

    // The path to open for kernel path `kernelPath` (which starts with '/').
    std::string path(std::string_view kernelPath) const;
    const std::string& root() const { return mRoot; }
    FileOps& ops() const { return mOps; }

    // The text of file `fullPath`; 0, or -errno (-EFBIG when it is longer than
    // `limit`).
    int readText(const std::string& fullPath, std::string* text, size_t limit = kMaxText) const;
    // The trimmed text as a number; false when unreadable or not a number.
    bool readInt(const std::string& fullPath, long long* value) const;
    // The sorted names in folder `fullPath`; empty when it cannot be read.
    std::vector<std::string> list(const std::string& fullPath) const;
    bool exists(const std::string& fullPath) const;
    // The last part of a symbolic link's target, or "" when it is none.
    std::string linkName(const std::string& fullPath) const;

    // A kernel path that may be written: under /sys or /proc/sys, absolute, with
    // no "." or ".." part and no empty part.
    static bool isTunablePath(std::string_view kernelPath);
    // A path of plain parts (no ".", ".." or empty part), absolute or relative.
    static bool isPlainPath(std::string_view path, bool absolute);
    // `path` lies below `folder` (both plain absolute paths).
    static bool isBelow(std::string_view path, std::string_view folder);

    static constexpr size_t kMaxText = 4096;

private:
    FileOps& mOps;
    std::string mRoot;  // without a trailing '/'; empty for "/"
};
