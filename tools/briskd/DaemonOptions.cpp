#include "tools/briskd/DaemonOptions.h"

#include <algorithm>

#include "config/Vocabulary.h"
#include "tools/protocol/Protocol.h"

namespace {
// Options that take a value, one table per kind of value: the one list of them.
struct TextOption {
    const char* name;
    std::string DaemonOptions::*field;
};
const TextOption kTextOptions[] = {
    {"--config", &DaemonOptions::config},
    {"--socket", &DaemonOptions::socketPath},
    {"--backend", &DaemonOptions::backend},
    {"--backend-config", &DaemonOptions::backendConfig},
    {"--kernel-root", &DaemonOptions::kernelRoot},
    {"--state-dir", &DaemonOptions::stateDir},
    {"--record", &DaemonOptions::recordPath},
    {"--jank-log", &DaemonOptions::jankLogPath},
};

struct ListOption {
    const char* name;
    std::vector<std::string> DaemonOptions::*field;
};
const ListOption kListOptions[] = {
    {"--policy", &DaemonOptions::policyFiles},
    {"--allow", &DaemonOptions::allowRules},
};

struct NumberOption {
    const char* name;
    int DaemonOptions::*field;
    int low;
    int high;
    const char* what;  // "a number of ..." for the error
};
const NumberOption kNumberOptions[] = {
    {"--max-clients", &DaemonOptions::maxClients, 1, 1024, "a number"},
    {"--max-per-uid", &DaemonOptions::maxPerUid, 1, 1024, "a number"},
    {"--reserved", &DaemonOptions::reserved, 0, 1023, "a number"},
    {"--rate", &DaemonOptions::connectionRate, 0, 100000000, "a number of values a second"},
    {"--uid-rate", &DaemonOptions::uidRate, 0, 100000000, "a number of values a second"},
    {"--timeout-ms", &DaemonOptions::timeoutMs, 10, 3600000, "a number of milliseconds"},
};

template <typename Table>
const auto* findOption(const Table& table, const std::string& name) {
    for (const auto& entry : table) {
        if (name == entry.name) {
            return &entry;
        }
    }
    return static_cast<decltype(&table[0])>(nullptr);
}

bool parseBoundedInt(const std::string& text, int low, int high, int* out) {
    long long value = 0;
    if (!Vocabulary::parseDecimal(text, Vocabulary::NumberForm::Digits, low, high, &value)) {
        return false;
    }
    *out = static_cast<int>(value);
    return true;
}
}  // namespace

const char* DaemonOptions::usage() {
    return "usage: briskd [OPTION ...]\n"
           "Runs the Brisk service as a daemon on a Unix socket.\n"
           "\n"
           "  --config FILE        configuration file (default: the standard search,\n"
           "                       /etc/brisk/xml/brisk_config_cust.xml, then the install's)\n"
           "  --socket PATH        socket to listen on (default $BRISK_SOCKET, else\n"
           "                       /run/brisk/briskd.sock)\n"
           "  --backend NAME       device back-end: 'sim' (the simulated device, the default)\n"
           "                       or 'linux' (this machine's kernel files)\n"
           "  --backend-config FILE  the Linux back-end's description (default: discovery)\n"
           "  --kernel-root DIR    prefix of every kernel path the Linux back-end opens\n"
           "                       (default /; a fake tree for tests)\n"
           "  --state-dir DIR      the Linux back-end's journal and lock (default /run/brisk)\n"
           "  --check-backend      print what the Linux back-end finds and would write, and\n"
           "                       whether it can; change nothing; exit 0 when all is usable\n"
           "  --restore            put back what a Linux back-end that did not end cleanly\n"
           "                       left changed (from its journal), then exit\n"
           "  --record FILE        write every call reaching the simulated device to FILE\n"
           "  --jank-log FILE      append jank-log records to FILE (default: the log)\n"
           "  --policy FILE        access policy file (repeatable)\n"
           "  --allow RIGHT=WHO    grant a right: RIGHT is event, dusk, fern, moss, get,\n"
           "                       dump, admin or probe_any; WHO is uid:N, gid:N,\n"
           "                       user:NAME, group:NAME or any, comma-separated\n"
           "                       (repeatable). Root and the daemon's own user hold\n"
           "                       every right.\n"
           "  --max-clients N      connections served at once (default 32, 1..1024)\n"
           "  --max-per-uid N      connections of one user at once (default a quarter of\n"
           "                       --max-clients); root and the daemon's user excepted\n"
           "  --reserved N         connections kept for root and the daemon's user\n"
           "                       (default an eighth of --max-clients)\n"
           "  --rate N             tags and values a second one connection may send; a\n"
           "                       request counts at least one (default 500, 0: no limit)\n"
           "  --uid-rate N         the same for all connections of one user (default 1000)\n"
           "  --timeout-ms MS      idle and per-request time limit (default 5000)\n"
           "  --verbose            log debug lines too\n"
           "  --check-config       load the configuration and the policy, print their\n"
           "                       verdict and exit (0: both usable)\n"
           "  --version            print briskd's release and protocol version\n"
           "  --help               this text\n"
           "\n"
           "SIGTERM and SIGINT stop it cleanly; SIGHUP re-reads the access policy (the\n"
           "configuration is read only at start-up). Exit status: 0 after a clean stop\n"
           "or a usable --check-config, 1 when start-up or the check failed, 2 for a\n"
           "command line it cannot use.\n";
}

