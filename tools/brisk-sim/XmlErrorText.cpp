#include "tools/brisk-sim/XmlErrorText.h"

#include <tinyxml2.h>

namespace {
// tinyxml2 ends some error texts with the element it was reading: "... name=step".
std::string elementOf(const tinyxml2::XMLDocument& doc) {
    const char* text = doc.ErrorStr();
    const std::string marker = "XMLElement name=";
    const std::string all = text != nullptr ? text : "";
    const size_t at = all.find(marker);
    return at == std::string::npos ? std::string() : all.substr(at + marker.size());
}
}  // namespace

std::string XmlErrorText::describe(const tinyxml2::XMLDocument& doc) {
    const std::string element = elementOf(doc);
    const std::string tag = element.empty() ? std::string("an element") : "<" + element + ">";
    const std::string line = std::to_string(doc.ErrorLineNum());
    switch (doc.ErrorID()) {
        case tinyxml2::XML_ERROR_EMPTY_DOCUMENT:
            return "the file holds no XML element (it is empty or blank)";
        case tinyxml2::XML_ERROR_MISMATCHED_ELEMENT:
            return tag + " opened at line " + line + " is never closed (a missing or misspelt </" +
                   (element.empty() ? std::string("...") : element) + ">)";
        case tinyxml2::XML_ERROR_PARSING_ELEMENT:
            return "the element at line " + line + " is malformed (a '<' not followed by a name?)";
        case tinyxml2::XML_ERROR_PARSING_ATTRIBUTE:
            return "an attribute of " + tag + " at line " + line +
                   " is malformed (a value without quotes, or a name given twice)";
        case tinyxml2::XML_ERROR_PARSING_TEXT:
            return "the text at line " + line +
                   " is malformed (a stray '<' or '&'? write &lt; and &amp;)";
        case tinyxml2::XML_ERROR_PARSING_CDATA:
            return "the CDATA section at line " + line + " is never closed (]]>)";
        case tinyxml2::XML_ERROR_PARSING_COMMENT:
            return "the comment opened at line " + line + " is never closed (-->)";
        case tinyxml2::XML_ERROR_PARSING_DECLARATION:
            return "the declaration <?...?> at line " + line + " is malformed";
        case tinyxml2::XML_ERROR_PARSING_UNKNOWN:
            return "the <!...> at line " + line + " is malformed";
        case tinyxml2::XML_ELEMENT_DEPTH_EXCEEDED:
            return "elements are nested too deep at line " + line +
                   " (the parser stops at a few hundred levels)";
        case tinyxml2::XML_ERROR_PARSING:
            return "the XML breaks off at line " + line +
                   ": an element is not closed before the end of the file, or a '<' starts "
                   "nothing";
        default:
            break;
    }
    return std::string("the XML parser reports ") + doc.ErrorName() + " at line " + line;
}
