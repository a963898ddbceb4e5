#include "tools/briskctl/CtlCommandLine.h"

#include "config/Vocabulary.h"
#include "tools/protocol/Protocol.h"

namespace {
const char kGeneralHelp[] =
    "usage: briskctl [--socket PATH] [--timeout-ms MS] COMMAND ARG ...\n"
    "Sends one request to briskd and prints the answer.\n"
    "\n"
    "commands:\n"
    "  event CMD [--msg TEXT] [VALUE ...]   send a performance event\n"
    "  set CLIENT TAG=VALUE ...             set values as client DUSK, FERN or MOSS\n"
    "  get TAG ...                          read values\n"
    "  dump OPTION                          print the service's dump\n"
    "  version                              print the service's interface version\n"
    "\n"
    "  --socket PATH     the daemon's socket (default /run/brisk/briskd.sock)\n"
    "  --timeout-ms MS   how long to wait for the daemon (default 10000)\n"
    "  --tag-names       list the tag names of the configuration language\n"
    "\n"
    "'briskctl COMMAND --help' describes one command. Exit status: 0 when the\n"
    "service's result is 0, 1 for any other result, 2 for usage errors, 3 when\n"
    "the daemon cannot be reached, 4 when permission is denied, 5 when the daemon\n"
    "refuses the request.\n";

const char kEventHelp[] =
    "usage: briskctl event CMD [--msg TEXT] [VALUE ...]\n"
    "Calls briskEvent(CMD, TEXT, number of VALUEs, VALUEs). Without VALUEs the\n"
    "payload is null; without --msg the text is empty. Prints 'result R'.\n"
    "Examples:\n"
    "  briskctl event 12300 0                      on/off command begins\n"
    "  briskctl event 4116 --msg 'pid=100|tid=123' 0   probe: boost thread 123\n";

const char kSetHelp[] =
    "usage: briskctl set CLIENT TAG=VALUE ...\n"
    "Calls briskSetConfig(CLIENT, count, TAGs, VALUEs). CLIENT is DUSK (1), FERN\n"
    "(2), MOSS (3) or a number; TAG is a number or a name of the configuration\n"
    "language (little_cpu_max, big_cpu_min, gpu_max, top_app, tag_40, ...).\n"
    "Prints 'result R'.\n"
    "Example:\n"
    "  briskctl set DUSK little_cpu_max=1200000 gpu_max=600000\n";

const char kGetHelp[] =
    "usage: briskctl get TAG ...\n"
    "Calls briskGetConfig(count, TAGs, values) and prints 'result R', then one\n"
    "'TAG VALUE' line per tag when R is 0. TAG as for set.\n"
    "Example:\n"
    "  briskctl get little_cpu_max tag_22\n";

const char kDumpHelp[] =
    "usage: briskctl dump OPTION\n"
    "Hands briskctl's standard output to the daemon, which writes the service's\n"
    "dump for OPTION to it. The service's options:\n"
    "  --help          its own list of options\n"
    "  --logon         verbose service log on\n"
    "  --logoff        verbose service log off\n"
    "  --freqlist      the frequency limits of clients and events\n"
    "  --easgrouplist  the scheduling-group levels\n"
    "Put '--' first to pass '--help' itself: briskctl dump -- --help\n";

const char kVersionHelp[] =
    "usage: briskctl version\n"
    "Prints the service's interface version ('version N').\n";

bool isHelp(const std::string& arg) {
    return arg == "--help" || arg == "-h";
}

// Command-line numbers: an optional sign, no blanks.
bool parseInt(const std::string& text, int* value) {
    return Vocabulary::parseInt(text, value, Vocabulary::NumberForm::Signed);
}

bool parseEvent(const std::vector<std::string>& args, size_t i, Request* request,
                std::string* error) {
    request->type = RequestType::Event;
    bool haveCmd = false;
    bool optionsDone = false;
    for (; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsDone && arg == "--") {
            optionsDone = true;
        } else if (!optionsDone && arg == "--msg") {
            if (i + 1 >= args.size()) {
                *error = "--msg needs a text";
                return false;
            }
            request->msg = args[++i];
        } else if (!haveCmd) {
            if (!parseInt(arg, &request->cmdId)) {
                *error = "CMD must be a number, got '" + arg + "'";
                return false;
            }
            haveCmd = true;
        } else {
            int value = 0;
            if (!parseInt(arg, &value)) {
                *error = "VALUE must be a number, got '" + arg + "'";
                return false;
            }
            request->values.push_back(value);
        }
    }
    if (!haveCmd) {
        *error = "event needs a command id";
        return false;
    }
    return true;
}

