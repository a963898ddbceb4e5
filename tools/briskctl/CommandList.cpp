#include "tools/briskctl/CommandList.h"

#include <strings.h>

#include <climits>

#include "config/Vocabulary.h"
#include "tools/protocol/JsonReader.h"

CommandList::CommandList(const Json& document) {
    const Json* commands = document.get("commands");
    if (commands == nullptr) {
        return;
    }
    for (const Json& command : commands->items) {
        mEntries.push_back({static_cast<int>(command.integerOr("id", INT_MIN, INT_MAX, 0)),
                            command.textOr("name", ""), command.textOr("route", ""),
                            static_cast<int>(command.integerOr("duration", INT_MIN, INT_MAX, -1))});
    }
}

bool CommandList::find(const std::string& name, int* cmdId) const {
    for (const Entry& entry : mEntries) {
        if (!entry.name.empty() && strcasecmp(entry.name.c_str(), name.c_str()) == 0) {
            *cmdId = entry.id;
            return true;
        }
    }
    return false;
}

std::string CommandList::unknown(const std::string& name) const {
    std::vector<std::string> names;
    for (const Entry& entry : mEntries) {
        names.push_back(entry.name);
    }
    const std::string suggestion = Vocabulary::closestName(name, names);
    return "no command named '" + name + "' in the daemon's configuration" +
           (suggestion.empty() ? " (briskctl commands lists them)"
                               : " (did you mean " + suggestion + "?)");
}

void CommandList::print(FILE* out) const {
    fprintf(out, "%-7s %-24s %-18s %s\n", "id", "name", "route", "duration");
    for (const Entry& entry : mEntries) {
        fprintf(out, "%-7d %-24s %-18s %d\n", entry.id,
                entry.name.empty() ? "-" : entry.name.c_str(), entry.route.c_str(), entry.duration);
    }
}
