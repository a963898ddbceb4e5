#pragma once

#include <map>
#include <set>
#include <string>

// The command names of a configuration, for scenario lines that name a command
// instead of giving its id ("event app_launch begin"). A name belongs to the
// command the loader keeps; a name that several ids carry is ambiguous.
class CommandNames {
public:
    // The names of the configuration text `data`; a file that does not parse
    // simply names nothing.
    static CommandNames fromConfig(const char* data, size_t size);

    // The id of `name`; false with `error` for an unknown or ambiguous name.
    bool find(const std::string& name, int* id, std::string* error) const;

    // The name of the command `id`; empty when it has none.
    std::string nameOf(int id) const;

    void add(const std::string& name, int id);

private:
    // Name -> its ids (more than one: ambiguous), and id -> name.
    std::map<std::string, std::set<int>> mIds;
    std::map<int, std::string> mNames;
};
