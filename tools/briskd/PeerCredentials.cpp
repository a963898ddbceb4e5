#include "tools/briskd/PeerCredentials.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#ifndef SO_PEERGROUPS
#define SO_PEERGROUPS 59
#endif

namespace {
constexpr size_t kMaxGroups = 65536;
}  // namespace

bool PeerCredentials::read(int socketFd, PeerCredentials* out) {
    ucred cred{};
    socklen_t size = sizeof(cred);
    if (getsockopt(socketFd, SOL_SOCKET, SO_PEERCRED, &cred, &size) != 0 || size != sizeof(cred)) {
        return false;
    }
    out->pid = cred.pid;
    out->uid = cred.uid;
    out->gid = cred.gid;
    out->groups.clear();
    // The supplementary groups: ask with a small buffer, grow once to the size
    // the kernel reports.
    std::vector<gid_t> groups(32);
    for (int attempt = 0; attempt < 2; ++attempt) {
        socklen_t bytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (getsockopt(socketFd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) == 0) {
            groups.resize(bytes / sizeof(gid_t));
            out->groups = std::move(groups);
            break;
        }
        if (errno != ERANGE || bytes / sizeof(gid_t) > kMaxGroups) {
            break;  // an old kernel: the primary group alone counts
        }
        groups.resize(bytes / sizeof(gid_t));
    }
    return true;
}

bool PeerCredentials::inGroup(gid_t group) const {
    return gid == group || std::find(groups.begin(), groups.end(), group) != groups.end();
}

std::string PeerCredentials::describe() const {
    return "pid " + std::to_string(pid) + " uid " + std::to_string(uid) + " gid " +
           std::to_string(gid);
}
