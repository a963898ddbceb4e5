#include "tools/brisk-sim/RawConfigReader.h"

#include <tinyxml2.h>

#include "config/BriskLoadXml.h"
#include "config/XmlAttributeScan.h"

namespace {
const char kPolicy[] = "policy";
}  // namespace

bool RawConfigReader::Step::complete() const {
    for (const Param& param : params) {
        if (!param.hasText) {
            return false;
        }
    }
    return true;
}

bool RawConfigReader::read(const std::string& path) {
    mCommands.clear();
    mIgnoredPolicyLines.clear();
    mError.clear();
    int line = 0;
    if (!XmlAttributeScan::fileWithinLimit(path.c_str(), BriskLoadXml::kMaxAttributesPerElement,
                                           &line)) {
        mError = "the element at line " + std::to_string(line) + " has more than " +
                 std::to_string(BriskLoadXml::kMaxAttributesPerElement) + " attributes";
        return false;
    }
    tinyxml2::XMLDocument doc(true);
    if (doc.LoadFile(path.c_str()) != tinyxml2::XML_SUCCESS) {
        mError = std::string("it cannot be read as XML: ") + doc.ErrorName();
        if (doc.ErrorLineNum() > 0) {
            mError += " at line " + std::to_string(doc.ErrorLineNum());
        }
        return false;
    }
    tinyxml2::XMLElement* policy = doc.FirstChildElement(kPolicy);
    if (policy == nullptr) {
        mError = "it has no top-level \"policy\" element";
        return false;
    }
    for (tinyxml2::XMLElement* other = policy->NextSiblingElement(kPolicy); other != nullptr;
         other = other->NextSiblingElement(kPolicy)) {
        mIgnoredPolicyLines.push_back(other->GetLineNum());
    }
    if (policy->FirstChildElement() == nullptr) {
        mError = "its \"policy\" element (line " + std::to_string(policy->GetLineNum()) +
                 ") holds no command";
        return false;
    }
    for (tinyxml2::XMLElement* element = policy->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        Command command;
        command.line = element->GetLineNum();
        command.element = element->Name();
        const tinyxml2::XMLAttribute* id = element->FindAttribute("id");
        if (id != nullptr) {
            command.hasId = true;
            command.idText = id->Value();
            command.idUsable = id->QueryIntValue(&command.id) == tinyxml2::XML_SUCCESS &&
                               BriskLoadXml::isIdInInt32Range(id->Value());
        }
        const char* name = element->Attribute("name");
        command.name = name != nullptr ? name : "unknown";
        for (tinyxml2::XMLElement* stepElement = element->FirstChildElement();
             stepElement != nullptr; stepElement = stepElement->NextSiblingElement()) {
            Step step;
            step.line = stepElement->GetLineNum();
            for (tinyxml2::XMLElement* p = stepElement->FirstChildElement(); p != nullptr;
                 p = p->NextSiblingElement()) {
                Param param;
                param.name = p->Name();
                param.line = p->GetLineNum();
                const char* text = p->GetText();
                param.hasText = text != nullptr;
                param.text = text != nullptr ? text : "";
                step.params.push_back(param);
            }
            command.steps.push_back(step);
        }
        mCommands.push_back(command);
    }
    return true;
}
