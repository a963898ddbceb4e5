#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tools/brisk-sim/CheckReport.h"
#include "tools/brisk-sim/CommandRules.h"
#include "tools/brisk-sim/RawConfigReader.h"

struct RawXmlData;

// brisk-sim --check: loads a configuration with the service's own loader and
// conversion, lists every command with its steps and what the service will do
// with it, then every problem found by the rules of the service and by a reading
// of the raw XML (for what the loader drops without a word).
class ConfigChecker {
public:
    // Checks `path` and writes the report to `out`. Returns 1 when an error was
    // found, else 0.
    int run(const std::string& path, FILE* out);

    // The closest name of the configuration language to `name` (within two
    // edits, one for names shorter than eight letters, or equal but for letter
    // case), or empty.
    static std::string suggestName(const std::string& name);

private:
    struct Listed {
        CheckedCommand command;
        std::vector<std::string> stepLines;
    };

    void convert(const std::map<int, RawXmlData*>& rawMap);
    void checkRaw();
    void checkRawSteps(const RawConfigReader::Command& raw, int id);
    void checkRules(FILE* out);
    const RawConfigReader::Command* rawFor(int id) const;

    RawConfigReader mReader;
    CheckReport mReport;
    std::map<int, Listed> mCommands;
    // Command id -> the raw command the loader keeps for it.
    std::map<int, const RawConfigReader::Command*> mFirstRaw;
};
