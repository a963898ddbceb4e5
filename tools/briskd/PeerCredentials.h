#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Who is at the other end of a connection, as the kernel saw it when the peer
// connected (SO_PEERCRED, and SO_PEERGROUPS for the supplementary groups).
struct PeerCredentials {
    pid_t pid = -1;
    uid_t uid = static_cast<uid_t>(-1);
    gid_t gid = static_cast<gid_t>(-1);
    std::vector<gid_t> groups;  // supplementary groups; empty when the kernel cannot tell

    static bool read(int socketFd, PeerCredentials* out);
    bool inGroup(gid_t group) const;
    // "pid 123 uid 1000 gid 1000", for logs and replies.
    std::string describe() const;
};
