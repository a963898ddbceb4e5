#include "tools/brisk-sim/ConfigChecker.h"

#include <tinyxml2.h>

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "config/BriskLoadXml.h"
#include "config/Vocabulary.h"
#include "config/XmlAttributeScan.h"
#include "platform/BriskPlat.h"
#include "platform/sim/LinuxLoadXml.h"
#include "tools/brisk-sim/SimServer.h"
#include "tools/brisk-sim/TranscriptHooks.h"
#include "tools/brisk-sim/XmlErrorText.h"

namespace {
bool isHexId(const std::string& text) {
    size_t i = text.find_first_not_of(" \t\r\n");
    return i != std::string::npos && text.compare(i, 2, "0x") == 0;
}

struct LoaderDeleter {
    void operator()(BriskLoadXml* loader) const { delete loader; }
};

std::string stepLabel(size_t k) {
    return "step " + std::to_string(k + 1);
}
}  // namespace

ConfigChecker::ConfigChecker(Options options)
    : mOptions(std::move(options)), mParams(mOptions.device, mOptions.lenient) {}

void ConfigChecker::check(const std::string& name, const char* data, size_t size) {
    mName = name;
    mReport = CheckReport();
    mCommands.clear();
    TranscriptHooks::silenceServiceLog();
    if (!load(data, size)) {
        return;
    }
    checkRaw();
    checkRules();
}

void ConfigChecker::unloadable(const std::string& why) {
    mReport.setCommand(CheckReport::kNoId, 0);
    mReport.error("unloadable", 0,
                  "the service cannot load this file: " + why +
                      "; start-up fails (\"createParser failed!\")");
}

bool ConfigChecker::load(const char* data, size_t size) {
    int line = 0;
    if (!XmlAttributeScan::withinLimit(data, size, BriskLoadXml::kMaxAttributesPerElement, &line)) {
        unloadable("the element at line " + std::to_string(line) + " has more than " +
                   std::to_string(BriskLoadXml::kMaxAttributesPerElement) + " attributes");
        return false;
    }
    // One parse serves the raw reading and the service's loader alike; the
    // document goes as soon as both have read it (a big file's is the largest
    // thing in memory).
    auto doc = std::make_unique<tinyxml2::XMLDocument>(true);
    if (doc->Parse(data, size) != tinyxml2::XML_SUCCESS) {
        unloadable("it is no well-formed XML: " + XmlErrorText::describe(*doc));
        return false;
    }
    if (!mReader.read(*doc)) {
        unloadable(mReader.error());
        return false;
    }
    std::unique_ptr<BriskLoadXml, LoaderDeleter> loader(createBriskLoadXml());
    if (loader == nullptr) {
        mReport.error("no-loader", 0, "the platform gives no loader: start-up fails");
        return false;
    }
    std::map<int, RawXmlData*> rawMap;
    loader->parseCmdInfo(mReader.firstCommand(), &rawMap);
    doc.reset();
    convert(rawMap);
    BriskLoadXml::freeRawXmlMap(rawMap);
    return true;
}

const ConfigChecker::Listed* ConfigChecker::listedFor(int id) const {
    auto found =
        std::lower_bound(mCommands.begin(), mCommands.end(), id,
                         [](const Listed& listed, int value) { return listed.command.id < value; });
    return found != mCommands.end() && found->command.id == id ? &*found : nullptr;
}

