#pragma once

#include <map>
#include <string>
#include <vector>

#include "config/Action.h"
#include "tools/brisk-sim/CheckReport.h"

class BriskServer;

// One command as the service holds it after loading and conversion, with the
// lines of the elements it came from.
struct CheckedCommand {
    struct Lines {
        int step = 0;
        int duration = 0;        // 0: no duration parameter
        std::vector<int> pairs;  // per pair of the step
    };

    int id = 0;
    std::string name;
    int line = 0;
    std::vector<Action> steps;  // the steps that survived, in order
    std::vector<Lines> lines;   // per step of `steps`

    // The line of a step, of its duration and of one of its pairs; each falls back
    // to the element around it when the file does not say.
    int stepLine(size_t step) const;
    int durationLine(size_t step) const;
    int pairLine(size_t step, int index) const;
};

// What the service does with a command, by its id and its first step, and what in
// it the service will refuse or drop at run time. The rules follow the routes of
// the event dispatch: probe, defaults, scenes, on/off actions, scheduling events,
// platform actions, and ids the service never reads.
class CommandRules {
public:
    // `priorities` reads scene priorities with the service's own code;
    // `builtInPriorities` are those the service has before any configuration;
    // `hmpDefaults` says which group set the defaults choose (EAS when unknown).
    CommandRules(BriskServer& priorities, std::map<int, int> builtInPriorities, bool hmpDefaults);

    // One line saying what the service does with the command; problems go to
    // `report`.
    std::string apply(const CheckedCommand& command, CheckReport& report);

    // True when `defaults` (command 5376) is usable and names the hmp group alone.
    static bool isHmpDefaults(const CheckedCommand* defaults);

    // "little_cpu_max(2)=1200000": a pair of a step by its parameter name.
    static std::string pairText(const Action& step, int index);

private:
    std::string defaults(const CheckedCommand& command, CheckReport& report);
    std::string probe(const CheckedCommand& command, CheckReport& report);
    std::string scene(const CheckedCommand& command, CheckReport& report);
    std::string onOff(const CheckedCommand& command, CheckReport& report);
    std::string schedEvent(const CheckedCommand& command, CheckReport& report);

    BriskServer& mPriorities;
    std::map<int, int> mBuiltIn;
    bool mHmpDefaults;
};