bool parseSet(const std::vector<std::string>& args, size_t i, Request* request,
              std::string* error) {
    request->type = RequestType::SetConfig;
    if (i >= args.size() || !CtlCommandLine::parseClient(args[i], &request->clientId)) {
        *error = i >= args.size()
                     ? "set needs a client"
                     : "CLIENT must be DUSK, FERN, MOSS or a number, got '" + args[i] + "'";
        return false;
    }
    for (++i; i < args.size(); ++i) {
        size_t equals = args[i].find('=');
        int tag = 0;
        int value = 0;
        if (equals == std::string::npos ||
            !CtlCommandLine::parseTag(args[i].substr(0, equals), &tag) ||
            !parseInt(args[i].substr(equals + 1), &value)) {
            *error = "expected TAG=VALUE with a known tag and a number, got '" + args[i] + "'";
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

bool parseGet(const std::vector<std::string>& args, size_t i, Request* request,
              std::string* error) {
    request->type = RequestType::GetConfig;
    for (; i < args.size(); ++i) {
        int tag = 0;
        if (!CtlCommandLine::parseTag(args[i], &tag)) {
            *error = "unknown tag '" + args[i] + "'";
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

void parseDump(const std::vector<std::string>& args, size_t i, Request* request) {
    request->type = RequestType::Dump;
    if (i < args.size() && args[i] == "--") {
        ++i;
    }
    request->args.assign(args.begin() + static_cast<long>(i), args.end());
}
}  // namespace

const char* CtlCommandLine::generalHelp() {
    return kGeneralHelp;
}

const char* CtlCommandLine::commandHelp(const std::string& command) {
    if (command == "event") {
        return kEventHelp;
    }
    if (command == "set") {
        return kSetHelp;
    }
    if (command == "get") {
        return kGetHelp;
    }
    if (command == "dump") {
        return kDumpHelp;
    }
    if (command == "version") {
        return kVersionHelp;
    }
    return nullptr;
}

bool CtlCommandLine::parseClient(const std::string& text, int* clientId) {
    return Vocabulary::clientForName(text, clientId) || parseInt(text, clientId);
}

bool CtlCommandLine::parseTag(const std::string& text, int* tag) {
    return Vocabulary::tagForName(text, tag) || parseInt(text, tag);
}

CtlCommandLine CtlCommandLine::parse(const std::vector<std::string>& args) {
    CtlCommandLine line;
    line.socketPath = Protocol::kDefaultSocketPath;
    size_t i = 0;
    auto fail = [&line](const std::string& error) {
        line.outcome = Outcome::UsageError;
        line.text = error;
        return line;
    };
    for (; i < args.size() && args[i].compare(0, 1, "-") == 0; ++i) {
        if (isHelp(args[i])) {
            line.outcome = Outcome::Help;
            line.text = kGeneralHelp;
            return line;
        }
        if (args[i] == "--tag-names") {
            line.outcome = Outcome::Help;
            for (const std::string& name : Vocabulary::tagNames()) {
                line.text += name + "\n";
            }
            return line;
        }
        if (i + 1 >= args.size()) {
            return fail(args[i] + " needs a value");
        }
        if (args[i] == "--socket") {
            line.socketPath = args[++i];
        } else if (args[i] == "--timeout-ms") {
            if (!parseInt(args[++i], &line.timeoutMs) || line.timeoutMs < 1) {
                return fail("--timeout-ms takes a positive number of milliseconds");
            }
        } else {
            return fail("unknown option '" + args[i] + "'");
        }
    }
    if (i >= args.size()) {
        return fail("no command given");
    }
    line.command = args[i++];
    const char* help = commandHelp(line.command);
    if (help == nullptr) {
        return fail("unknown command '" + line.command + "'");
    }
    if (i < args.size() && isHelp(args[i])) {
        line.outcome = Outcome::Help;
        line.text = help;
        return line;
    }
    std::string error;
    bool ok = true;
    if (line.command == "event") {
        ok = parseEvent(args, i, &line.request, &error);
    } else if (line.command == "set") {
        ok = parseSet(args, i, &line.request, &error);
    } else if (line.command == "get") {
        ok = parseGet(args, i, &line.request, &error);
    } else if (line.command == "dump") {
        parseDump(args, i, &line.request);
    } else {
        line.request.type = RequestType::Version;
        ok = i == args.size();
        error = "version takes no arguments";
    }
    if (!ok) {
        return fail(line.command + ": " + error);
    }
    // The daemon would refuse an oversize request after a round trip; say so now.
    if (!line.request.checkLimits(&error)) {
        return fail(line.command + ": " + error + "; nothing was sent");
    }
    return line;
}