void ConfigChecker::convert(const std::map<int, RawXmlData*>& rawMap) {
    // The loader keeps the first command of an id.
    std::unordered_map<int, const RawConfigReader::Command*> firstRaw;
    firstRaw.reserve(mReader.commands().size());
    for (const RawConfigReader::Command& raw : mReader.commands()) {
        if (raw.idUsable) {
            firstRaw.emplace(raw.id, &raw);
        }
    }
    mCommands.reserve(rawMap.size());
    // rawMap is ordered by id, and so is mCommands.
    for (const auto& entry : rawMap) {
        const RawXmlData* header = entry.second;
        auto raw = firstRaw.find(entry.first);
        if (header == nullptr || raw == firstRaw.end()) {
            continue;
        }
        mCommands.emplace_back();
        Listed& listed = mCommands.back();
        listed.command.id = entry.first;
        listed.command.name = header->name;
        listed.command.line = raw->second->line;
        const RawXmlData* record = header->next;
        for (size_t k = 0; k < raw->second->steps.size(); ++k) {
            const RawConfigReader::Step& rawStep = raw->second->steps[k];
            if (k >= RawConfigReader::kStepsRead) {
                listed.fates.push_back(StepFate::Ignored);
                continue;
            }
            Action step;
            const bool kept = rawStep.complete() && record != nullptr &&
                              LinuxLoadXml::convertStep(*record, &step);
            // The loader keeps a record only for a complete step.
            if (rawStep.complete() && record != nullptr) {
                record = record->next;
            }
            listed.fates.push_back(kept ? StepFate::Kept : StepFate::Dropped);
            if (!kept) {
                continue;
            }
            CheckedCommand::Lines lines;
            lines.step = rawStep.line;
            for (const RawConfigReader::Param& param : rawStep.params) {
                if (param.isDuration) {
                    lines.duration = param.line;
                } else {
                    lines.pairs.push_back(param.line);
                }
            }
            listed.command.steps.push_back(std::move(step));
            listed.command.lines.push_back(std::move(lines));
        }
    }
}

void ConfigChecker::checkRaw() {
    for (int line : mReader.ignoredPolicyLines()) {
        mReport.setCommand(CheckReport::kNoId, line);
        mReport.warning("second-policy", line,
                        "a second <policy> element is ignored: the loader reads the first one");
    }
    std::unordered_map<int, int> firstLine;  // id -> line of the definition the loader keeps
    for (const RawConfigReader::Command& raw : mReader.commands()) {
        checkRawCommand(raw, &firstLine);
    }
}

void ConfigChecker::checkRawCommand(const RawConfigReader::Command& raw,
                                    std::unordered_map<int, int>* firstLine) {
    const std::string element = "<" + raw.element + ">";
    mReport.setCommand(raw.idUsable ? raw.id : CheckReport::kNoId, raw.line);
    if (!raw.hasId) {
        mReport.error("no-id", raw.line,
                      element + " has no id attribute: the loader skips this command");
        return;
    }
    if (!raw.idUsable) {
        mReport.error("bad-id", raw.line,
                      element + " has id \"" + raw.idText +
                          "\", not an int32 number: the loader skips this command");
        return;
    }
    auto first = firstLine->find(raw.id);
    if (first != firstLine->end()) {
        mReport.error("duplicate-id", raw.line,
                      "id " + std::to_string(raw.id) + " is defined again (first at line " +
                          std::to_string(first->second) +
                          "): the loader keeps the first and drops this one");
        return;
    }
    (*firstLine)[raw.id] = raw.line;
    int strict = 0;
    if (!Vocabulary::parseInt(raw.idText, &strict) && !isHexId(raw.idText)) {
        mReport.warning("id-read-as", raw.line,
                        "id \"" + raw.idText + "\" is read as " + std::to_string(raw.id));
    }
    checkRawSteps(raw);
}

void ConfigChecker::checkRawSteps(const RawConfigReader::Command& raw) {
    if (raw.steps.size() > RawConfigReader::kStepsRead) {
        mReport.warning("steps-ignored", raw.steps[RawConfigReader::kStepsRead].line,
                        std::to_string(raw.steps.size()) +
                            " steps: the loader reads the first three and ignores the rest");
    }
    const size_t read = std::min(raw.steps.size(), RawConfigReader::kStepsRead);
    std::vector<bool> dropped(read, false);
    for (size_t k = 0; k < read; ++k) {
        const RawConfigReader::Step& step = raw.steps[k];
        const std::string label = stepLabel(k) + " is dropped: ";
        if (step.isParamAsStep()) {
            mReport.error("parameter-as-step", step.line,
                          "<" + step.element +
                              "> holds a value but no parameters: it is taken "
                              "as " +
                              stepLabel(k) +
                              ", an empty one (is the <step> element around "
                              "it missing?)");
        }
        for (const RawConfigReader::Param& param : step.params) {
            int value = 0;
            if (!param.hasText) {
                mReport.error("empty-parameter", param.line,
                              label + "parameter " + param.name + " is empty");
                dropped[k] = true;
            } else if (param.isNumber() && !Vocabulary::parseInt(param.text, &value)) {
                mReport.error(
                    "not-a-number", param.line,
                    label + param.name + " \"" + param.text + "\" is not a decimal int32");
                dropped[k] = true;
            }
        }
        // Nothing more is said of a dropped step: none of it reaches the service.
        if (!dropped[k]) {
            mParams.check(step, raw.idUsable && raw.id != Vocabulary::kDefaultGroupCmdId, mReport);
        }
    }
    // The service reads a command through its first step that survives.
    if (read > 0 && dropped[0]) {
        auto next = std::find(dropped.begin(), dropped.end(), false);
        if (next != dropped.end()) {
            const size_t k = static_cast<size_t>(next - dropped.begin());
            mReport.warning("first-step-dropped", raw.steps[k].line,
                            "step 1 is dropped, so " + stepLabel(k) +
                                " is the one the service reads as the command's first");
        }
    }
}

