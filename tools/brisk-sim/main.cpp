// brisk-sim: replays a scenario against the service on the simulated device and
// prints its transcript, or checks a configuration file.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>

#include "platform/sim/CfgFileResolver.h"
#include "tools/brisk-sim/CommandLine.h"
#include "tools/brisk-sim/ConfigChecker.h"
#include "tools/brisk-sim/ScenarioRunner.h"
#include "tools/brisk-sim/SimServer.h"
#include "tools/brisk-sim/TranscriptHooks.h"
#include "tools/brisk-sim/TranscriptWriter.h"

namespace {
constexpr int kExitDone = 0;
constexpr int kExitScenarioError = 1;
constexpr int kExitUsage = 2;
// The configuration lookup hands the service a path in a 128-byte buffer.
constexpr size_t kMaxConfigPath = 127;

int usageError(const std::string& message) {
    fprintf(stderr, "brisk-sim: %s (try brisk-sim --help)\n", message.c_str());
    return kExitUsage;
}

int replay(const CommandLine& args) {
    if (access(args.configPath.c_str(), R_OK) != 0) {
        return usageError("cannot read the configuration " + args.configPath);
    }
    if (args.configPath.size() > kMaxConfigPath) {
        return usageError(
            "the configuration path is longer than the 127 characters the "
            "service's lookup takes: " +
            args.configPath);
    }
    const bool fromStdin = args.scenarioPath.empty() || args.scenarioPath == "-";
    std::ifstream file;
    if (!fromStdin) {
        file.open(args.scenarioPath);
        if (!file) {
            return usageError("cannot read the scenario " + args.scenarioPath);
        }
    }
    std::istream& in = fromStdin ? std::cin : file;
    const std::string source = fromStdin ? "<stdin>" : args.scenarioPath;

    CfgFileResolver::setFile(args.configPath);
    TranscriptWriter writer(stdout);
    TranscriptHooks hooks(writer);
    auto server = std::make_unique<SimServer>();
    ScenarioRunner runner(writer, *server);
    std::string error;
    bool done = runner.run(in, &error);
    // The probe thread is stopped before the server goes, and the server before
    // the hooks, so that nothing reaches the transcript after its writer is gone.
    server.reset();
    if (!done) {
        fprintf(stderr, "brisk-sim: %s, line %d: %s\n", source.c_str(), runner.failedLine(),
                error.c_str());
        return kExitScenarioError;
    }
    return kExitDone;
}
}  // namespace

int main(int argc, char** argv) {
    CommandLine args;
    std::string error;
    if (!CommandLine::parse(argc, argv, &args, &error)) {
        return usageError(error);
    }
    switch (args.mode) {
        case CommandLine::Mode::Help:
            fputs(CommandLine::usage().c_str(), stdout);
            return kExitDone;
        case CommandLine::Mode::Version:
            printf("brisk-sim %s\n", BRISK_VERSION);
            return kExitDone;
        case CommandLine::Mode::Check:
            if (access(args.configPath.c_str(), R_OK) != 0) {
                return usageError("cannot read the configuration " + args.configPath);
            }
            return ConfigChecker().run(args.configPath, stdout);
        case CommandLine::Mode::Run:
            break;
    }
    return replay(args);
}
