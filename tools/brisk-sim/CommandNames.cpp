#include "tools/brisk-sim/CommandNames.h"

#include <tinyxml2.h>

#include "config/BriskLoadXml.h"
#include "config/XmlAttributeScan.h"
#include "tools/brisk-sim/RawConfigReader.h"

CommandNames CommandNames::fromConfig(const char* data, size_t size) {
    CommandNames names;
    int line = 0;
    tinyxml2::XMLDocument doc(true);
    RawConfigReader reader;
    if (!XmlAttributeScan::withinLimit(data, size, BriskLoadXml::kMaxAttributesPerElement, &line) ||
        doc.Parse(data, size) != tinyxml2::XML_SUCCESS || !reader.read(doc)) {
        return names;
    }
    std::set<int> kept;
    for (const RawConfigReader::Command& command : reader.commands()) {
        if (command.idUsable && kept.insert(command.id).second) {
            names.add(command.name, command.id);
        }
    }
    return names;
}

void CommandNames::add(const std::string& name, int id) {
    mIds[name].insert(id);
    mNames.emplace(id, name);
}

std::string CommandNames::nameOf(int id) const {
    auto found = mNames.find(id);
    return found != mNames.end() ? found->second : std::string();
}

bool CommandNames::find(const std::string& name, int* id, std::string* error) const {
    auto found = mIds.find(name);
    if (found == mIds.end()) {
        *error = "command id \"" + name +
                 "\" is not a decimal int32 nor a command name of the configuration";
        return false;
    }
    if (found->second.size() > 1) {
        std::string ids;
        for (int each : found->second) {
            ids += (ids.empty() ? "" : ", ") + std::to_string(each);
        }
        *error = "the command name \"" + name + "\" is ambiguous: commands " + ids +
                 " carry it; give the id";
        return false;
    }
    *id = *found->second.begin();
    return true;
}