void ConfigChecker::checkRules() {
    const Listed* found = listedFor(Vocabulary::kDefaultGroupCmdId);
    const CheckedCommand* defaults = found != nullptr ? &found->command : nullptr;
    if (defaults == nullptr) {
        mReport.setCommand(Vocabulary::kDefaultGroupCmdId, 0);
        mReport.error("defaults-missing", 0,
                      "the default groups command is missing: start-up fails (init answers 2 "
                      "after \"init default group sched level failed!\")");
    }
    if (listedFor(Vocabulary::kProbeCmdId) == nullptr) {
        mReport.setCommand(Vocabulary::kProbeCmdId, 0);
        mReport.error("probe-missing", 0,
                      "the probe command is missing: start-up stops there (init answers 4), "
                      "probe events answer 4 and no scene priority is loaded from the file");
    }
    // The service's own priority code and built-in table.
    SimServer service;
    CommandRules rules(service, service.priorities(), CommandRules::isHmpDefaults(defaults));
    for (Listed& listed : mCommands) {
        mReport.setCommand(listed.command.id, listed.command.line);
        listed.role = rules.apply(listed.command, mReport);
    }
}

void ConfigChecker::printListing(FILE* out) const {
    fprintf(out, "configuration %s\n", CheckReport::printable(mName).c_str());
    const DeviceModel& device = mOptions.device;
    std::string maxima;
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        if (device.hardwareMax[i] > 0) {
            maxima += std::string(maxima.empty() ? "" : ", ") + DeviceModel::domainWord(i) + " " +
                      std::to_string(device.hardwareMax[i]);
        }
    }
    fprintf(out, "device %s: hardware maxima (kHz) %s; platform items %s\n",
            CheckReport::printable(device.source).c_str(),
            maxima.empty() ? "unknown" : maxima.c_str(),
            device.itemsKnown ? std::to_string(device.items.size()).c_str()
                              : "not declared (any name may be one)");
    fprintf(out, "%zu command%s\n", mCommands.size(), mCommands.size() == 1 ? "" : "s");
    for (const Listed& listed : mCommands) {
        printCommand(listed, out);
    }
    fprintf(out, "\n");
}

void ConfigChecker::printCommand(const Listed& listed, FILE* out) {
    fprintf(out, "\n%d %s (line %d)\n", listed.command.id,
            CheckReport::printable(listed.command.name).c_str(), listed.command.line);
    size_t kept = 0;
    for (size_t k = 0; k < listed.fates.size(); ++k) {
        std::string text = stepLabel(k) + ": ";
        if (listed.fates[k] == StepFate::Ignored) {
            text += "ignored (only three steps are read)";
        } else if (listed.fates[k] == StepFate::Dropped) {
            text += "dropped";
        } else {
            const Action& step = listed.command.steps[kept++];
            text += "duration " + std::to_string(step.duration) + ";";
            if (step.tagPairCount() == 0) {
                text += " no pairs";
            }
            for (int i = 0; i < step.tagPairCount(); ++i) {
                text += " " + CommandRules::pairText(step, i);
            }
        }
        fprintf(out, "  %s\n", CheckReport::printable(text).c_str());
    }
    if (listed.fates.empty()) {
        fprintf(out, "  no step\n");
    }
    fprintf(out, "  -> %s\n", CheckReport::printable(listed.role).c_str());
}
