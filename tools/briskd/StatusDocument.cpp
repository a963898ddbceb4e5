#include "tools/briskd/StatusDocument.h"

#include <time.h>

#include <cstdint>
#include <set>

#include "config/Vocabulary.h"
#include "tools/protocol/JsonWriter.h"

namespace {
long long monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

void tagFields(JsonWriter& json, int tag, const char* nameKey = "name") {
    json.field("tag", tag);
    json.field(nameKey, Vocabulary::nameForTag(tag));
}

void commandFields(JsonWriter& json, int cmdId, const std::map<int, std::string>& names) {
    json.field("command", cmdId);
    auto it = names.find(cmdId);
    json.field("name", it == names.end() || it->second.empty() ? nullptr : it->second.c_str());
}

// A back-end's value: a number when it is one, else its text; null when unknown.
void backendValue(JsonWriter& json, const std::string& name, const std::string& text) {
    long long number = 0;
    json.key(name);
    if (text.empty()) {
        json.null();
    } else if (Vocabulary::parseDecimal(text, Vocabulary::NumberForm::Signed, INT64_MIN, INT64_MAX,
                                        &number)) {
        json.value(number);
    } else {
        json.value(text);
    }
}

// Whether a client's request holds a node: a limit (0 means none), or any
// choice of the fork switch.
bool clientHolds(int tag, int value) {
    return tag == BRISK_TAG_FORK_ON_BIG_CLUSTER ? value >= 0 : value >= 1;
}
}  // namespace

std::string StatusDocument::status(const DaemonFacts& facts, int serviceVersion,
                                   const ServiceStatus& service,
                                   const std::vector<ServiceStatus::Command>& commands) {
    Names names;
    for (const ServiceStatus::Command& command : commands) {
        names[command.cmdId] = command.name;
    }
    JsonWriter json;
    json.beginObject();
    json.field("format", kFormat);
    daemon(json, facts);
    serviceFlags(json, serviceVersion, service);
    backendNodes(json, service, names);
    frequency(json, service, names);
    scheduling(json, service);
    scenes(json, service, names);
    actions(json, service, names);
    threads(json, service);
    json.endObject();
    return json.take();
}

void StatusDocument::daemon(JsonWriter& json, const DaemonFacts& facts) {
    json.key("daemon");
    json.beginObject();
    json.field("pid", static_cast<long long>(facts.pid));
    json.field("version", facts.version);
    json.field("uptime_s", monotonicSeconds() - facts.startedAt);
    json.field("socket", facts.socket);
    json.field("configuration", facts.configuration);
    json.key("policy_files");
    json.beginArray();
    for (const std::string& file : facts.policyFiles) {
        json.value(file);
    }
    json.endArray();
    json.field("allow_rules", static_cast<long long>(facts.allowRules));
    json.endObject();
}

void StatusDocument::serviceFlags(JsonWriter& json, int version, const ServiceStatus& service) {
    json.key("service");
    json.beginObject();
    json.field("version", version);
    json.field("initialised", service.inited);
    json.field("verbose_log", service.verboseLog);
    json.field("limit_reporting", service.reportingOn);
    json.endObject();
}

