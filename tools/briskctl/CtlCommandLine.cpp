#include "tools/briskctl/CtlCommandLine.h"

#include "config/Vocabulary.h"
#include "tools/briskctl/CtlHelp.h"
#include "tools/protocol/Protocol.h"

namespace {
bool isHelp(const std::string& arg) {
    return arg == "--help" || arg == "-h";
}

// Command-line numbers: an optional sign, no blanks.
bool parseInt(const std::string& text, int* value) {
    return Vocabulary::parseInt(text, value, Vocabulary::NumberForm::Signed);
}

// A payload value: a number, begin or end.
bool parseValue(const std::string& text, int* value) {
    return Vocabulary::payloadForName(text, value) || parseInt(text, value);
}

bool parseEvent(const std::vector<std::string>& args, CtlCommandLine* line, std::string* error) {
    Request* request = &line->request;
    request->type = RequestType::Event;
    bool haveCmd = false;
    bool optionsDone = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsDone && arg == "--") {
            optionsDone = true;
        } else if (!optionsDone && arg == "--force") {
            line->force = true;
        } else if (!optionsDone && arg == "--msg") {
            if (i + 1 >= args.size()) {
                *error = "--msg needs a text";
                return false;
            }
            request->msg = args[++i];
        } else if (!haveCmd) {
            if (!parseInt(arg, &request->cmdId)) {
                // Resolved by name through the daemon's command list.
                line->eventName = arg;
            }
            haveCmd = true;
        } else {
            int value = 0;
            if (!parseValue(arg, &value)) {
                *error = "VALUE must be a number, begin or end, got '" + arg + "'";
                return false;
            }
            request->values.push_back(value);
        }
    }
    if (!haveCmd) {
        *error = "event needs a command id or name";
        return false;
    }
    return line->eventName.empty()
               ? CtlCommandLine::checkEventId(request->cmdId, line->force, error)
               : true;
}

bool parseSet(const std::vector<std::string>& args, Request* request, std::string* error) {
    request->type = RequestType::SetConfig;
    if (args.empty() || !CtlCommandLine::parseClient(args[0], &request->clientId)) {
        *error = args.empty() ? "set needs a client"
                              : "CLIENT must be DUSK, FERN, MOSS (any letter case) or a number, "
                                "got '" +
                                    args[0] + "'";
        return false;
    }
    for (size_t i = 1; i < args.size(); ++i) {
        size_t equals = args[i].find('=');
        int tag = 0;
        int value = 0;
        if (equals == std::string::npos) {
            *error = "expected TAG=VALUE, got '" + args[i] + "'";
            return false;
        }
        const std::string name = args[i].substr(0, equals);
        if (!CtlCommandLine::parseTag(name, &tag)) {
            *error = CtlCommandLine::unknownTag(name);
            return false;
        }
        if (!parseInt(args[i].substr(equals + 1), &value)) {
            *error = "VALUE must be a number, got '" + args[i] + "'";
            return false;
        }
        request->tags.push_back(tag);
        request->values.push_back(value);
    }
    if (request->tags.empty()) {
        *error = "set needs at least one TAG=VALUE";
        return false;
    }
    return true;
}

bool parseGet(const std::vector<std::string>& args, Request* request, std::string* error) {
    request->type = RequestType::GetConfig;
    for (const std::string& arg : args) {
        int tag = 0;
        if (!CtlCommandLine::parseTag(arg, &tag)) {
            *error = CtlCommandLine::unknownTag(arg);
            return false;
        }
        request->tags.push_back(tag);
    }
    if (request->tags.empty()) {
        *error = "get needs at least one tag";
        return false;
    }
    return true;
}

bool parseDump(const std::vector<std::string>& args, Request* request, std::string* error) {
    request->type = RequestType::Dump;
    request->args = args;
    if (args.size() != 1) {
        // The service writes nothing for these: say so before anything is sent.
        *error = std::string(args.empty() ? "needs" : "takes only") + " one OPTION (" +
                 Protocol::kDumpOptions + ")";
        return false;
    }
    return true;
}

