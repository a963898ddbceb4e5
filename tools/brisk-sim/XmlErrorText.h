#pragma once

#include <string>

namespace tinyxml2 {
class XMLDocument;
}

// A parse error of tinyxml2 in a configuration author's words: what is wrong,
// where, and with which element when tinyxml2 names one, instead of its error
// enumerator.
class XmlErrorText {
public:
    // The error of `doc`, which failed to parse: "<step> opened at line 12 is
    // never closed (a missing or misspelt </step>)".
    static std::string describe(const tinyxml2::XMLDocument& doc);
};
