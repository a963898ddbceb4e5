#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/brisk-sim/CheckReport.h"
#include "tools/brisk-sim/CommandRules.h"
#include "tools/brisk-sim/DeviceModel.h"
#include "tools/brisk-sim/ParamRules.h"
#include "tools/brisk-sim/RawConfigReader.h"

struct RawXmlData;

// brisk-sim --check: loads a configuration with the service's own loader and
// conversion, finds what the service will do with every command, and every
// problem: by the rules of the service, against the device the file is written
// for, and by a reading of the raw XML (for what the loader drops without a
// word).
class ConfigChecker {
public:
    struct Options {
        DeviceModel device = DeviceModel::simulated();
        // A name close to a parameter's is a warning instead of an error, when the
        // device names no platform items.
        bool lenient = false;
    };

    explicit ConfigChecker(Options options);

    // Checks the configuration `data` (`size` bytes; `name` names it in the
    // report). Any bytes may come: the findings say what is wrong with them.
    void check(const std::string& name, const char* data, size_t size);

    const CheckReport& report() const { return mReport; }
    // "configuration NAME", the device, then every command the service keeps with
    // its steps and what the service does with it.
    void printListing(FILE* out) const;

private:
    // What became of each step element of a command.
    enum class StepFate : char { Kept, Dropped, Ignored };
    struct Listed {
        CheckedCommand command;
        std::vector<StepFate> fates;
        std::string role;
    };

    bool load(const char* data, size_t size);
    void convert(const std::map<int, RawXmlData*>& rawMap);
    void checkRaw();
    void checkRawCommand(const RawConfigReader::Command& raw,
                         std::unordered_map<int, int>* firstLine);
    void checkRawSteps(const RawConfigReader::Command& raw);
    void checkRules();
    void unloadable(const std::string& why);
    const Listed* listedFor(int id) const;
    static void printCommand(const Listed& listed, FILE* out);

    Options mOptions;
    ParamRules mParams;
    std::string mName;
    RawConfigReader mReader;
    CheckReport mReport;
    // The commands the service keeps, by id.
    std::vector<Listed> mCommands;
};
