#include "tools/briskd/DaemonOptions.h"

#include <algorithm>

#include "config/Vocabulary.h"
#include "tools/protocol/Protocol.h"

namespace {
const char* const kValueOptions[] = {
    "--config", "--socket",   "--backend",     "--record",      "--jank-log",
    "--policy", "--allow",    "--max-clients", "--max-per-uid", "--reserved",
    "--rate",   "--uid-rate", "--timeout-ms",
};

bool takesValue(const std::string& option) {
    for (const char* known : kValueOptions) {
        if (option == known) {
            return true;
        }
    }
    return false;
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
           "  --backend sim        device back-end; 'sim' (the simulated device) for now\n"
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
        if (option == "--check-config") {
            out->checkConfig = true;
            continue;
        }
        if (option.compare(0, 2, "--") != 0) {
            *error = "unexpected argument '" + option + "'";
            return false;
        }
        if (!takesValue(option)) {
            *error = "unknown option '" + option + "'";
            return false;
        }
        if (i + 1 >= argc) {
            *error = option + " needs a value";
            return false;
        }
        std::string value = argv[++i];
        if (option == "--config") {
            out->config = value;
        } else if (option == "--socket") {
            out->socketPath = value;
        } else if (option == "--backend") {
            out->backend = value;
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
    if (out->backend != "sim") {
        *error = "unknown back-end '" + out->backend + "' (only 'sim' is available)";
        return false;
    }
    if (out->socketPath.empty()) {
        *error = "--socket needs a path";
        return false;
    }
    return true;
}
