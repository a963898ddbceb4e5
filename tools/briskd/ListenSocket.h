#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tools/protocol/UniqueFd.h"

// The daemon's listening Unix stream socket. Opening creates the missing parent
// folders (mode 0755: only root writes there), replaces a stale socket file left
// by a dead daemon and refuses a path where a daemon still answers. Removing it
// deletes the socket file and the folders that opening created, when empty.
class ListenSocket {
public:
    ListenSocket() = default;
    ~ListenSocket() { remove(); }
    ListenSocket(const ListenSocket&) = delete;
    ListenSocket& operator=(const ListenSocket&) = delete;

    bool open(const std::string& path, int backlog, std::string* error);
    int fd() const { return mFd.get(); }
    // Stops listening; the socket file stays until remove().
    void stopListening() { mFd.reset(); }
    // Stops listening and deletes the socket file, if it is still the one this
    // object created (a successor daemon's socket is left alone).
    void remove();

private:
    bool makeParents(const std::string& path, std::string* error);
    static bool clearStale(const std::string& path, std::string* error);

    UniqueFd mFd;
    std::string mPath;
    std::vector<std::string> mCreatedFolders;  // outermost first
    dev_t mDev = 0;
    ino_t mIno = 0;
};
