#pragma once

#include <cstddef>
#include <map>

#include "config/Action.h"
#include "config/RawXmlData.h"

namespace tinyxml2 {
class XMLElement;
}

// Reads the configuration file into RawXmlData chains and hands them to the
// platform's conversion, which turns them into Action chains. The loader object
// is made by createBriskLoadXml() in the platform library, which supplies
// convertRawXmlMap; deleting it (virtual slot 2) is its release.
class BriskLoadXml {
public:
    // Returns a newly allocated map command id -> Action chain header, or null.
    virtual std::map<int, Action*>* convertRawXmlMap(std::map<int, RawXmlData*>* rawMap) = 0;
    virtual ~BriskLoadXml() = default;

    std::map<int, Action*>* loadXmlMap();
    // 0 success, 2 bad arguments or unreadable file, 3 no "policy" element or no child.
    int innerLoad(const char* path, std::map<int, RawXmlData*>* out);
    void parseCmdInfo(tinyxml2::XMLElement* first, std::map<int, RawXmlData*>* out);
    void iterRawXmlDatas(RawXmlData* header, tinyxml2::XMLElement* command);
    bool parseRawXmlDataInfo(RawXmlData* record, tinyxml2::XMLElement* firstParameter);

    // Elements may carry at most this many attributes. tinyxml2's parse time
    // grows with the square of an element's attribute count, so files beyond it
    // are refused before they are parsed (innerLoad returns 2).
    static constexpr size_t kMaxAttributesPerElement = 64;

    // QueryIntValue wraps decimal ids beyond int32 silently; such an id is no
    // integer of ours, and its command is skipped like one with a non-numeric id.
    static bool isIdInInt32Range(const char* text);

    // Frees every chain of `rawMap` and empties it.
    static void freeRawXmlMap(std::map<int, RawXmlData*>& rawMap);
};
