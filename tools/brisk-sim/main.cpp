// brisk-sim: replays a scenario against the service on the simulated device and
// prints its transcript (and draws it), or checks a configuration file.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>

#include "platform/DeviceApi.h"
#include "platform/sim/CfgFileResolver.h"
#include "tools/brisk-sim/CommandLine.h"
#include "tools/brisk-sim/ConfigChecker.h"
#include "tools/brisk-sim/DeviceLoader.h"
#include "tools/brisk-sim/FileText.h"
#include "tools/brisk-sim/ScenarioRunner.h"
#include "tools/brisk-sim/SimServer.h"
#include "tools/brisk-sim/TimelinePicture.h"
#include "tools/brisk-sim/TimelineRecorder.h"
#include "tools/brisk-sim/TranscriptHooks.h"
#include "tools/brisk-sim/TranscriptWriter.h"

namespace {
constexpr int kExitDone = 0;
constexpr int kExitFound = 1;  // the checker found errors; a scenario line failed
constexpr int kExitUsage = 2;
constexpr int kExitInitFailed = 3;
// The longest path that the configuration lookup can hand the service.
constexpr size_t kMaxConfigPath = kCfgPathBufferSize - 1;

int usageError(const std::string& message) {
    fprintf(stderr, "brisk-sim: %s (try brisk-sim --help)\n", message.c_str());
    return kExitUsage;
}

// A file that cannot be read: one line with the reason and a hint, no usage.
int fileError(const std::string& what, const std::string& path, const std::string& why,
              const char* hint) {
    fprintf(stderr, "brisk-sim: cannot read the %s %s: %s (%s)\n", what.c_str(),
            CheckReport::printable(path).c_str(), why.c_str(), hint);
    return kExitUsage;
}

const char kConfigHint[] = "name the configuration with --config FILE";

bool colourWanted(FILE* out) {
    const char* noColour = getenv("NO_COLOR");
    const char* term = getenv("TERM");
    return isatty(fileno(out)) != 0 && (noColour == nullptr || noColour[0] == '\0') &&
           (term == nullptr || strcmp(term, "dumb") != 0);
}

int check(const CommandLine& args) {
    std::string text;
    std::string why;
    if (!FileText::read(args.configPath, FileText::kNoLimit, &text, &why)) {
        return fileError("configuration", args.configPath, why, kConfigHint);
    }
    ConfigChecker::Options options;
    if (!args.devicePaths.empty()) {
        std::string error;
        if (!DeviceLoader::load(args.devicePaths, &options.device, &error)) {
            fprintf(stderr, "brisk-sim: %s\n", CheckReport::printable(error).c_str());
            return kExitUsage;
        }
    }
    options.lenient = args.lenient;
    ConfigChecker checker(options);
    checker.check(args.configPath, text.data(), text.size());
    if (args.format == CommandLine::Format::Json) {
        checker.report().printJson(stdout, args.configPath);
    } else {
        checker.printListing(stdout);
        checker.report().printText(stdout, colourWanted(stdout));
    }
    return checker.report().hasErrors() ? kExitFound : kExitDone;
}

bool writeTimeline(const std::string& path, const TimelineRecorder& recorder,
                   const std::string& title) {
    const bool html = path.size() >= 5 && path.compare(path.size() - 5, 5, ".html") == 0;
    const std::string picture = html ? TimelinePicture::html(recorder.timeline(), title)
                                     : TimelinePicture::svg(recorder.timeline(), title);
    FILE* out = fopen(path.c_str(), "w");
    bool written =
        out != nullptr && fwrite(picture.data(), 1, picture.size(), out) == picture.size();
    int error = errno;
    if (out != nullptr && fclose(out) != 0 && written) {
        written = false;
        error = errno;
    }
    if (!written) {
        fprintf(stderr, "brisk-sim: cannot write the timeline %s: %s\n",
                CheckReport::printable(path).c_str(), strerror(error));
    }
    return written;
}

int replay(const CommandLine& args) {
    std::string config;
    std::string why;
    if (!FileText::read(args.configPath, FileText::kNoLimit, &config, &why)) {
        return fileError("configuration", args.configPath, why, kConfigHint);
    }
    if (args.configPath.size() > kMaxConfigPath) {
        return usageError("the configuration path is longer than the " +
                          std::to_string(kMaxConfigPath) +
                          " characters the service's lookup takes: " + args.configPath);
    }
    const bool fromStdin = args.scenarioPath.empty() || args.scenarioPath == "-";
    std::string scenario;
    if (!fromStdin && !FileText::read(args.scenarioPath, FileText::kNoLimit, &scenario, &why)) {
        return fileError("scenario", args.scenarioPath, why,
                         "give a scenario file, or - to read "
                         "standard input");
    }
    std::istringstream file(scenario);
    std::istream& in = fromStdin ? std::cin : file;
    const std::string source = fromStdin ? "<stdin>" : args.scenarioPath;

    CfgFileResolver::setFile(args.configPath);
    TranscriptWriter writer(stdout);
    const CommandNames names = CommandNames::fromConfig(config.data(), config.size());
    TimelineRecorder recorder(names);
    const bool drawing = !args.timelinePath.empty();
    TranscriptHooks hooks(writer, drawing
                                      ? [&recorder](const SimCall& call) { recorder.onCall(call); }
                                      : std::function<void(const SimCall&)>());
    auto server = std::make_unique<SimServer>();
    ScenarioRunner runner(writer, *server, names, drawing ? &recorder : nullptr);
    std::string error;
    bool done = runner.run(in, &error);
    // The probe thread is stopped before the server goes, and the server before
    // the hooks, so that nothing reaches the transcript after its writer is gone.
    server.reset();
    if (drawing && !writeTimeline(args.timelinePath, recorder, source)) {
        return kExitUsage;
    }
    if (!done) {
        fprintf(stderr, "brisk-sim: %s, line %d: %s\n", source.c_str(), runner.failedLine(),
                error.c_str());
        return kExitFound;
    }
    if (runner.initFailed()) {
        fprintf(stderr,
                "brisk-sim: %s, line %d: init answered %d: the service did not start, and the "
                "calls after it answer as to a service that is not running\n",
                source.c_str(), runner.initLine(), runner.initResult());
        return kExitInitFailed;
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
            return check(args);
        case CommandLine::Mode::Run:
            break;
    }
    return replay(args);
}
