#include "platform/linux/KernelReader.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/linux/KernelText.h"

KernelReader::KernelReader(FileOps& ops, std::string root) : mOps(ops), mRoot(std::move(root)) {
    while (!mRoot.empty() && mRoot.back() == '/') {
        mRoot.pop_back();
    }
}

std::string KernelReader::path(std::string_view kernelPath) const {
    std::string out = mRoot;
    out.append(kernelPath.data(), kernelPath.size());
    return out;
}

int KernelReader::readText(const std::string& fullPath, std::string* text, size_t limit) const {
    int fd = mOps.open(fullPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0);
    if (fd < 0) {
        return fd;
    }
    // One byte beyond the limit tells a file that is too long from one that fits.
    char small[kMaxText + 1];
    // Left unfilled: a table of a few hundred bytes then costs the pages it fills,
    // not a clearing of the whole limit (256 KiB for the mount table) at each read.
    std::unique_ptr<char[]> large;
    if (limit > kMaxText) {
        large.reset(new char[limit + 1]);
    }
    char* buffer = limit > kMaxText ? large.get() : small;
    const size_t size = limit + 1;  // the small buffer holds kMaxText + 1
    size_t total = 0;
    int result = 0;
    while (total < size) {
        const size_t asked = size - total;
        ssize_t n = mOps.pread(fd, buffer + total, asked, static_cast<off_t>(total));
        if (n < 0) {
            result = static_cast<int>(n);
            break;
        }
        total += static_cast<size_t>(n);
        // Kernel attribute files give their whole text in one read: a short read
        // is their end, with no second read to find it. Longer tables (a mount
        // table) are read until the end is met.
        if (n == 0 || (limit <= kMaxText && static_cast<size_t>(n) < asked)) {
            break;
        }
    }
    mOps.close(fd);
    if (result == 0 && total > limit) {
        result = -EFBIG;
    }
    if (result == 0) {
        text->assign(buffer, total);
    }
    return result;
}

bool KernelReader::readInt(const std::string& fullPath, long long* value) const {
    std::string text;
    return readText(fullPath, &text) == 0 && KernelText::parseInt(text, value);
}

std::vector<std::string> KernelReader::list(const std::string& fullPath) const {
    std::vector<std::string> names;
    if (mOps.listDir(fullPath, &names) != 0) {
        names.clear();
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool KernelReader::exists(const std::string& fullPath) const {
    struct stat info {};
    return mOps.stat(fullPath, &info) == 0;
}

std::string KernelReader::linkName(const std::string& fullPath) const {
    std::string target;
    if (mOps.readLink(fullPath, &target) != 0) {
        return "";
    }
    size_t slash = target.rfind('/');
    return slash == std::string::npos ? target : target.substr(slash + 1);
}

bool KernelReader::isTunablePath(std::string_view kernelPath) {
    return isPlainPath(kernelPath, true) &&
           (isBelow(kernelPath, "/sys") || isBelow(kernelPath, "/proc/sys"));
}

bool KernelReader::isPlainPath(std::string_view path, bool absolute) {
    if (path.empty() || (path[0] == '/') != absolute || path.find('\0') != std::string_view::npos) {
        return false;
    }
    size_t start = absolute ? 1 : 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string_view::npos) {
            end = path.size();
        }
        std::string_view part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        start = end + 1;
    }
    return true;
}

bool KernelReader::isBelow(std::string_view path, std::string_view folder) {
    return path.size() > folder.size() + 1 && path.compare(0, folder.size(), folder) == 0 &&
           path[folder.size()] == '/';
}
