#pragma once

#include "config/BriskLoadXml.h"

// The Linux conversion of RawXmlData chains into Action chains, which defines
// the configuration language:
// - the header becomes an Action with the command's id and name, duration -1;
// - a step's "duration" parameter sets its duration (0 when absent) and is no pair;
// - every other parameter is one pair in tagValues and the same (name, text) in
//   keyValues; named tags and "tag_N" carry their integer value, any other name
//   is a platform item (tag 10, value 1).
// A step whose duration or tag value is not a decimal int32 is dropped.
class LinuxLoadXml : public BriskLoadXml {
public:
    std::map<int, Action*>* convertRawXmlMap(std::map<int, RawXmlData*>* rawMap) override;

    // Converts one step; false (with an error log) when a value is malformed.
    static bool convertStep(const RawXmlData& raw, Action* step);
};
