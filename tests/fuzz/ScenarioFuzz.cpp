// brisk-sim's scenarios: the input is a scenario. Every line goes through the
// tokenizer and the parser (also the lines after one that fails), then the
// scenario is played as brisk-sim plays it, against the service on the shipped
// configuration (whose command names events may use), with its transcript
// written to /dev/null and its timeline drawn. Sleep lines are left out of the
// play: they would only wait.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "platform/sim/CfgFileResolver.h"
#include "platform/sim/SimDevice.h"
#include "tests/fuzz/FuzzHost.h"
#include "tools/brisk-sim/FileText.h"
#include "tools/brisk-sim/ScenarioParser.h"
#include "tools/brisk-sim/ScenarioRunner.h"
#include "tools/brisk-sim/ScenarioTokenizer.h"
#include "tools/brisk-sim/TimelinePicture.h"
#include "tools/brisk-sim/TimelineRecorder.h"
#include "tools/brisk-sim/TranscriptHooks.h"

namespace {
FILE* devNull() {
    static FILE* file = [] {
        FuzzHost::quietOutputs();
        CfgFileResolver::setFile(BRISK_SOURCE_DIR "/etc/brisk_config_cust.xml");
        FILE* opened = fopen("/dev/null", "w");
        if (opened == nullptr) {
            abort();
        }
        return opened;
    }();
    return file;
}

// The command names of the shipped configuration.
const CommandNames& names() {
    static const CommandNames* shipped = [] {
        std::string text;
        std::string why;
        if (!FileText::read(BRISK_SOURCE_DIR "/etc/brisk_config_cust.xml", FileText::kNoLimit,
                            &text, &why)) {
            abort();
        }
        return new CommandNames(CommandNames::fromConfig(text.data(), text.size()));
    }();
    return *shipped;
}

// The scenario without its sleep lines; every line parsed on the way.
std::string parseEveryLine(const std::string& scenario) {
    std::istringstream in(scenario);
    std::string played;
    std::string line;
    while (std::getline(in, line)) {
        // The runner drops a carriage return before it reads a line.
        std::string text = line;
        if (!text.empty() && text.back() == '\r') {
            text.pop_back();
        }
        std::vector<std::string> tokens;
        std::string error;
        ScenarioCommand command;
        const bool parsed = !ScenarioTokenizer::isSkipped(text) &&
                            ScenarioTokenizer::split(text, &tokens, &error) &&
                            ScenarioParser::parse(tokens, &command, &error, &names());
        if (parsed && command.kind == ScenarioCommand::Kind::Sleep) {
            continue;
        }
        played += line + "\n";
    }
    return played;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* out = devNull();
    std::istringstream played(parseEveryLine(FuzzHost::text(data, size)));
    SimDevice::instance().reset();
    TranscriptWriter writer(out);
    TimelineRecorder recorder(names());
    TranscriptHooks hooks(writer, [&recorder](const SimCall& call) { recorder.onCall(call); });
    // As brisk-sim does: the server goes before the hooks.
    auto server = std::make_unique<SimServer>();
    ScenarioRunner runner(writer, *server, names(), &recorder);
    std::string error;
    runner.run(played, &error);
    server.reset();
    const std::string picture = TimelinePicture::svg(recorder.timeline(), "fuzz");
    fwrite(picture.data(), 1, picture.size(), out);
    return 0;
}
