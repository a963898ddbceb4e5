#include "tools/briskd/DumpOutput.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "server/BriskServer.h"
#include "tools/briskd/DumpWatchdog.h"
#include "tools/protocol/UniqueFd.h"

namespace {
constexpr size_t kChunk = 4096;
}  // namespace

Reply DumpOutput::run(BriskServer& server, const std::vector<std::string>& args, int fd,
                      int timeoutMs) {
    if (args.size() != 1) {
        return Reply::error(Status::BadRequest, std::string("dump takes exactly one option (") +
                                                    Protocol::kDumpOptions + "); got " +
                                                    std::to_string(args.size()));
    }
    UniqueFd text(memfd_create("briskd-dump", MFD_CLOEXEC));
    if (!text.valid()) {
        return Reply::error(Status::DumpFailed,
                            std::string("cannot prepare the dump: ") + strerror(errno));
    }
    server.dumpBriskServerInfo(text.get(), args);
    if (lseek(text.get(), 0, SEEK_SET) != 0) {
        return Reply::error(Status::DumpFailed,
                            std::string("cannot read the dump back: ") + strerror(errno));
    }
    return copy(text.get(), fd, timeoutMs);
}

Reply DumpOutput::copy(int from, int to, int timeoutMs) {
    DumpWatchdog watchdog(timeoutMs);
    char buffer[kChunk];
    size_t total = 0;
    for (;;) {
        ssize_t got = read(from, buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR) {
            continue;  // the memory file never blocks: only the watchdog interrupts it
        }
        if (got < 0) {
            return Reply::error(Status::DumpFailed,
                                std::string("cannot read the dump back: ") + strerror(errno));
        }
        if (got == 0) {
            break;
        }
        total += static_cast<size_t>(got);
        for (ssize_t done = 0; done < got;) {
            ssize_t n = write(to, buffer + done, static_cast<size_t>(got - done));
            if (n >= 0) {
                done += n;
                continue;
            }
            if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
                return Reply::error(Status::DumpFailed,
                                    std::string("dump output failed: ") + strerror(errno) +
                                        " after " + std::to_string(total - got + done) + " bytes");
            }
            if (watchdog.fired()) {
                return Reply::error(Status::DumpBlocked,
                                    "dump output did not take the text in time; it may be "
                                    "incomplete");
            }
            if (errno != EINTR) {
                // O_NONBLOCK belongs to the open file that the client shares with
                // the daemon, which leaves it alone: a non-blocking descriptor is
                // waited for like a blocking one, and the watchdog ends the wait.
                pollfd room{to, POLLOUT, 0};
                (void)poll(&room, 1, -1);
            }
        }
    }
    if (total == 0) {
        // The service logs why (an option over its length limit, say).
        return Reply::error(Status::BadRequest,
                            "the service wrote no dump for this option (see its log)");
    }
    return Reply::ok(0);
}
