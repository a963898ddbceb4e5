#include "tools/briskd/ConfigCheck.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "config/BriskLoadXml.h"
#include "config/BriskParser.h"
#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"
#include "platform/DeviceApi.h"
#include "platform/sim/CfgFileResolver.h"
#include "tools/briskd/DaemonLogger.h"

namespace {
// The longest path that the platform's configuration lookup can hand over.
constexpr size_t kMaxConfigPath = kCfgPathBufferSize - 1;

struct RequiredCommand {
    int cmdId;
    const char* what;
};
// Without these the service's init fails (the default groups) or probe events do.
const RequiredCommand kRequired[] = {
    {Vocabulary::kDefaultGroupCmdId, "the default scheduling groups: the service would not start"},
    {Vocabulary::kProbeCmdId, "the probe command: probe events would fail with result 4"},
};
}  // namespace

PolicyStore::Sources ConfigCheck::policySources(const DaemonOptions& options) {
    PolicyStore::Sources sources;
    sources.owner = geteuid();
    sources.files = options.policyFiles;
    sources.rules = options.allowRules;
    return sources;
}

bool ConfigCheck::useConfiguration(const DaemonOptions& options, std::string* error) {
    if (options.config.empty()) {
        return true;
    }
    char resolved[PATH_MAX];
    if (realpath(options.config.c_str(), resolved) == nullptr || access(resolved, R_OK) != 0) {
        *error = "cannot read the configuration " + options.config + ": " + strerror(errno);
        return false;
    }
    if (strlen(resolved) > kMaxConfigPath) {
        *error = std::string("configuration path ") + resolved + " is longer than " +
                 std::to_string(kMaxConfigPath) + " bytes";
        return false;
    }
    CfgFileResolver::setFile(resolved);
    return true;
}

std::string ConfigCheck::configurationPath(const DaemonOptions& /*options*/) {
    // After useConfiguration, the lookup answers --config itself.
    return CfgFileResolver::resolve(Vocabulary::kConfigFileName);
}

bool ConfigCheck::checkConfiguration(const DaemonOptions& options, FILE* out) {
    std::string error;
    if (!useConfiguration(options, &error)) {
        fprintf(out, "configuration: %s\n", error.c_str());
        return false;
    }
    const std::string path = configurationPath(options);
    if (path.empty()) {
        fprintf(out,
                "configuration: none found (looked for %s under /etc/brisk/ and the install)\n",
                Vocabulary::kConfigFileName);
        return false;
    }
    std::unique_ptr<BriskLoadXml> loader(createBriskLoadXml());
    std::map<int, Action*>* map = loader == nullptr ? nullptr : loader->loadXmlMap();
    if (map == nullptr) {
        fprintf(out,
                "configuration %s: cannot be loaded (the service's messages above say why; "
                "'brisk-sim --check --config %s' explains)\n",
                path.c_str(), path.c_str());
        return false;
    }
    BriskParser parser(map);
    const std::vector<int> ids = parser.commandIds();
    bool usable = true;
    for (const RequiredCommand& required : kRequired) {
        if (!std::binary_search(ids.begin(), ids.end(), required.cmdId)) {
            fprintf(out, "configuration %s: no command %d (%s)\n", path.c_str(), required.cmdId,
                    required.what);
            usable = false;
        }
    }
    if (usable) {
        fprintf(out, "configuration %s: %zu commands, usable\n", path.c_str(), ids.size());
    }
    return usable;
}

bool ConfigCheck::checkPolicy(const DaemonOptions& options, FILE* out) {
    std::string error;
    if (PolicyStore::build(policySources(options), &error) == nullptr) {
        fprintf(out, "policy: %s\n", error.c_str());
        return false;
    }
    fprintf(out, "policy: %zu files and %zu --allow rules, usable\n", options.policyFiles.size(),
            options.allowRules.size());
    return true;
}

int ConfigCheck::run(const DaemonOptions& options, FILE* out) {
    DaemonLogger::install(options.verbose);
    // Both are checked, so that one run names every problem.
    const bool configuration = checkConfiguration(options, out);
    const bool policy = checkPolicy(options, out);
    return configuration && policy ? 0 : 1;
}
