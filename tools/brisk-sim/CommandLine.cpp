#include "tools/brisk-sim/CommandLine.h"

#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/sim/CfgFileResolver.h"

namespace {
const char kConfigName[] = "xml/brisk_config_cust.xml";
// --device: a back-end description and a kernel root at most.
constexpr size_t kMostDevicePaths = 2;

bool endsWith(const std::string& text, const char* suffix) {
    const size_t n = strlen(suffix);
    return text.size() > n && text.compare(text.size() - n, n, suffix) == 0;
}

// The value of an option that takes one (`--config FILE`): the next argument,
// which must be there, not empty, and given once.
bool optionValue(int argc, const char* const* argv, int* i, std::string* value,
                 const char* valueName, std::string* error) {
    const char* option = argv[*i];
    if (!value->empty()) {
        *error = std::string(option) + " given twice";
        return false;
    }
    if (*i + 1 >= argc || argv[*i + 1][0] == '\0') {
        *error = std::string(option) + " needs " + valueName;
        return false;
    }
    *value = argv[++*i];
    return true;
}

// --device FILE or FOLDER: once, or twice for a back-end description and a kernel
// root (DeviceLoader tells them apart).
bool deviceValue(int argc, const char* const* argv, int* i, std::vector<std::string>* paths,
                 std::string* error) {
    if (paths->size() == kMostDevicePaths) {
        *error = "--device is given once, or twice (a back-end description and a kernel root)";
        return false;
    }
    std::string path;
    if (!optionValue(argc, argv, i, &path, "a FILE or a folder", error)) {
        return false;
    }
    paths->push_back(path);
    return true;
}

// Options that only make sense in one mode.
bool checkModes(const CommandLine& args, bool haveScenario, std::string* error) {
    const bool check = args.mode == CommandLine::Mode::Check;
    if (check && haveScenario) {
        *error = "--check reads no SCENARIO";
    } else if (check && !args.timelinePath.empty()) {
        *error = "--timeline draws a replay, not a check";
    } else if (!check && (!args.devicePaths.empty() || args.lenient ||
                          args.format != CommandLine::Format::Text)) {
        *error = "--device, --lenient and --format go with --check";
    } else if (!args.timelinePath.empty() && !endsWith(args.timelinePath, ".svg") &&
               !endsWith(args.timelinePath, ".html")) {
        *error = "--timeline needs a FILE ending in .svg or .html";
    } else {
        return true;
    }
    return false;
}
}  // namespace

bool CommandLine::parse(int argc, const char* const* argv, CommandLine* out, std::string* error) {
    *out = CommandLine();
    bool haveScenario = false;
    std::string format;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        bool ok = true;
        if (strcmp(arg, "--help") == 0 || strcmp(arg, "-h") == 0) {
            out->mode = Mode::Help;
            return true;
        }
        if (strcmp(arg, "--version") == 0) {
            out->mode = Mode::Version;
            return true;
        }
        if (strcmp(arg, "--check") == 0) {
            out->mode = Mode::Check;
        } else if (strcmp(arg, "--lenient") == 0) {
            out->lenient = true;
        } else if (strcmp(arg, "--config") == 0) {
            ok = optionValue(argc, argv, &i, &out->configPath, "a FILE", error);
        } else if (strcmp(arg, "--device") == 0) {
            ok = deviceValue(argc, argv, &i, &out->devicePaths, error);
        } else if (strcmp(arg, "--timeline") == 0) {
            ok = optionValue(argc, argv, &i, &out->timelinePath, "a FILE", error);
        } else if (strcmp(arg, "--format") == 0) {
            ok = optionValue(argc, argv, &i, &format, "text or json", error);
            if (ok && format != "text" && format != "json") {
                *error = "--format takes text or json, not " + format;
                ok = false;
            }
            out->format = format == "json" ? Format::Json : Format::Text;
        } else if (arg[0] == '-' && arg[1] != '\0') {
            *error = std::string("unknown option ") + arg;
            ok = false;
        } else if (haveScenario) {
            *error = "only one SCENARIO can be replayed at a time";
            ok = false;
        } else {
            haveScenario = true;
            out->scenarioPath = arg;
        }
        if (!ok) {
            return false;
        }
    }
    if (!checkModes(*out, haveScenario, error)) {
        return false;
    }
    if (out->configPath.empty()) {
        out->configPath = defaultConfig();
    }
    return true;
}

std::string CommandLine::usage() {
    return "usage: brisk-sim [--config FILE] [--timeline PICTURE.svg|.html] [SCENARIO]\n"
           "       brisk-sim --check [--config FILE] [--device DEVICE]... [--lenient]\n"
           "                 [--format text|json]\n"
           "       brisk-sim --help | --version\n"
           "Replays SCENARIO (standard input when absent or -) against the service on the\n"
           "simulated device and prints its transcript (and draws it with --timeline), or\n"
           "checks the configuration FILE against DEVICE: a device file, the Linux\n"
           "back-end's description, a kernel root folder (/ or a fake tree), or both of the\n"
           "last two; the simulated device's presets without --device. Without --config\n"
           "the configuration the service would read is used:\n  " +
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
