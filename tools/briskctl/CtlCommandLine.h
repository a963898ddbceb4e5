#pragma once

#include <string>
#include <vector>

#include "tools/protocol/Request.h"

// briskctl's command line turned into one request:
//   briskctl [--socket PATH] [--timeout-ms MS] [--json] COMMAND ARG ...
// with the commands of CtlHelp. `--json` may also follow the command.
struct CtlCommandLine {
    enum class Outcome { Run, Help, UsageError };

    std::string socketPath;
    int timeoutMs = 10000;
    bool json = false;
    std::string command;
    Request request;
    // An event named by its configuration name, resolved through the daemon's
    // command list before it is sent; empty when given by id.
    std::string eventName;
    bool force = false;  // send an event id the service never dispatches
    Outcome outcome = Outcome::Run;
    std::string text;  // the help text, or the usage error

    static CtlCommandLine parse(const std::vector<std::string>& args);

    // A client as a number or a name (DUSK, FERN, MOSS, any letter case).
    static bool parseClient(const std::string& text, int* clientId);
    // A tag as a number or a name of the configuration language.
    static bool parseTag(const std::string& text, int* tag);
    // "unknown tag 'gpu_mx' (did you mean gpu_max?)".
    static std::string unknownTag(const std::string& text);
    // False with `error` for an event id that the service never dispatches
    // (above 20225) unless `force`.
    static bool checkEventId(int cmdId, bool force, std::string* error);
};
