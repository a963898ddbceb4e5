#include "tools/brisk-sim/CommandRules.h"

#include <set>

#include "config/Vocabulary.h"
#include "server/BriskServer.h"
#include "server/EventRouter.h"

using V = Vocabulary;
using Route = EventRouter::Route;

namespace {

std::string paramName(const Action& step, int index) {
    if (index < step.keyPairCount()) {
        return step.pairKey(index);
    }
    return V::kTagNamePrefix + std::to_string(step.pairTag(index));
}

std::string join(const std::vector<std::string>& parts, const char* separator) {
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i) {
        out += (i == 0 ? "" : separator) + parts[i];
    }
    return out;
}

// "top_app 10, boost -20": the levels of a scheduling step.
std::string levelsText(const Action& step) {
    std::vector<std::string> parts;
    parts.reserve(static_cast<size_t>(step.tagPairCount()));
    for (int i = 0; i < step.tagPairCount(); ++i) {
        parts.push_back(paramName(step, i) + " " + std::to_string(step.pairValue(i)));
    }
    return join(parts, ", ");
}

const char kDefaultsFail[] =
    "start-up fails (init answers 3 after \"init default group sched level failed!\")";

// "1, 2, 4, 5, 7, 8": the tags an event may set, floor before ceiling.
std::string eventFreqTagsText() {
    std::vector<std::string> tags;
    for (const V::FloorAndCeiling& pair : V::kFreqLimitPairs) {
        tags.push_back(std::to_string(pair.floor));
        tags.push_back(std::to_string(pair.ceiling));
    }
    return join(tags, ", ");
}

// "-20, -10, ..., 40": the level ladder.
std::string ladderText() {
    return std::to_string(V::kSchedLadder[0]) + ", " + std::to_string(V::kSchedLadder[1]) +
           ", ..., " + std::to_string(V::kSchedLadder[V::kSchedLadderSize - 1]);
}
}  // namespace

int CheckedCommand::stepLine(size_t step) const {
    return step < lines.size() && lines[step].step > 0 ? lines[step].step : line;
}

int CheckedCommand::durationLine(size_t step) const {
    return step < lines.size() && lines[step].duration > 0 ? lines[step].duration : stepLine(step);
}

int CheckedCommand::pairLine(size_t step, int index) const {
    if (step < lines.size() && index >= 0 &&
        static_cast<size_t>(index) < lines[step].pairs.size()) {
        return lines[step].pairs[static_cast<size_t>(index)];
    }
    return stepLine(step);
}

CommandRules::CommandRules(BriskServer& priorities, std::map<int, int> builtInPriorities,
                           bool hmpDefaults)
    : mPriorities(priorities), mBuiltIn(std::move(builtInPriorities)), mHmpDefaults(hmpDefaults) {}

std::string CommandRules::pairText(const Action& step, int index) {
    std::string text = paramName(step, index) + "(" + std::to_string(step.pairTag(index)) + ")=";
    if (step.pairTag(index) == V::kPlatformItemTag && index < step.keyPairCount()) {
        return text + step.pairText(index);
    }
    return text + std::to_string(step.pairValue(index));
}

bool CommandRules::isHmpDefaults(const CheckedCommand* defaults) {
    if (defaults == nullptr || defaults->steps.empty()) {
        return false;
    }
    const Action& step = defaults->steps.front();
    return step.duration == 0 && step.tagPairCount() == 1 && step.pairTag(0) == BRISK_TAG_GROUP_HMP;
}

