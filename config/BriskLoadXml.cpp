#include "config/BriskLoadXml.h"

#include <tinyxml2.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "config/RecordChain.h"
#include "config/Vocabulary.h"
#include "config/XmlAttributeScan.h"
#include "platform/DeviceApi.h"
#include "server/BriskLog.h"

namespace {
constexpr int kMaxStepsPerCommand = 3;
}  // namespace

std::map<int, Action*>* BriskLoadXml::loadXmlMap() {
    char buffer[kCfgPathBufferSize] = {0};
    const char* path = get_one_cfg_file(Vocabulary::kConfigFileName, 0, buffer);
    if (path == nullptr) {
        BRISK_LOGE("brisk_config_cust.xml is not exit or file is invalid!");
        return nullptr;
    }
    std::map<int, RawXmlData*> rawMap;
    int r = innerLoad(path, &rawMap);
    if (r != 0) {
        BRISK_LOGE("get brisk_config_cust.xml failed!,ret:%d", r);
        freeRawXmlMap(rawMap);
        return nullptr;
    }
    std::map<int, Action*>* result = convertRawXmlMap(&rawMap);
    freeRawXmlMap(rawMap);
    return result;
}

int BriskLoadXml::innerLoad(const char* path, std::map<int, RawXmlData*>* out) {
    if (path == nullptr || out == nullptr) {
        return 2;
    }
    int line = 0;
    if (!XmlAttributeScan::fileWithinLimit(path, kMaxAttributesPerElement, &line)) {
        BRISK_LOGE("LoadFile refused, path:%s, the element at line %d has more than %zu attributes",
                   path, line, kMaxAttributesPerElement);
        return 2;
    }
    tinyxml2::XMLDocument doc(true);
    tinyxml2::XMLError err = doc.LoadFile(path);
    if (err != tinyxml2::XML_SUCCESS) {
        BRISK_LOGE("LoadFile error, path:%s, error code:%d", path, static_cast<int>(err));
        return 2;
    }
    tinyxml2::XMLElement* policy = doc.FirstChildElement("policy");
    if (policy == nullptr) {
        return 3;
    }
    tinyxml2::XMLElement* first = policy->FirstChildElement();
    if (first == nullptr) {
        return 3;
    }
    parseCmdInfo(first, out);
    return 0;
}

void BriskLoadXml::parseCmdInfo(tinyxml2::XMLElement* first, std::map<int, RawXmlData*>* out) {
    for (tinyxml2::XMLElement* command = first; command != nullptr;
         command = command->NextSiblingElement()) {
        const tinyxml2::XMLAttribute* idAttr = command->FindAttribute("id");
        int cmdId = 0;
        if (idAttr == nullptr || idAttr->QueryIntValue(&cmdId) != tinyxml2::XML_SUCCESS ||
            !isIdInInt32Range(idAttr->Value())) {
            continue;
        }
        if (out->count(cmdId) != 0) {
            BRISK_LOGE("multi-cmdId exist! we choose the first one, cmdId=%d", cmdId);
            continue;
        }
        RawXmlData* header = new RawXmlData();
        header->cmdId = cmdId;
        const char* name = command->Attribute("name");
        header->name = name != nullptr ? name : "unknown";
        iterRawXmlDatas(header, command);
        (*out)[cmdId] = header;
    }
}

void BriskLoadXml::iterRawXmlDatas(RawXmlData* header, tinyxml2::XMLElement* command) {
    RawXmlData* tail = header;
    int steps = 0;
    for (tinyxml2::XMLElement* step = command->FirstChildElement();
         step != nullptr && steps < kMaxStepsPerCommand;
         step = step->NextSiblingElement(), ++steps) {
        RawXmlData* record = new RawXmlData();
        record->cmdId = header->cmdId;
        record->name = header->name;
        if (parseRawXmlDataInfo(record, step->FirstChildElement())) {
            tail->next = record;
            tail = record;
        } else {
            delete record;
        }
    }
}

bool BriskLoadXml::parseRawXmlDataInfo(RawXmlData* record, tinyxml2::XMLElement* firstParameter) {
    for (tinyxml2::XMLElement* param = firstParameter; param != nullptr;
         param = param->NextSiblingElement()) {
        const char* text = param->GetText();
        if (text == nullptr) {
            BRISK_LOGE("xml %s's value is NULL!", param->Name());
            return false;
        }
        record->keys.emplace_back(param->Name());
        record->values.emplace_back(text);
    }
    return true;
}

bool BriskLoadXml::isIdInInt32Range(const char* text) {
    if (text == nullptr) {
        return false;
    }
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') {
        ++text;
    }
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        return true;
    }
    errno = 0;
    long long value = strtoll(text, nullptr, 10);
    return errno == 0 && value >= INT_MIN && value <= INT_MAX;
}

void BriskLoadXml::freeRawXmlMap(std::map<int, RawXmlData*>& rawMap) {
    for (auto& entry : rawMap) {
        deleteRecordChain(entry.second);
    }
    rawMap.clear();
}
