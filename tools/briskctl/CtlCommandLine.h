#pragma once

#include <string>
#include <vector>

#include "tools/protocol/Request.h"

// briskctl's command line turned into one request:
//   briskctl [--socket PATH] [--timeout-ms MS] COMMAND ARG ...
// with the commands event, set, get, dump and version.
struct CtlCommandLine {
    enum class Outcome { Run, Help, UsageError };

    std::string socketPath;
    int timeoutMs = 10000;
    std::string command;
    Request request;
    Outcome outcome = Outcome::Run;
    std::string text;  // the help text, or the usage error

    static CtlCommandLine parse(const std::vector<std::string>& args);
    static const char* generalHelp();
    // The help of one command, or null for an unknown command.
    static const char* commandHelp(const std::string& command);

    // A client as a number or a name (DUSK, FERN, MOSS, any letter case).
    static bool parseClient(const std::string& text, int* clientId);
    // A tag as a number or a name of the configuration language.
    static bool parseTag(const std::string& text, int* tag);
};