std::string CommandRules::apply(const CheckedCommand& command, CheckReport& report) {
    const int id = command.id;
    if (id == V::kDefaultGroupCmdId) {
        return defaults(command, report);
    }
    const int duration =
        command.steps.empty() ? EventRouter::kNoStep : command.steps.front().duration;
    switch (EventRouter::route(id, duration)) {
        case Route::Probe:
            return probe(command, report);
        case Route::RestartNotice:
        case Route::ReportSwitch: {
            const char* what = id == V::kClientRestartCmdId ? "the client restart notice"
                                                            : "the frequency-report switch";
            report.warning("never-read", command.line,
                           std::string("never read: the service handles ") + std::to_string(id) +
                               " (" + what + ") itself, without its configuration");
            return std::string("not read: ") + what;
        }
        case Route::Scene:
        case Route::GovernorScene:
            return scene(command, report);
        case Route::OnOff:
            return onOff(command, report);
        case Route::SchedEvent:
            return schedEvent(command, report);
        case Route::PlatformAction:
            return "platform action, duration " + std::to_string(duration);
        case Route::Ignored:
            break;
    }
    if (!EventRouter::readsStep(id)) {
        const std::string last = std::to_string(V::kFreqReportSwitchCmdId);
        report.warning(
            "never-dispatched", command.line,
            "never dispatched: events with ids above " + last + " are ignored (result 0)");
        return "ignored: ids above " + last + " are never dispatched";
    }
    if (command.steps.empty()) {
        return "ignored: no step, every event answers 0 and does nothing";
    }
    return "ignored: duration " + std::to_string(duration) +
           ", every event answers 0 and does nothing";
}

std::string CommandRules::probe(const CheckedCommand& command, CheckReport& report) {
    if (command.steps.empty()) {
        report.warning("probe-without-step", command.line,
                       "the probe command has no usable step: the platform gets an empty action "
                       "(duration -1) on every boost and unboost");
        return "probe: boosts with an empty action";
    }
    const Action& first = command.steps.front();
    std::string role =
        "probe: each boosted thread gets step 1 with payload 0, each unboosted one with -1";
    if (first.duration > V::kProbeDurationCap) {
        const std::string cap = std::to_string(V::kProbeDurationCap);
        report.warning("probe-duration-capped", command.durationLine(0),
                       "duration " + std::to_string(first.duration) + " is capped at " + cap +
                           " when the probe handler is built");
        role += " (duration capped at " + cap + ")";
    }
    return role;
}

std::string CommandRules::defaults(const CheckedCommand& command, CheckReport& report) {
    if (command.steps.empty()) {
        report.error("defaults-without-step", command.line,
                     "the defaults have no step: no default levels are stored and every group "
                     "stays at 0");
        return "defaults: none stored";
    }
    const Action& step = command.steps.front();
    if (step.duration != 0) {
        std::string fate =
            step.duration > 0 ? "it goes to the platform as a timed action" : "it is ignored";
        report.error("defaults-duration", command.durationLine(0),
                     "the defaults step has duration " + std::to_string(step.duration) + ": " +
                         fate + " and no default levels are stored");
        return "defaults: none stored (duration " + std::to_string(step.duration) + ")";
    }
    const int n = step.tagPairCount();
    if (n != 1 && n != SCHED_MAX_GROUP_NUM) {
        report.error("defaults-pair-count", command.stepLine(0),
                     std::to_string(n) +
                         " level pairs: the defaults are one hmp pair or eight EAS group pairs; " +
                         kDefaultsFail);
        return "defaults: refused";
    }
    for (int i = 0; i < n; ++i) {
        int tag = step.pairTag(i);
        bool allowed = n == 1
                           ? tag == BRISK_TAG_GROUP_HMP
                           : V::inRange(tag, BRISK_TAG_EAS_GROUP_FIRST, BRISK_TAG_EAS_GROUP_LAST);
        if (!allowed) {
            std::string need = n == 1 ? "a single default pair must be hmp (tag 50)"
                                      : "eight default pairs must be the EAS groups 51..58";
            report.error("defaults-group", command.pairLine(0, i),
                         need + ", not " + pairText(step, i) + "; " + kDefaultsFail);
            return "defaults: refused";
        }
    }
    std::set<int> seen;
    for (int i = 0; i < n; ++i) {
        if (!seen.insert(step.pairTag(i)).second) {
            report.warning("defaults-group-twice", command.pairLine(0, i),
                           paramName(step, i) +
                               " is given twice: the later level wins and a group is left "
                               "without a default (level 0)");
        }
        if (!V::isOnSchedLadder(step.pairValue(i))) {
            report.warning("level-off-ladder", command.pairLine(0, i),
                           "level " + std::to_string(step.pairValue(i)) + " of " +
                               paramName(step, i) + " is not on the ladder " + ladderText() +
                               ": it is stored as it stands, and a client's step from it "
                               "restarts at " +
                               std::to_string(V::kSchedLadder[0]));
        }
    }
    if (n == 1) {
        return "defaults: the hmp group at " + std::to_string(step.pairValue(0));
    }
    return "defaults: eight EAS groups: " + levelsText(step);
}

