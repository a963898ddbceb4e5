#include "tools/brisk-sim/CommandLine.h"

#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/sim/CfgFileResolver.h"

namespace {
const char kConfigName[] = "xml/brisk_config_cust.xml";
}  // namespace

bool CommandLine::parse(int argc, const char* const* argv, CommandLine* out, std::string* error) {
    *out = CommandLine();
    bool haveConfig = false;
    bool haveScenario = false;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (strcmp(arg, "--help") == 0 || strcmp(arg, "-h") == 0) {
            out->mode = Mode::Help;
            return true;
        }
        if (strcmp(arg, "--check") == 0) {
            out->mode = Mode::Check;
        } else if (strcmp(arg, "--config") == 0) {
            if (haveConfig) {
                *error = "--config given twice";
                return false;
            }
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                *error = "--config needs a FILE";
                return false;
            }
            haveConfig = true;
            out->configPath = argv[++i];
        } else if (arg[0] == '-' && arg[1] != '\0') {
            *error = std::string("unknown option ") + arg;
            return false;
        } else {
            if (haveScenario) {
                *error = "only one SCENARIO can be replayed at a time";
                return false;
            }
            haveScenario = true;
            out->scenarioPath = arg;
        }
    }
    if (out->mode == Mode::Check && haveScenario) {
        *error = "--check reads no SCENARIO";
        return false;
    }
    if (!haveConfig) {
        out->configPath = defaultConfig();
    }
    return true;
}

std::string CommandLine::usage() {
    return "usage: brisk-sim [--config FILE] [SCENARIO]\n"
           "       brisk-sim --check [--config FILE]\n"
           "Replays SCENARIO (standard input when absent or -) against the service on the\n"
           "simulated device and prints its transcript, or checks the configuration FILE.\n"
           "Without --config the configuration the service would read is used:\n  " +
           defaultConfig() + "\n";
}

std::string CommandLine::defaultConfig() {
    const std::vector<std::string> roots = CfgFileResolver::defaultRoots();
    for (const std::string& root : roots) {
        if (access((root + kConfigName).c_str(), R_OK) == 0) {
            return root + kConfigName;
        }
    }
    // None is there: name the install's own, which the error then mentions.
    return roots.back() + kConfigName;
}
