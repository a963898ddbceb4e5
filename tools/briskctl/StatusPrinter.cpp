#include "tools/briskctl/StatusPrinter.h"

#include <climits>

#include "tools/protocol/JsonReader.h"

namespace {
const Json kNull;

const Json& member(const Json& object, const char* key) {
    const Json* found = object.get(key);
    return found != nullptr ? *found : kNull;
}

std::string number(const Json& object, const char* key) {
    return std::to_string(object.integerOr(key, LLONG_MIN, LLONG_MAX, 0));
}

const char* onOff(const Json& object, const char* key) {
    return member(object, key).boolean ? "on" : "off";
}

// "little_cpu_max (2)", or "2" for a tag without a name.
std::string tagLabel(const Json& entry, const char* nameKey = "name") {
    const std::string tag = number(entry, "tag");
    const Json& name = member(entry, nameKey);
    return name.type == Json::Type::String ? name.text + " (" + tag + ")" : tag;
}

std::string listOrNone(const std::string& list) {
    return list.empty() ? "none" : list;
}
}  // namespace

std::string StatusPrinter::command(const Json& entry) {
    const Json& name = member(entry, "name");
    return number(entry, "command") + (name.type == Json::Type::String ? " " + name.text : "");
}

std::string StatusPrinter::value(const Json* v) {
    if (v == nullptr || v->type == Json::Type::Null) {
        return "-";
    }
    if (v->type == Json::Type::String) {
        return v->text;
    }
    long long whole = 0;
    return v->integer(LLONG_MIN, LLONG_MAX, &whole) ? std::to_string(whole) : "-";
}

void StatusPrinter::print(const Json& status, FILE* out) {
    header(status, out);
    nodes(member(status, "backend"), out);
    groups(status, out);
    scenes(status, out);
    rest(status, out);
}

void StatusPrinter::header(const Json& status, FILE* out) {
    const Json& daemon = member(status, "daemon");
    const Json& service = member(status, "service");
    const Json& backend = member(status, "backend");
    fprintf(out, "briskd %s, pid %s, up %s s, on %s\n", daemon.textOr("version", "?").c_str(),
            number(daemon, "pid").c_str(), number(daemon, "uptime_s").c_str(),
            daemon.textOr("socket", "?").c_str());
    fprintf(out, "configuration   %s\n", daemon.textOr("configuration", "?").c_str());
    std::string files;
    for (const Json& file : member(daemon, "policy_files").items) {
        files += (files.empty() ? "" : ", ") + file.text;
    }
    fprintf(out, "policy          %s, %s --allow rules\n", listOrNone(files).c_str(),
            number(daemon, "allow_rules").c_str());
    fprintf(out, "service         interface %s, %s, verbose log %s, limit reporting %s\n",
            number(service, "version").c_str(),
            member(service, "initialised").boolean ? "initialised" : "NOT initialised",
            onOff(service, "verbose_log"), onOff(service, "limit_reporting"));
    fprintf(out, "back-end        %s\n", backend.textOr("name", "?").c_str());
    for (const Json& fact : member(backend, "facts").items) {
        fprintf(out, "                %s\n", fact.text.c_str());
    }
}

void StatusPrinter::nodes(const Json& backend, FILE* out) {
    const Json& nodes = member(backend, "nodes");
    fprintf(out, "\nnodes (value in force, original, held by)\n");
    if (nodes.items.empty()) {
        fprintf(out, "  none\n");
    }
    for (const Json& node : nodes.items) {
        const Json& item = member(node, "item");
        const Json& file = member(node, "file");
        const std::string label = item.type == Json::Type::String ? item.text : tagLabel(node);
        std::string holders;
        for (const Json& holder : member(node, "holders").items) {
            const std::string kind = holder.textOr("kind", "");
            const std::string who =
                kind == "client" ? holder.textOr("client", "?") : kind + " " + command(holder);
            holders += (holders.empty() ? "" : ", ") + who + " " + value(holder.get("value"));
        }
        fprintf(out, "  %-28s %10s %10s  %s\n", label.c_str(), value(node.get("value")).c_str(),
                value(node.get("original")).c_str(), listOrNone(holders).c_str());
        if (file.type == Json::Type::String) {
            fprintf(out, "      %s\n", file.text.c_str());
        }
    }
}

void StatusPrinter::groups(const Json& status, FILE* out) {
    fprintf(out, "\nscheduling groups %13s %8s %5s %5s %5s\n", "current", "default", "DUSK", "FERN",
            "MOSS");
    for (const Json& group : member(status, "scheduling").items) {
        fprintf(out, "  %-28s %5s %8s %5s %5s %5s\n", tagLabel(group).c_str(),
                number(group, "current").c_str(), number(group, "default").c_str(),
                number(group, "DUSK").c_str(), number(group, "FERN").c_str(),
                number(group, "MOSS").c_str());
    }
}

void StatusPrinter::scenes(const Json& status, FILE* out) {
    const Json& scenes = member(status, "scenes");
    const Json& applied = member(scenes, "applied");
    auto scene = [](const Json& s) {
        return command(s) + " (priority " + number(s, "priority") + ")";
    };
    std::string waiting;
    for (const Json& s : member(scenes, "waiting").items) {
        waiting += (waiting.empty() ? "" : ", ") + scene(s);
    }
    fprintf(out, "\nscene           %s; waiting: %s\n",
            applied.type == Json::Type::Object ? scene(applied).c_str() : "none",
            listOrNone(waiting).c_str());
}

void StatusPrinter::rest(const Json& status, FILE* out) {
    std::string actions;
    for (const Json& action : member(status, "actions").items) {
        actions += (actions.empty() ? "" : ", ") + command(action);
    }
    fprintf(out, "on/off actions  %s\n", listOrNone(actions).c_str());
    std::string events;
    for (const Json& limit : member(member(status, "frequency"), "events").items) {
        events += (events.empty() ? "" : ", ") + command(limit) + " " +
                  tagLabel(limit, "tag_name") + "=" + number(limit, "value");
    }
    fprintf(out, "event limits    %s\n", listOrNone(events).c_str());
    const Json& threads = member(status, "threads");
    std::string lists[2];
    const char* keys[2] = {"boosted", "waiting"};
    for (int i = 0; i < 2; ++i) {
        for (const Json& tid : member(threads, keys[i]).items) {
            lists[i] += (lists[i].empty() ? "" : ", ") + value(&tid);
        }
    }
    fprintf(out, "threads         boosted: %s; waiting: %s\n", listOrNone(lists[0]).c_str(),
            listOrNone(lists[1]).c_str());
}