void StatusDocument::backendNodes(JsonWriter& json, const ServiceStatus& service,
                                  const Names& names) {
    const BackendStatus& backend = service.backend;
    json.key("backend");
    json.beginObject();
    json.field("name", backend.name);
    json.key("facts");
    json.beginArray();
    for (const std::string& fact : backend.facts) {
        json.value(fact);
    }
    json.endArray();
    json.key("nodes");
    json.beginArray();
    for (const BackendStatus::Node& node : backend.nodes) {
        json.beginObject();
        tagFields(json, node.tag);
        json.field("item", node.item.empty() ? nullptr : node.item.c_str());
        json.field("file", node.file.empty() ? nullptr : node.file.c_str());
        json.field("unit", node.unit.empty() ? nullptr : node.unit.c_str());
        backendValue(json, "value", node.value);
        backendValue(json, "original", node.original);
        holders(json, node, service, names);
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

void StatusDocument::holders(JsonWriter& json, const BackendStatus::Node& node,
                             const ServiceStatus& service, const Names& names) {
    json.key("holders");
    json.beginArray();
    // The frequency manager's value stands for the clients and events it
    // combined: they are named instead.
    bool named = false;
    for (const ServiceStatus::ClientLimits& client : service.clients) {
        for (const ServiceStatus::TagValue& limit : client.limits) {
            if (node.tag != 0 && limit.tag == node.tag && clientHolds(limit.tag, limit.value)) {
                json.beginObject();
                json.field("kind", "client");
                json.field("client", Vocabulary::clientName(client.clientId));
                json.field("value", limit.value);
                json.endObject();
                named = true;
            }
        }
    }
    for (const ServiceStatus::EventLimit& limit : service.eventLimits) {
        if (node.tag != 0 && limit.tag == node.tag) {
            json.beginObject();
            json.field("kind", "event");
            commandFields(json, limit.cmdId, names);
            json.field("value", limit.value);
            json.endObject();
            named = true;
        }
    }
    for (const BackendStatus::Holder& holder : node.holders) {
        if (holder.manager && named) {
            continue;
        }
        json.beginObject();
        json.field("kind", holder.manager ? "manager" : "command");
        if (!holder.manager) {
            commandFields(json, holder.cmdId, names);
        }
        backendValue(json, "value", holder.value);
        json.endObject();
    }
    json.endArray();
}

void StatusDocument::frequency(JsonWriter& json, const ServiceStatus& service, const Names& names) {
    json.key("frequency");
    json.beginObject();
    json.key("clients");
    json.beginArray();
    for (const ServiceStatus::ClientLimits& client : service.clients) {
        json.beginObject();
        json.field("client", Vocabulary::clientName(client.clientId));
        json.field("id", client.clientId);
        json.key("limits");
        json.beginArray();
        for (const ServiceStatus::TagValue& limit : client.limits) {
            json.beginObject();
            tagFields(json, limit.tag);
            json.field("value", limit.value);
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.key("combined");
    json.beginArray();
    for (const ServiceStatus::TagValue& value : service.combined) {
        json.beginObject();
        tagFields(json, value.tag);
        json.field("value", value.value);
        json.endObject();
    }
    json.endArray();
    json.key("events");
    json.beginArray();
    for (const ServiceStatus::EventLimit& limit : service.eventLimits) {
        json.beginObject();
        commandFields(json, limit.cmdId, names);
        tagFields(json, limit.tag, "tag_name");
        json.field("value", limit.value);
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

void StatusDocument::scheduling(JsonWriter& json, const ServiceStatus& service) {
    json.key("scheduling");
    json.beginArray();
    for (const ServiceStatus::GroupLevels& group : service.groups) {
        json.beginObject();
        tagFields(json, group.tag);
        json.field("current", group.current);
        json.field("default", group.defaults);
        json.field("DUSK", group.dusk);
        json.field("FERN", group.fern);
        json.field("MOSS", group.moss);
        json.endObject();
    }
    json.endArray();
}

void StatusDocument::scenes(JsonWriter& json, const ServiceStatus& service, const Names& names) {
    auto scene = [&](const ServiceStatus::Scene& s) {
        json.beginObject();
        commandFields(json, s.cmdId, names);
        json.field("priority", s.priority);
        json.endObject();
    };
    json.key("scenes");
    json.beginObject();
    json.key("applied");
    bool applied = false;
    for (const ServiceStatus::Scene& s : service.activeScenes) {
        if (s.cmdId == service.appliedScene) {
            scene(s);
            applied = true;
        }
    }
    if (!applied) {
        json.null();
    }
    json.key("waiting");
    json.beginArray();
    for (const ServiceStatus::Scene& s : service.activeScenes) {
        if (s.cmdId != service.appliedScene) {
            scene(s);
        }
    }
    json.endArray();
    json.endObject();
}

void StatusDocument::actions(JsonWriter& json, const ServiceStatus& service, const Names& names) {
    // On/off actions begun and not ended: their frequency pairs are held by the
    // service, their other pairs by the back-end.
    std::set<int> begun;
    for (const ServiceStatus::EventLimit& limit : service.eventLimits) {
        if (Vocabulary::isOnOffCmdId(limit.cmdId)) {
            begun.insert(limit.cmdId);
        }
    }
    for (int cmdId : service.backend.heldCommands) {
        if (Vocabulary::isOnOffCmdId(cmdId)) {
            begun.insert(cmdId);
        }
    }
    json.key("actions");
    json.beginArray();
    for (int cmdId : begun) {
        json.beginObject();
        commandFields(json, cmdId, names);
        json.endObject();
    }
    json.endArray();
}

void StatusDocument::threads(JsonWriter& json, const ServiceStatus& service) {
    json.key("threads");
    json.beginObject();
    const std::pair<const char*, const std::vector<unsigned int>*> lists[] = {
        {"boosted", &service.boostedThreads}, {"waiting", &service.waitingThreads}};
    for (const auto& list : lists) {
        json.key(list.first);
        json.beginArray();
        for (unsigned int tid : *list.second) {
            json.value(tid);
        }
        json.endArray();
    }
    json.endObject();
}

std::string StatusDocument::commands(const std::vector<ServiceStatus::Command>& commands) {
    JsonWriter json;
    json.beginObject();
    json.field("format", kFormat);
    json.key("commands");
    json.beginArray();
    for (const ServiceStatus::Command& command : commands) {
        json.beginObject();
        json.field("id", command.cmdId);
        json.field("name", command.name.empty() ? nullptr : command.name.c_str());
        json.field("route", EventRouter::routeName(command.route));
        json.field("duration", command.duration);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.take();
}
