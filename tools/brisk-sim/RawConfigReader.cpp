#include "tools/brisk-sim/RawConfigReader.h"

#include <tinyxml2.h>

#include "config/BriskLoadXml.h"
#include "config/Vocabulary.h"

namespace {
const char kPolicy[] = "policy";

bool hasOwnText(const tinyxml2::XMLElement* element) {
    for (const tinyxml2::XMLNode* node = element->FirstChild(); node != nullptr;
         node = node->NextSibling()) {
        const tinyxml2::XMLText* text = node->ToText();
        if (text != nullptr && text->Value() != nullptr && text->Value()[0] != '\0') {
            return true;
        }
    }
    return false;
}
}  // namespace

bool RawConfigReader::Step::complete() const {
    for (const Param& param : params) {
        if (!param.hasText) {
            return false;
        }
    }
    return true;
}

bool RawConfigReader::read(tinyxml2::XMLDocument& doc) {
    mCommands.clear();
    mIgnoredPolicyLines.clear();
    mError.clear();
    mFirst = nullptr;
    tinyxml2::XMLElement* policy = doc.FirstChildElement(kPolicy);
    if (policy == nullptr) {
        const tinyxml2::XMLElement* root = doc.FirstChildElement();
        mError = "it has no top-level <policy> element" +
                 (root != nullptr ? " (its first element is <" + std::string(root->Name()) + ">)"
                                  : std::string());
        return false;
    }
    for (tinyxml2::XMLElement* other = policy->NextSiblingElement(kPolicy); other != nullptr;
         other = other->NextSiblingElement(kPolicy)) {
        mIgnoredPolicyLines.push_back(other->GetLineNum());
    }
    mFirst = policy->FirstChildElement();
    if (mFirst == nullptr) {
        mError = "its <policy> element (line " + std::to_string(policy->GetLineNum()) +
                 ") holds no command";
        return false;
    }
    for (const tinyxml2::XMLElement* element = mFirst; element != nullptr;
         element = element->NextSiblingElement()) {
        mCommands.push_back(readCommand(element));
    }
    return true;
}

RawConfigReader::Command RawConfigReader::readCommand(const tinyxml2::XMLElement* element) {
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
    for (const tinyxml2::XMLElement* stepElement = element->FirstChildElement();
         stepElement != nullptr; stepElement = stepElement->NextSiblingElement()) {
        Step step;
        step.line = stepElement->GetLineNum();
        step.element = stepElement->Name();
        step.hasOwnText = hasOwnText(stepElement);
        size_t count = 0;
        for (const tinyxml2::XMLElement* p = stepElement->FirstChildElement(); p != nullptr;
             p = p->NextSiblingElement()) {
            ++count;
        }
        step.params.reserve(count);
        for (const tinyxml2::XMLElement* p = stepElement->FirstChildElement(); p != nullptr;
             p = p->NextSiblingElement()) {
            Param param;
            param.name = p->Name();
            param.line = p->GetLineNum();
            const char* text = p->GetText();
            param.hasText = text != nullptr;
            param.text = text != nullptr ? text : "";
            param.isDuration = param.name == Vocabulary::kDurationKey;
            param.isTag = !param.isDuration && Vocabulary::tagForName(param.name, &param.tag);
            step.params.push_back(std::move(param));
        }
        command.steps.push_back(std::move(step));
    }
    return command;
}
