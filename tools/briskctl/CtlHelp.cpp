#include "tools/briskctl/CtlHelp.h"

#include <cstring>

#include "tools/protocol/Protocol.h"

namespace {
const char kGeneral[] =
    "usage: briskctl [--socket PATH] [--timeout-ms MS] [--json] COMMAND ARG ...\n"
    "Sends one request to briskd and prints the answer.\n"
    "\n"
    "commands:\n"
    "  status                               what the service holds now\n"
    "  event CMD [--msg TEXT] [VALUE ...]   send a performance event\n"
    "  set CLIENT TAG=VALUE ...             set values as client DUSK, FERN or MOSS\n"
    "  get TAG ...                          read values\n"
    "  dump OPTION                          print the service's dump\n"
    "  commands                             list the configured commands\n"
    "  version                              print the service's interface version\n"
    "\n"
    "  --socket PATH     the daemon's socket (default $BRISK_SOCKET, else\n"
    "                    /run/brisk/briskd.sock)\n"
    "  --timeout-ms MS   how long to wait for the daemon (default 10000)\n"
    "  --json            print the answer as JSON (docs/briskd.md gives each shape)\n"
    "  --tag-names       list the tag names of the configuration language\n"
    "  --version         print briskctl's release and protocol version\n"
    "\n"
    "'briskctl COMMAND --help' describes one command. Exit status: 0 when the\n"
    "service's result is 0, 1 for any other result, 2 for usage errors (nothing\n"
    "was sent), 3 when the daemon cannot be reached, 4 when permission is denied,\n"
    "5 when the daemon refuses the request or the dump cannot be written.\n";

const char kStatus[] =
    "usage: briskctl status [--json]\n"
    "Prints what the service holds now: the back-end and its nodes (value in\n"
    "force, original, holders), the clients' and events' frequency limits, the\n"
    "scheduling groups' levels, the applied and waiting scenes, the on/off\n"
    "actions begun and not ended, the boosted threads and the report switch.\n"
    "Changes nothing. Needs the get right.\n";

const char kEvent[] =
    "usage: briskctl event CMD [--msg TEXT] [--force] [VALUE ...]\n"
    "Calls briskEvent(CMD, TEXT, number of VALUEs, VALUEs). CMD is a command id or\n"
    "its name in the configuration ('briskctl commands' lists them). A VALUE is a\n"
    "number, or begin (0) or end (-1). Without VALUEs the payload is null; without\n"
    "--msg the text is empty. Ids above 20225 are never dispatched by the service\n"
    "and are refused unless --force. Prints 'result R: MEANING'.\n"
    "Examples:\n"
    "  briskctl event 12300 begin                  on/off command begins\n"
    "  briskctl event game_mode end                the same by name, ends\n"
    "  briskctl event 4116 --msg 'pid=100|tid=123' 0   probe: boost thread 123\n";

const char kSet[] =
    "usage: briskctl set CLIENT TAG=VALUE ...\n"
    "Calls briskSetConfig(CLIENT, count, TAGs, VALUEs). CLIENT is DUSK (1), FERN\n"
    "(2), MOSS (3) or a number; TAG is a number or a name of the configuration\n"
    "language (little_cpu_max, big_cpu_min, gpu_max, top_app, tag_40, ...).\n"
    "Prints 'result R: MEANING'.\n"
    "Example:\n"
    "  briskctl set DUSK little_cpu_max=1200000 gpu_max=600000\n";

const char kGet[] =
    "usage: briskctl get TAG ...\n"
    "Calls briskGetConfig(count, TAGs, values) and prints 'result R: MEANING',\n"
    "then one 'TAG VALUE' line per tag when R is 0. TAG as for set.\n"
    "Example:\n"
    "  briskctl get little_cpu_max tag_22\n";

const char kDump[] =
    "usage: briskctl dump OPTION\n"
    "Hands briskctl's standard output to the daemon, which writes the service's\n"
    "dump for OPTION to it. Exactly one OPTION; the service's options:\n"
    "  --help          its own list of options\n"
    "  --logon         verbose service log on\n"
    "  --logoff        verbose service log off\n"
    "  --freqlist      the frequency limits of clients and events\n"
    "  --easgrouplist  the scheduling-group levels\n"
    "Put '--' first to pass '--help' itself: briskctl dump -- --help\n"
    "An output that cannot take the text (a full device) exits 5.\n";

const char kCommands[] =
    "usage: briskctl commands [--json]\n"
    "Lists the commands of the daemon's configuration: id, name, the route the\n"
    "service gives it (scene, on/off, ...) and its first step's duration.\n";

const char kVersion[] =
    "usage: briskctl version [--json]\n"
    "Prints the service's interface version ('version N').\n";

struct CommandHelp {
    const char* name;
    const char* help;
};

const CommandHelp kCommandHelps[] = {
    {"status", kStatus}, {"event", kEvent},       {"set", kSet},         {"get", kGet},
    {"dump", kDump},     {"commands", kCommands}, {"version", kVersion},
};
}  // namespace

const char* CtlHelp::general() {
    return kGeneral;
}

const char* CtlHelp::command(const std::string& name) {
    for (const CommandHelp& entry : kCommandHelps) {
        if (name == entry.name) {
            return entry.help;
        }
    }
    return nullptr;
}

std::string CtlHelp::versionLine() {
    return std::string("briskctl ") + BRISK_VERSION + " (protocol " +
           std::to_string(Protocol::kVersion) + ")";
}
