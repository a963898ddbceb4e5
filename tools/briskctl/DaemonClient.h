#pragma once

#include <string>

#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"
#include "tools/protocol/UniqueFd.h"

// A client's side of one exchange with briskd: connect, send a request (with a
// descriptor for a dump), wait for the reply.
class DaemonClient {
public:
    DaemonClient(const std::string& socketPath, int timeoutMs)
        : mSocketPath(socketPath), mTimeoutMs(timeoutMs) {}

    // False with `error` set (one line, naming the socket) when the daemon could
    // not be reached or the exchange broke off.
    bool call(const Request& request, int passFd, Reply* reply, std::string* error);

private:
    bool connectSocket(UniqueFd* socket, std::string* error);

    std::string mSocketPath;
    int mTimeoutMs;
};