// Takes briskctl's own options (--json; and for an event --force, handled there)
// out of a command's arguments, up to "--". A dump keeps "--" only when it is
// first: "dump -- --help" passes --help.
std::vector<std::string> takeOwnOptions(const std::string& command,
                                        const std::vector<std::string>& args, bool* json) {
    std::vector<std::string> rest;
    bool done = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (!done && args[i] == "--") {
            done = true;
            if (command != "dump") {
                rest.push_back(args[i]);
            }
        } else if (!done && args[i] == "--json") {
            *json = true;
        } else if (!done && command == "event" && args[i] == "--msg" && i + 1 < args.size()) {
            rest.push_back(args[i]);
            rest.push_back(args[++i]);  // a message may read "--json"
        } else {
            rest.push_back(args[i]);
        }
    }
    return rest;
}

bool parseCommand(const std::string& command, const std::vector<std::string>& args,
                  CtlCommandLine* line, std::string* error) {
    if (command == "event") {
        return parseEvent(args, line, error);
    }
    if (command == "set") {
        return parseSet(args, &line->request, error);
    }
    if (command == "get") {
        return parseGet(args, &line->request, error);
    }
    if (command == "dump") {
        return parseDump(args, &line->request, error);
    }
    line->request.type = command == "status"     ? RequestType::Status
                         : command == "commands" ? RequestType::Commands
                                                 : RequestType::Version;
    *error = command + " takes no arguments";
    return args.empty();
}
}  // namespace

bool CtlCommandLine::parseClient(const std::string& text, int* clientId) {
    return Vocabulary::clientForName(text, clientId) || parseInt(text, clientId);
}

bool CtlCommandLine::parseTag(const std::string& text, int* tag) {
    return Vocabulary::tagForName(text, tag) || parseInt(text, tag);
}

std::string CtlCommandLine::unknownTag(const std::string& text) {
    const std::string suggestion = Vocabulary::suggestName(text);
    return "unknown tag '" + text + "'" +
           (suggestion.empty() ? " (briskctl --tag-names lists them)"
                               : " (did you mean " + suggestion + "?)");
}

bool CtlCommandLine::checkEventId(int cmdId, bool force, std::string* error) {
    if (cmdId <= Vocabulary::kLastDispatchedCmdId || force) {
        return true;
    }
    *error = "command id " + std::to_string(cmdId) + " is above " +
             std::to_string(Vocabulary::kLastDispatchedCmdId) +
             ", the highest the service dispatches: it would be ignored (use --force to send it "
             "anyway)";
    return false;
}

CtlCommandLine CtlCommandLine::parse(const std::vector<std::string>& args) {
    CtlCommandLine line;
    line.socketPath = Protocol::defaultSocketPath();
    auto fail = [&line](const std::string& error) {
        line.outcome = Outcome::UsageError;
        line.text = error;
        return line;
    };
    auto help = [&line](const std::string& text) {
        line.outcome = Outcome::Help;
        line.text = text;
        return line;
    };
    size_t i = 0;
    for (; i < args.size() && args[i].compare(0, 1, "-") == 0; ++i) {
        const std::string& option = args[i];
        if (isHelp(option)) {
            return help(CtlHelp::general());
        }
        if (option == "--version") {
            return help(CtlHelp::versionLine() + "\n");
        }
        if (option == "--tag-names") {
            std::string names;
            for (const std::string& name : Vocabulary::tagNames()) {
                names += name + "\n";
            }
            return help(names);
        }
        if (option == "--json") {
            line.json = true;
            continue;
        }
        if (option != "--socket" && option != "--timeout-ms") {
            return fail("unknown option '" + option + "'");
        }
        if (i + 1 >= args.size()) {
            return fail(option + " needs a value");
        }
        if (option == "--socket") {
            line.socketPath = args[++i];
        } else if (!parseInt(args[++i], &line.timeoutMs) || line.timeoutMs < 1) {
            return fail("--timeout-ms takes a positive number of milliseconds");
        }
    }
    if (i >= args.size()) {
        return fail("no command given");
    }
    line.command = args[i++];
    const char* commandHelp = CtlHelp::command(line.command);
    if (commandHelp == nullptr) {
        return fail("unknown command '" + line.command + "'");
    }
    if (i < args.size() && isHelp(args[i])) {
        return help(commandHelp);
    }
    const std::vector<std::string> rest = takeOwnOptions(
        line.command, std::vector<std::string>(args.begin() + static_cast<long>(i), args.end()),
        &line.json);
    std::string error;
    if (!parseCommand(line.command, rest, &line, &error)) {
        return fail(line.command + ": " + error);
    }
    // The daemon would refuse an oversize request after a round trip; say so now.
    if (!line.request.checkLimits(&error)) {
        return fail(line.command + ": " + error + "; nothing was sent");
    }
    return line;
}
