#include "platform/sim/LinuxLoadXml.h"

#include <algorithm>

#include "config/Vocabulary.h"
#include "server/BriskLog.h"

bool LinuxLoadXml::convertStep(const RawXmlData& raw, Action* step) {
    step->cmdId = raw.cmdId;
    step->name = raw.name;
    step->duration = 0;
    size_t count = std::min(raw.keys.size(), raw.values.size());
    for (size_t i = 0; i < count; ++i) {
        const std::string& key = raw.keys[i];
        const std::string& text = raw.values[i];
        int tag = 0;
        bool isDuration = key == Vocabulary::kDurationKey;
        bool isTag = !isDuration && Vocabulary::tagForName(key, &tag);
        int value = 1;
        if ((isDuration || isTag) && !Vocabulary::parseInt(text, &value)) {
            BRISK_LOGE("cmdId=%d: parameter %s has \"%s\", not a decimal integer; step dropped",
                       raw.cmdId, key.c_str(), text.c_str());
            return false;
        }
        if (isDuration) {
            step->duration = value;
            continue;
        }
        step->tagValues.push_back(isTag ? tag : Vocabulary::kPlatformItemTag);
        step->tagValues.push_back(value);
        step->keyValues.push_back(key);
        step->keyValues.push_back(text);
        ++step->tagCount;
    }
    return true;
}

std::map<int, Action*>* LinuxLoadXml::convertRawXmlMap(std::map<int, RawXmlData*>* rawMap) {
    if (rawMap == nullptr) {
        return nullptr;
    }
    auto* result = new std::map<int, Action*>();
    for (const auto& entry : *rawMap) {
        const RawXmlData* header = entry.second;
        if (header == nullptr) {
            continue;
        }
        Action* head = new Action();
        head->cmdId = header->cmdId;
        head->name = header->name;
        Action* tail = head;
        for (const RawXmlData* raw = header->next; raw != nullptr; raw = raw->next) {
            Action* step = new Action();
            if (convertStep(*raw, step)) {
                tail->next = step;
                tail = step;
            } else {
                delete step;
            }
        }
        (*result)[entry.first] = head;
    }
    return result;
}