bool DaemonOptions::takeValue(int argc, char** argv, int* i, std::string* error) {
    const std::string option = argv[*i];
    const TextOption* text = findOption(kTextOptions, option);
    const ListOption* list = findOption(kListOptions, option);
    const NumberOption* number = findOption(kNumberOptions, option);
    if (text == nullptr && list == nullptr && number == nullptr) {
        *error = option.compare(0, 2, "--") == 0 ? "unknown option '" + option + "'"
                                                 : "unexpected argument '" + option + "'";
        return false;
    }
    if (*i + 1 >= argc) {
        *error = option + " needs a value";
        return false;
    }
    const std::string value = argv[++*i];
    if (text != nullptr) {
        this->*text->field = value;
    } else if (list != nullptr) {
        (this->*list->field).push_back(value);
    } else if (!parseBoundedInt(value, number->low, number->high, &(this->*number->field))) {
        *error = option + " takes " + number->what + " from " + std::to_string(number->low) +
                 " to " + std::to_string(number->high);
        return false;
    }
    return true;
}

bool DaemonOptions::settleConnectionLimits(std::string* error) {
    if (maxPerUid == 0) {
        maxPerUid = std::max(1, maxClients / 4);
    }
    if (reserved < 0) {
        reserved = maxClients / 8;
    }
    if (maxPerUid > maxClients) {
        *error = "--max-per-uid cannot exceed --max-clients (" + std::to_string(maxClients) + ")";
        return false;
    }
    if (reserved >= maxClients) {
        *error = "--reserved must stay below --max-clients (" + std::to_string(maxClients) + ")";
        return false;
    }
    return true;
}

std::string DaemonOptions::versionLine() {
    return std::string("briskd ") + BRISK_VERSION + " (protocol " +
           std::to_string(Protocol::kVersion) + ")";
}

bool DaemonOptions::parse(int argc, char** argv, DaemonOptions* out, std::string* error) {
    *out = DaemonOptions();
    out->socketPath = Protocol::defaultSocketPath();
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            out->help = true;
            continue;
        }
        if (option == "--version") {
            out->version = true;
            continue;
        }
        if (option == "--verbose") {
            out->verbose = true;
            continue;
        }
        if (option == "--check-backend" || option == "--restore") {
            (option == "--restore" ? out->restore : out->checkBackend) = true;
            continue;
        }
        if (option == "--check-config") {
            out->checkConfig = true;
            continue;
        }
        if (!out->takeValue(argc, argv, &i, error)) {
            return false;
        }
    }
    if (!out->settleConnectionLimits(error)) {
        return false;
    }
    if (out->backend != "sim" && out->backend != "linux") {
        *error = "unknown back-end '" + out->backend + "' (use 'sim' or 'linux')";
        return false;
    }
    // --restore is the unit's ExecStopPost= whatever the back-end: on the
    // simulated device it has nothing to do.
    const DaemonOptions defaults;
    bool linuxOnly = !out->backendConfig.empty() || out->kernelRoot != defaults.kernelRoot ||
                     out->stateDir != defaults.stateDir || out->checkBackend;
    if (linuxOnly && out->backend != "linux") {
        *error =
            "--backend-config, --kernel-root, --state-dir and --check-backend need --backend "
            "linux";
        return false;
    }
    if (out->checkBackend && out->restore) {
        *error = "--check-backend and --restore exclude each other";
        return false;
    }
    if (out->kernelRoot.empty() || out->stateDir.empty()) {
        *error = "--kernel-root and --state-dir need a folder";
        return false;
    }
    if (out->socketPath.empty()) {
        *error = "--socket needs a path";
        return false;
    }
    return true;
}
