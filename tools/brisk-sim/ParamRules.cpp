#include "tools/brisk-sim/ParamRules.h"

#include <algorithm>

#include "config/Vocabulary.h"

namespace {
// The ratio between kHz and the units a value is mistaken for (Hz, MHz).
constexpr long long kUnitStep = 1000;

// True when `a` and `b` set the same thing: the same tag, or the same platform
// item or duration by name; settingBefore orders by that.
bool sameSetting(const RawConfigReader::Param& a, const RawConfigReader::Param& b) {
    return a.isTag == b.isTag && (a.isTag ? a.tag == b.tag : a.name == b.name);
}

bool settingBefore(const RawConfigReader::Param& a, const RawConfigReader::Param& b) {
    if (a.isTag != b.isTag) {
        return a.isTag;
    }
    return a.isTag ? a.tag < b.tag : a.name < b.name;
}
}  // namespace

std::string ParamRules::suggestName(const std::string& name,
                                    const std::vector<std::string>& known) {
    std::vector<std::string> candidates = known;
    candidates.emplace_back(Vocabulary::kDurationKey);
    return Vocabulary::suggestName(name, candidates);
}

void ParamRules::check(const RawConfigReader::Step& step, bool duplicates,
                       CheckReport& report) const {
    for (const RawConfigReader::Param& param : step.params) {
        if (!param.isNumber()) {
            checkName(param, report);
        } else if (param.isTag && Vocabulary::freqDomainOf(param.tag) >= 0) {
            checkFrequency(param, param.tag, report);
        }
    }
    if (duplicates) {
        checkDuplicates(step, report);
    }
}

void ParamRules::checkName(const RawConfigReader::Param& param, CheckReport& report) const {
    if (mDevice.itemsKnown) {
        if (mDevice.items.count(param.name) != 0) {
            return;
        }
        const std::vector<std::string> items(mDevice.items.begin(), mDevice.items.end());
        const std::string suggestion = suggestName(param.name, items);
        report.error(
            "unknown-item", param.line,
            param.name +
                " is neither a parameter of the configuration language nor a "
                "platform item of " +
                mDevice.source +
                (suggestion.empty() ? std::string() : " (did you mean " + suggestion + "?)"));
        return;
    }
    auto cached = mSuggestions.find(param.name);
    if (cached == mSuggestions.end()) {
        cached = mSuggestions.emplace(param.name, suggestName(param.name)).first;
    }
    const std::string& suggestion = cached->second;
    if (suggestion.empty()) {
        return;
    }
    const std::string message = param.name + " is no parameter of the configuration language; " +
                                "did you mean " + suggestion +
                                "? As written, the platform gets it as a platform item";
    if (mLenient) {
        report.warning("misspelt-name", param.line, message);
    } else {
        report.error("misspelt-name", param.line, message);
    }
}

void ParamRules::checkFrequency(const RawConfigReader::Param& param, int tag,
                                CheckReport& report) const {
    const int domain = Vocabulary::freqDomainOf(tag);
    const long long max = mDevice.hardwareMax[domain];
    int value = 0;
    // 0 and -1 are no limit; a value that is no number drops the step elsewhere.
    if (max <= 0 || !Vocabulary::parseInt(param.text, &value) || value <= 0) {
        return;
    }
    const std::string hardware = std::string("the ") + DeviceModel::domainName(domain) +
                                 "'s hardware maximum, " + std::to_string(max) + " kHz on " +
                                 mDevice.source;
    const std::string what = param.name + " " + std::to_string(value);
    if (value > max) {
        const bool looksLikeHz = DeviceModel::isGpu(domain) && value / kUnitStep <= max;
        report.error("above-hardware-max", param.line,
                     what + " is above " + hardware +
                         (looksLikeHz ? ": it looks like Hz; the configuration takes kHz (" +
                                            std::to_string(value / kUnitStep) + ")"
                                      : std::string()));
    } else if (value < max / kUnitStep) {
        report.warning("likely-unit", param.line,
                       what + " is below a thousandth of " + hardware +
                           ": it looks like MHz; the configuration takes kHz (" +
                           std::to_string(value * kUnitStep) + ")");
    }
}

void ParamRules::checkDuplicates(const RawConfigReader::Step& step, CheckReport& report) {
    const std::vector<RawConfigReader::Param>& params = step.params;
    if (params.size() < 2) {
        return;
    }
    // The parameters grouped by what they set, each group in file order; the
    // groups reported in the order of their first parameter.
    std::vector<size_t> order(params.size());
    for (size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(),
                     [&params](size_t a, size_t b) { return settingBefore(params[a], params[b]); });
    std::vector<std::pair<size_t, std::string>> found;  // first index, message
    for (size_t start = 0; start < order.size();) {
        size_t end = start + 1;
        std::string lines = std::to_string(params[order[start]].line);
        while (end < order.size() && sameSetting(params[order[start]], params[order[end]])) {
            lines += ", " + std::to_string(params[order[end]].line);
            ++end;
        }
        if (end - start > 1) {
            const RawConfigReader::Param& last = params[order[end - 1]];
            found.emplace_back(order[start], last.name + " is given " +
                                                 std::to_string(end - start) +
                                                 " times in this step (lines " + lines +
                                                 "): the last one, \"" + last.text + "\" at line " +
                                                 std::to_string(last.line) + ", is used");
        }
        start = end;
    }
    std::sort(found.begin(), found.end());
    for (const auto& each : found) {
        const RawConfigReader::Param& first = params[each.first];
        // The finding points at the parameter that is used: the last of its group.
        int line = first.line;
        for (const RawConfigReader::Param& param : params) {
            line = sameSetting(param, first) ? param.line : line;
        }
        report.warning("duplicate-tag", line, each.second);
    }
}
