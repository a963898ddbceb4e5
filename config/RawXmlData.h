#pragma once

#include <string>
#include <vector>

// One record of a command as read from the configuration file, uninterpreted:
// a header (empty lists) or one step (its parameter names and texts).
struct RawXmlData {
    int cmdId = 0;
    std::string name;
    std::vector<std::string> keys;
    std::vector<std::string> values;
    RawXmlData* next = nullptr;
};