std::string CommandRules::scene(const CheckedCommand& command, CheckReport& report) {
    const int id = command.id;
    const bool governor = V::isGovernorCmdId(id);
    Action first = command.steps.front();
    const bool read = first.tagCount >= 1;
    int configured = 0;
    if (read) {
        configured =
            governor ? mPriorities.getInterPriority(&first) : mPriorities.getPriority(&first);
    }
    const bool valid = V::isUsablePriority(configured);
    std::string kind = governor ? "governor scene" : "scene";
    std::string beside = governor ? " (applied beside scene 4119 while 4119 is applied)" : "";

    // initPriorityMap stops one short of the last scene id.
    if (id == V::kSceneLastCmdId) {
        report.error("scene-never-loaded", command.line,
                     "the priority of scene " + std::to_string(id) +
                         " is never loaded at start-up: every begin and end is refused with -1 "
                         "(\"invalid special scene priority\")");
        return kind + " without a usable priority: refused";
    }
    if (valid) {
        return kind + ", priority " + std::to_string(configured) + beside;
    }
    int written = -1;  // the pair the priority is read from: the last one
    for (int i = 0; i < first.tagPairCount(); ++i) {
        if (governor ? paramName(first, i) == V::kPriorityKey
                     : first.pairTag(i) == V::kPriorityTag) {
            written = i;
        }
    }
    auto builtIn = mBuiltIn.find(id);
    const bool hasBuiltIn = builtIn != mBuiltIn.end();
    if (written >= 0) {
        report.warning(
            "priority-out-of-range", command.pairLine(0, written),
            "priority " + std::to_string(configured) + " is outside 1..500 and is not stored" +
                (hasBuiltIn ? "; the built-in " + std::to_string(builtIn->second) + " is used"
                            : std::string()));
    }
    if (hasBuiltIn) {
        return kind + ", priority " + std::to_string(builtIn->second) + " (built-in)" + beside;
    }
    std::string hint = governor ? "; a governor scene reads a parameter named priority"
                                : "; a scene reads a parameter named priority (tag 101)";
    report.error("scene-without-priority", command.line,
                 "scene without a usable priority: every begin and end is refused with -1 "
                 "(\"invalid special scene priority\")" +
                     (written >= 0 ? std::string() : hint));
    return kind + " without a usable priority: refused";
}

