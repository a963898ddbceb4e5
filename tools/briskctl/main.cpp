// briskctl: sends one request to briskd and prints the answer.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/briskctl/CommandList.h"
#include "tools/briskctl/CtlCommandLine.h"
#include "tools/briskctl/DaemonClient.h"
#include "tools/briskctl/ReplyPrinter.h"
#include "tools/protocol/JsonReader.h"
#include "tools/protocol/UniqueFd.h"

namespace {
// A failure before the request: one line, and its exit status.
struct Failure {
    int exitCode;
    std::string message;
};

// Turns the event's name into its id through the daemon's command list.
bool resolveEventName(DaemonClient& client, CtlCommandLine& line, Failure* failure) {
    Request list;
    list.type = RequestType::Commands;
    Reply reply;
    std::string error;
    if (!client.call(list, -1, &reply, &error)) {
        *failure = {ReplyPrinter::kExitUnreachable, error};
        return false;
    }
    Json document;
    if (reply.status != Status::Ok || !parseJson(reply.document, &document, &error)) {
        *failure = {ReplyPrinter::kExitRefused,
                    "event: the daemon gives no command list to find '" + line.eventName + "' in" +
                        (reply.message.empty() ? "" : ": " + reply.message)};
        return false;
    }
    const CommandList commands(document);
    if (!commands.find(line.eventName, &line.request.cmdId)) {
        *failure = {ReplyPrinter::kExitUsage, "event: " + commands.unknown(line.eventName)};
        return false;
    }
    if (!CtlCommandLine::checkEventId(line.request.cmdId, line.force, &error)) {
        *failure = {ReplyPrinter::kExitUsage, "event: " + error};
        return false;
    }
    return true;
}

// What was to be printed cannot reach standard output (a full device, a closed
// pipe, no standard output at all): that is no success, whatever the daemon
// answered.
int outputLost() {
    fprintf(stderr, "briskctl: cannot write to standard output: %s\n", strerror(errno));
    return ReplyPrinter::kExitRefused;
}

int flushed(int status) {
    return fflush(stdout) != 0 || ferror(stdout) != 0 ? outputLost() : status;
}

std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t n; (n = read(fd, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}
}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    CtlCommandLine line = CtlCommandLine::parse(args);
    if (line.outcome == CtlCommandLine::Outcome::Help) {
        fputs(line.text.c_str(), stdout);
        return flushed(ReplyPrinter::kExitOk);
    }
    if (line.outcome == CtlCommandLine::Outcome::UsageError) {
        fprintf(stderr, "briskctl: %s (try briskctl --help)\n", line.text.c_str());
        return ReplyPrinter::kExitUsage;
    }
    DaemonClient client(line.socketPath, line.timeoutMs);
    Failure failure;
    if (!line.eventName.empty() && !resolveEventName(client, line, &failure)) {
        fprintf(stderr, "briskctl: %s\n", failure.message.c_str());
        return failure.exitCode;
    }
    // A dump is written by the daemon straight to our standard output; with
    // --json into a memory file that we read back.
    UniqueFd dumpCopy;
    int passFd = -1;
    if (line.request.type == RequestType::Dump) {
        if (line.json) {
            dumpCopy.reset(memfd_create("briskctl-dump", MFD_CLOEXEC));
            passFd = dumpCopy.get();
        } else {
            // Without a standard output the socket could take its number and
            // be handed over as the output.
            if (fflush(stdout) != 0 || fcntl(STDOUT_FILENO, F_GETFD) < 0) {
                return outputLost();
            }
            passFd = STDOUT_FILENO;
        }
    }
    Reply reply;
    std::string error;
    if (!client.call(line.request, passFd, &reply, &error)) {
        fprintf(stderr, "briskctl: %s\n", error.c_str());
        return ReplyPrinter::kExitUnreachable;
    }
    const std::string dumpText = dumpCopy.valid() ? readAll(dumpCopy.get()) : std::string();
    return flushed(ReplyPrinter(line.json).print(line.request, reply, stdout, stderr, dumpText));
}
