#include "tools/briskd/DaemonOptions.h"

#include <algorithm>

#include "config/Vocabulary.h"
#include "tools/protocol/Protocol.h"

namespace {
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
           "  --socket PATH        socket to listen on (default /run/brisk/briskd.sock)\n"
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
           "  --help               this text\n";
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

bool DaemonOptions::parse(int argc, char** argv, DaemonOptions* out, std::string* error) {
    *out = DaemonOptions();
    out->socketPath = Protocol::kDefaultSocketPath;
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            out->help = true;
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
        if (i + 1 >= argc) {
            *error = option.compare(0, 2, "--") == 0 ? option + " needs a value"
                                                     : "unexpected argument '" + option + "'";
            return false;
        }
        std::string value = argv[++i];
        if (option == "--config") {
            out->config = value;
        } else if (option == "--socket") {
            out->socketPath = value;
        } else if (option == "--backend") {
            out->backend = value;
        } else if (option == "--backend-config") {
            out->backendConfig = value;
        } else if (option == "--kernel-root") {
            out->kernelRoot = value;
        } else if (option == "--state-dir") {
            out->stateDir = value;
        } else if (option == "--record") {
            out->recordPath = value;
        } else if (option == "--jank-log") {
            out->jankLogPath = value;
        } else if (option == "--policy") {
            out->policyFiles.push_back(value);
        } else if (option == "--allow") {
            out->allowRules.push_back(value);
        } else if (option == "--max-clients") {
            if (!parseBoundedInt(value, 1, 1024, &out->maxClients)) {
                *error = "--max-clients takes a number from 1 to 1024";
                return false;
            }
        } else if (option == "--max-per-uid") {
            if (!parseBoundedInt(value, 1, 1024, &out->maxPerUid)) {
                *error = "--max-per-uid takes a number from 1 to 1024";
                return false;
            }
        } else if (option == "--reserved") {
            if (!parseBoundedInt(value, 0, 1023, &out->reserved)) {
                *error = "--reserved takes a number from 0 to 1023";
                return false;
            }
        } else if (option == "--rate" || option == "--uid-rate") {
            int* rate = option == "--rate" ? &out->connectionRate : &out->uidRate;
            if (!parseBoundedInt(value, 0, 100000000, rate)) {
                *error = option + " takes a number of values a second from 0 to 100000000";
                return false;
            }
        } else if (option == "--timeout-ms") {
            if (!parseBoundedInt(value, 10, 3600000, &out->timeoutMs)) {
                *error = "--timeout-ms takes a number of milliseconds from 10 to 3600000";
                return false;
            }
        } else {
            *error = "unknown option '" + option + "'";
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
    bool linuxOnly = !out->backendConfig.empty() || out->kernelRoot != "/" ||
                     out->stateDir != "/run/brisk" || out->checkBackend || out->restore;
    if (linuxOnly && out->backend != "linux") {
        *error =
            "--backend-config, --kernel-root, --state-dir, --check-backend and --restore "
            "need --backend linux";
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
