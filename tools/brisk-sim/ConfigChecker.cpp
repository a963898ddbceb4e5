#include "tools/brisk-sim/ConfigChecker.h"

#include <algorithm>
#include <memory>
#include <set>

#include "config/BriskLoadXml.h"
#include "config/Vocabulary.h"
#include "platform/BriskPlat.h"
#include "platform/sim/LinuxLoadXml.h"
#include "tools/brisk-sim/SimServer.h"
#include "tools/brisk-sim/TranscriptHooks.h"

namespace {
bool isHexId(const std::string& text) {
    size_t i = text.find_first_not_of(" \t\r\n");
    return i != std::string::npos && text.compare(i, 2, "0x") == 0;
}

size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::string lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}

struct LoaderDeleter {
    void operator()(BriskLoadXml* loader) const { delete loader; }
};
}  // namespace

std::string ConfigChecker::suggestName(const std::string& name) {
    // Long names are no typos of ours; this also bounds the work per name.
    const size_t kLongestName = 64;
    if (name.size() > kLongestName) {
        return std::string();
    }
    std::vector<std::string> known = {Vocabulary::kDurationKey};
    for (const std::string& tagName : Vocabulary::tagNames()) {
        known.push_back(tagName);
    }
    // Short names are close to too many others: allow one edit below eight letters.
    const size_t kShortName = 8;
    std::string best;
    size_t bestDistance = name.size() < kShortName ? 2 : 3;
    for (const std::string& candidate : known) {
        size_t d = lower(name) == candidate ? 0 : editDistance(name, candidate);
        if (d < bestDistance) {
            best = candidate;
            bestDistance = d;
        }
    }
    return best;
}

int ConfigChecker::run(const std::string& path, FILE* out) {
    mReport = CheckReport();
    mCommands.clear();
    TranscriptHooks::silenceServiceLog();
    fprintf(out, "configuration %s\n", CheckReport::printable(path).c_str());

    const bool rawRead = mReader.read(path);
    std::unique_ptr<BriskLoadXml, LoaderDeleter> loader(createBriskLoadXml());
    if (loader == nullptr) {
        mReport.error(CheckReport::kNoId, 0, "the platform gives no loader: start-up fails");
        mReport.print(out);
        return 1;
    }
    std::map<int, RawXmlData*> rawMap;
    int r = loader->innerLoad(path.c_str(), &rawMap);
    if (r != 0 || !rawRead) {
        BriskLoadXml::freeRawXmlMap(rawMap);
        std::string why = !mReader.error().empty() ? mReader.error() : "it cannot be loaded";
        mReport.error(CheckReport::kNoId, 0,
                      "the service cannot load this file: " + why +
                          "; start-up fails (\"createParser failed!\")");
        mReport.print(out);
        return 1;
    }
    convert(rawMap);
    BriskLoadXml::freeRawXmlMap(rawMap);

    checkRaw();
    checkRules(out);
    mReport.print(out);
    return mReport.hasErrors() ? 1 : 0;
}

const RawConfigReader::Command* ConfigChecker::rawFor(int id) const {
    auto found = mFirstRaw.find(id);
    return found != mFirstRaw.end() ? found->second : nullptr;
}

void ConfigChecker::convert(const std::map<int, RawXmlData*>& rawMap) {
    // The loader keeps the first command of an id.
    mFirstRaw.clear();
    for (const RawConfigReader::Command& raw : mReader.commands()) {
        if (raw.idUsable) {
            mFirstRaw.emplace(raw.id, &raw);
        }
    }
    for (const auto& entry : rawMap) {
        const RawXmlData* header = entry.second;
        if (header == nullptr) {
            continue;
        }
        Listed listed;
        listed.command.id = entry.first;
        listed.command.name = header->name;
        const RawConfigReader::Command* raw = rawFor(entry.first);
        listed.command.line = raw != nullptr ? raw->line : 0;
        const RawXmlData* record = header->next;
        const size_t stepCount = raw != nullptr ? raw->steps.size() : 0;
        for (size_t k = 0; k < stepCount; ++k) {
            std::string label = "step " + std::to_string(k + 1) + ": ";
            if (k >= RawConfigReader::kStepsRead) {
                listed.stepLines.push_back(label + "ignored (only three steps are read)");
                continue;
            }
            if (!raw->steps[k].complete() || record == nullptr) {
                listed.stepLines.push_back(label + "dropped");
                continue;
            }
            Action step;
            bool kept = LinuxLoadXml::convertStep(*record, &step);
            record = record->next;
            if (!kept) {
                listed.stepLines.push_back(label + "dropped");
                continue;
            }
            std::string text = label + "duration " + std::to_string(step.duration) + ";";
            if (step.tagPairCount() == 0) {
                text += " no pairs";
            }
            for (int i = 0; i < step.tagPairCount(); ++i) {
                text += " " + CommandRules::pairText(step, i);
            }
            listed.stepLines.push_back(text);
            listed.command.steps.push_back(step);
        }
        if (stepCount == 0) {
            listed.stepLines.push_back("no step");
        }
        mCommands[entry.first] = std::move(listed);
    }
}

