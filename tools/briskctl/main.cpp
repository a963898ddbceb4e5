// briskctl: sends one request to briskd and prints the answer.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/briskctl/CtlCommandLine.h"
#include "tools/briskctl/DaemonClient.h"
#include "tools/briskctl/ReplyPrinter.h"

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    CtlCommandLine line = CtlCommandLine::parse(args);
    if (line.outcome == CtlCommandLine::Outcome::Help) {
        fputs(line.text.c_str(), stdout);
        return ReplyPrinter::kExitOk;
    }
    if (line.outcome == CtlCommandLine::Outcome::UsageError) {
        fprintf(stderr, "briskctl: %s\n(try briskctl --help)\n", line.text.c_str());
        return ReplyPrinter::kExitUsage;
    }
    // The dump is written by the daemon straight to our standard output.
    int passFd = line.request.type == RequestType::Dump ? STDOUT_FILENO : -1;
    if (passFd >= 0) {
        fflush(stdout);
    }
    DaemonClient client(line.socketPath, line.timeoutMs);
    Reply reply;
    std::string error;
    if (!client.call(line.request, passFd, &reply, &error)) {
        fprintf(stderr, "briskctl: %s\n", error.c_str());
        return ReplyPrinter::kExitUnreachable;
    }
    return ReplyPrinter::print(line.request, reply, stdout, stderr);
}
