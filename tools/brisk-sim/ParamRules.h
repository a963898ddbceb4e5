#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/brisk-sim/CheckReport.h"
#include "tools/brisk-sim/DeviceModel.h"
#include "tools/brisk-sim/RawConfigReader.h"

// The parameters of one step the loader keeps, against the configuration
// language and the device: names that are neither a parameter nor a platform
// item of the device (or, when the device names no items, that look like a
// misspelt parameter), frequencies above the hardware maximum or in the wrong
// unit, and a tag given twice.
class ParamRules {
public:
    // `lenient`: a name close to a parameter's is a warning, not an error, when
    // the device names no platform items.
    ParamRules(const DeviceModel& device, bool lenient) : mDevice(device), mLenient(lenient) {}

    // Checks `step`, a step that survives conversion. `checkDuplicates` is false
    // for a command whose own rules say what a repeated tag does.
    void check(const RawConfigReader::Step& step, bool checkDuplicates, CheckReport& report) const;

    // The closest of `known` (and of the configuration language's names) to
    // `name`: within two edits, one for names shorter than eight letters, or
    // equal but for letter case; empty when none is that close.
    static std::string suggestName(const std::string& name,
                                   const std::vector<std::string>& known = {});

private:
    void checkName(const RawConfigReader::Param& param, CheckReport& report) const;
    void checkFrequency(const RawConfigReader::Param& param, int tag, CheckReport& report) const;
    static void checkDuplicates(const RawConfigReader::Step& step, CheckReport& report);

    const DeviceModel& mDevice;
    bool mLenient;
    // Name -> its suggestion: a file repeats its platform items many times.
    mutable std::map<std::string, std::string> mSuggestions;
};
