#include "platform/sim/CfgFileResolver.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

#include "platform/DeviceApi.h"
#include "platform/sim/InstallLayout.h"

namespace {

std::mutex gMutex;
std::string gFile;
std::vector<std::string> gRoots = CfgFileResolver::defaultRoots();

bool isReadableFile(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), R_OK) == 0;
}

std::string joinPath(const std::string& root, const std::string& relative) {
    if (root.empty()) {
        return relative;
    }
    return root.back() == '/' ? root + relative : root + "/" + relative;
}
}  // namespace

std::vector<std::string> CfgFileResolver::defaultRoots() {
    return {"/etc/brisk/", InstallLayout::dataDir() + "/"};
}

void CfgFileResolver::setFile(const std::string& path) {
    std::lock_guard<std::mutex> lock(gMutex);
    gFile = path;
}

void CfgFileResolver::setRoots(const std::vector<std::string>& roots) {
    std::lock_guard<std::mutex> lock(gMutex);
    gFile.clear();
    gRoots = roots;
}

void CfgFileResolver::reset() {
    std::lock_guard<std::mutex> lock(gMutex);
    gFile.clear();
    gRoots = defaultRoots();
}

std::string CfgFileResolver::resolve(const std::string& relativePath) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (!gFile.empty()) {
        return isReadableFile(gFile) ? gFile : std::string();
    }
    for (const std::string& root : gRoots) {
        std::string path = joinPath(root, relativePath);
        if (isReadableFile(path)) {
            return path;
        }
    }
    return std::string();
}

extern "C" char* get_one_cfg_file(const char* relativePath, int /*type*/, char* buffer) {
    if (relativePath == nullptr || buffer == nullptr) {
        return nullptr;
    }
    std::string path = CfgFileResolver::resolve(relativePath);
    if (path.empty() || path.size() >= kCfgPathBufferSize) {
        return nullptr;
    }
    memcpy(buffer, path.c_str(), path.size() + 1);
    return buffer;
}