std::string CommandRules::onOff(const CheckedCommand& command, CheckReport& report) {
    const int id = command.id;
    const Action& step = command.steps.front();
    if (step.duration >= 1) {
        return "on/off, timed: the whole step goes to the platform (duration " +
               std::to_string(step.duration) + ") on begin and end";
    }
    std::vector<std::string> freqs;
    std::vector<std::string> items;
    std::map<int, int> last;  // tag -> index of its pair, the last occurrence wins
    const int n = step.tagPairCount();
    const int errorsBefore = report.errorCount();
    const std::string refused = "every begin and end is refused with -1";
    for (int i = 0; i < n; ++i) {
        const int tag = step.pairTag(i);
        const int value = step.pairValue(i);
        if (value < 1) {
            report.error("onoff-value", command.pairLine(0, i),
                         pairText(step, i) + ": on/off values must be 1 or more; " + refused +
                             " (\"invalid parameters, cmdId is " + std::to_string(id) + "\")");
        }
        if (tag == V::kPlatformItemTag) {
            items.push_back(paramName(step, i));
            continue;
        }
        if (!V::isEventFreqTag(tag)) {
            report.error("onoff-tag", command.pairLine(0, i),
                         pairText(step, i) + ": the frequency path takes only tags " +
                             eventFreqTagsText() + " (and " + std::to_string(V::kPlatformItemTag) +
                             " for platform items); " + refused + " (\"invalid tag\")");
        }
        last[tag] = i;
        freqs.push_back(paramName(step, i) + " " + std::to_string(value));
    }
    if (freqs.size() > static_cast<size_t>(V::kMaxOnOffPairs)) {
        report.error("onoff-too-many-pairs", command.stepLine(0),
                     std::to_string(freqs.size()) + " frequency pairs: at most " +
                         std::to_string(V::kMaxOnOffPairs) + " fit in one step; " + refused);
    }
    for (const V::FloorAndCeiling& pair : V::kFreqLimitPairs) {
        auto floor = last.find(pair.floor);
        auto ceiling = last.find(pair.ceiling);
        if (floor == last.end() || ceiling == last.end()) {
            continue;
        }
        const int low = step.pairValue(floor->second);
        const int high = step.pairValue(ceiling->second);
        if (low >= 1 && high >= 1 && low > high) {
            report.error("onoff-floor-above-ceiling", command.pairLine(0, floor->second),
                         std::string("floor ") + std::to_string(low) + " above ceiling " +
                             std::to_string(high) + " (tags " + std::to_string(pair.floor) + ", " +
                             std::to_string(pair.ceiling) + "; the ceiling at line " +
                             std::to_string(command.pairLine(0, ceiling->second)) +
                             "): every begin is refused with -1 (\"freq is invalid(min > freq)\")");
        }
    }
    if (report.errorCount() > errorsBefore) {
        return "on/off: refused";
    }
    if (n == 0) {
        report.warning("onoff-without-pairs", command.stepLine(0),
                       "the on/off step has no pairs: begin and end answer 0 and do nothing");
        return "on/off: does nothing";
    }
    std::string role = "on/off:";
    if (!freqs.empty()) {
        role += " frequencies " + join(freqs, ", ");
    }
    if (!items.empty()) {
        role += std::string(freqs.empty() ? "" : ";") + " platform items " + join(items, ", ");
    }
    return role;
}

std::string CommandRules::schedEvent(const CheckedCommand& command, CheckReport& report) {
    const int id = command.id;
    const Action& step = command.steps.front();
    const int n = step.tagPairCount();
    const std::string refused = "every event answers 3";
    if (n < 1 || n > SCHED_MAX_GROUP_NUM) {
        report.error("sched-pair-count", command.stepLine(0),
                     std::to_string(n) +
                         " level pairs: a scheduling event (duration 0) takes 1 "
                         "to 8 group levels; " +
                         refused + " (\"group num is invalid\")");
        return "scheduling event: refused";
    }
    for (int i = 0; i < n; ++i) {
        if (!V::isGroupTag(step.pairTag(i))) {
            report.error("sched-not-a-group", command.pairLine(0, i),
                         pairText(step, i) +
                             " is no scheduling group (tags 50..58); a step without duration is a "
                             "scheduling event, so " +
                             refused);
            return "scheduling event: refused";
        }
    }
    for (int i = 0; i < n; ++i) {
        int tag = step.pairTag(i);
        bool active = mHmpDefaults ? tag == BRISK_TAG_GROUP_HMP : tag != BRISK_TAG_GROUP_HMP;
        if (!active) {
            report.warning("sched-group-inactive", command.pairLine(0, i),
                           paramName(step, i) +
                               " is stored but never reaches the platform: the "
                               "defaults choose " +
                               (mHmpDefaults ? "the hmp group" : "the eight EAS groups"));
        }
    }
    std::string kind = "scheduling event";
    if (id == V::kMossSchedCondCmdId) {
        kind = "MOSS scheduling event (sets a group only while it holds its base level)";
    } else if (id == V::kMossSchedBaseCmdId) {
        kind = "MOSS scheduling event (the first one also saves the base levels)";
    }
    return kind + ": " + levelsText(step);
}
