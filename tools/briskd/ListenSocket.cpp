#include "tools/briskd/ListenSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace {
constexpr mode_t kFolderMode = 0755;
// Anyone may connect; what a peer may do is the policy's decision.
constexpr mode_t kSocketMode = 0666;

std::string errnoText(const std::string& what) {
    return what + ": " + strerror(errno);
}

bool fillAddress(const std::string& path, sockaddr_un* address) {
    memset(address, 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address->sun_path)) {
        return false;
    }
    memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}
}  // namespace

bool ListenSocket::makeParents(const std::string& path, std::string* error) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        std::string folder = path.substr(0, slash);
        if (mkdir(folder.c_str(), kFolderMode) == 0) {
            mCreatedFolders.push_back(folder);
        } else if (errno != EEXIST) {
            *error = errnoText("cannot create " + folder);
            return false;
        }
    }
    return true;
}

bool ListenSocket::clearStale(const std::string& path, std::string* error) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        *error = errnoText("cannot inspect " + path);
        return false;
    }
    if (!S_ISSOCK(st.st_mode)) {
        *error = path + " exists and is not a socket; not touching it";
        return false;
    }
    sockaddr_un address{};
    fillAddress(path, &address);
    UniqueFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!probe.valid()) {
        *error = errnoText("socket");
        return false;
    }
    if (connect(probe.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
        *error = "another daemon is already listening on " + path;
        return false;
    }
    if (errno != ECONNREFUSED) {
        *error = errnoText("cannot tell whether a daemon listens on " + path);
        return false;
    }
    // Nobody listens: the file is left over from a daemon that died.
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        *error = errnoText("cannot remove the stale socket " + path);
        return false;
    }
    return true;
}

bool ListenSocket::open(const std::string& path, int backlog, std::string* error) {
    sockaddr_un address{};
    if (!fillAddress(path, &address)) {
        *error = "socket path is empty or longer than " +
                 std::to_string(sizeof(address.sun_path) - 1) + " bytes: " + path;
        return false;
    }
    if (!makeParents(path, error) || !clearStale(path, error)) {
        return false;
    }
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid()) {
        *error = errnoText("socket");
        return false;
    }
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        // Another daemon that started at the same moment won the path.
        *error = errnoText("cannot bind " + path);
        return false;
    }
    struct stat st {};
    if (chmod(path.c_str(), kSocketMode) != 0 || lstat(path.c_str(), &st) != 0 ||
        listen(fd.get(), backlog) != 0) {
        *error = errnoText("cannot listen on " + path);
        unlink(path.c_str());
        return false;
    }
    mFd = std::move(fd);
    mPath = path;
    mDev = st.st_dev;
    mIno = st.st_ino;
    return true;
}

void ListenSocket::remove() {
    mFd.reset();
    if (!mPath.empty()) {
        struct stat st {};
        if (lstat(mPath.c_str(), &st) == 0 && st.st_dev == mDev && st.st_ino == mIno) {
            unlink(mPath.c_str());
        }
        mPath.clear();
    }
    // Innermost first; a folder that something else now uses is not empty and stays.
    for (auto it = mCreatedFolders.rbegin(); it != mCreatedFolders.rend(); ++it) {
        rmdir(it->c_str());
    }
    mCreatedFolders.clear();
}