void ConfigChecker::checkRaw() {
    for (int line : mReader.ignoredPolicyLines()) {
        mReport.warning(CheckReport::kNoId, line,
                        "a second \"policy\" element is ignored: the loader reads the first one");
    }
    std::map<int, int> firstLine;  // id -> line of the definition the loader keeps
    for (const RawConfigReader::Command& raw : mReader.commands()) {
        const std::string element = "<" + raw.element + ">";
        if (!raw.hasId) {
            mReport.error(CheckReport::kNoId, raw.line,
                          element + " has no id attribute: the loader skips this command");
            continue;
        }
        if (!raw.idUsable) {
            mReport.error(CheckReport::kNoId, raw.line,
                          element + " has id \"" + raw.idText +
                              "\", not an int32 number: the loader skips this command");
            continue;
        }
        auto first = firstLine.find(raw.id);
        if (first != firstLine.end()) {
            mReport.error(raw.id, raw.line,
                          "id " + std::to_string(raw.id) + " is defined again (first at line " +
                              std::to_string(first->second) +
                              "): the loader keeps the first and drops this one");
            continue;
        }
        firstLine[raw.id] = raw.line;
        int strict = 0;
        if (!Vocabulary::parseInt(raw.idText, &strict) && !isHexId(raw.idText)) {
            mReport.warning(raw.id, raw.line,
                            "id \"" + raw.idText + "\" is read as " + std::to_string(raw.id));
        }
        checkRawSteps(raw, raw.id);
    }
}

void ConfigChecker::checkRawSteps(const RawConfigReader::Command& raw, int id) {
    if (raw.steps.size() > RawConfigReader::kStepsRead) {
        mReport.warning(id, raw.steps[RawConfigReader::kStepsRead].line,
                        std::to_string(raw.steps.size()) +
                            " steps: the loader reads the first three and ignores the rest");
    }
    const size_t read = std::min(raw.steps.size(), RawConfigReader::kStepsRead);
    std::vector<std::string> unknown;  // in document order
    std::set<std::string> seen;
    std::vector<size_t> dropped;
    for (size_t k = 0; k < read; ++k) {
        const RawConfigReader::Step& step = raw.steps[k];
        const std::string label = "step " + std::to_string(k + 1) + ": ";
        bool drop = false;
        for (const RawConfigReader::Param& param : step.params) {
            if (!param.hasText) {
                mReport.error(id, param.line,
                              label + "parameter " + param.name +
                                  " is empty: the loader drops the whole step");
                drop = true;
                continue;
            }
            int tag = 0;
            bool isNumber =
                param.name == Vocabulary::kDurationKey || Vocabulary::tagForName(param.name, &tag);
            int value = 0;
            if (isNumber && !Vocabulary::parseInt(param.text, &value)) {
                mReport.error(id, param.line,
                              label + param.name + " \"" + param.text +
                                  "\" is not a decimal int32: the whole step is dropped");
                drop = true;
            } else if (!isNumber && seen.insert(param.name).second) {
                unknown.push_back(param.name);
            }
        }
        if (drop) {
            dropped.push_back(k);
        }
    }
    // The service reads a command through its first step that survives.
    if (!dropped.empty() && dropped.front() == 0) {
        for (size_t k = 1; k < read; ++k) {
            if (std::find(dropped.begin(), dropped.end(), k) == dropped.end()) {
                mReport.warning(id, raw.steps[k].line,
                                "step 1 is dropped, so step " + std::to_string(k + 1) +
                                    " is the one the service reads as the command's first");
                break;
            }
        }
    }
    for (const std::string& name : unknown) {
        std::string suggestion = suggestName(name);
        mReport.warning(
            id, raw.line,
            name +
                " is no name of the configuration language: the platform gets it "
                "as item (10, 1) with its text" +
                (suggestion.empty() ? std::string() : " (did you mean " + suggestion + "?)"));
    }
}

void ConfigChecker::checkRules(FILE* out) {
    const CheckedCommand* defaults = nullptr;
    auto found = mCommands.find(Vocabulary::kDefaultGroupCmdId);
    if (found != mCommands.end()) {
        defaults = &found->second.command;
    } else {
        mReport.error(Vocabulary::kDefaultGroupCmdId, 0,
                      "the default groups command is missing: start-up fails (init answers 2 "
                      "after \"init default group sched level failed!\")");
    }
    if (mCommands.count(Vocabulary::kProbeCmdId) == 0) {
        mReport.error(Vocabulary::kProbeCmdId, 0,
                      "the probe command is missing: start-up stops there (init answers 4), "
                      "probe events answer 4 and no scene priority is loaded from the file");
    }
    // The service's own priority code and built-in table.
    SimServer service;
    CommandRules rules(service, service.priorities(), CommandRules::isHmpDefaults(defaults));
    fprintf(out, "%zu command%s\n", mCommands.size(), mCommands.size() == 1 ? "" : "s");
    for (const auto& entry : mCommands) {
        const Listed& listed = entry.second;
        std::string role = rules.apply(listed.command, mReport);
        fprintf(out, "\n%d %s (line %d)\n", listed.command.id,
                CheckReport::printable(listed.command.name).c_str(), listed.command.line);
        for (const std::string& line : listed.stepLines) {
            fprintf(out, "  %s\n", CheckReport::printable(line).c_str());
        }
        fprintf(out, "  -> %s\n", CheckReport::printable(role).c_str());
    }
    fprintf(out, "\n");
}
