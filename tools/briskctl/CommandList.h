#pragma once

#include <cstdio>
#include <string>
#include <vector>

struct Json;

// The daemon's command list (the document of a commands request): looked up by
// name for 'briskctl event NAME', printed for 'briskctl commands'.
class CommandList {
public:
    explicit CommandList(const Json& document);

    // The id of the command named `name` (any letter case); false when none is.
    bool find(const std::string& name, int* cmdId) const;
    // "no command named 'gmae' in the configuration (did you mean game?)".
    std::string unknown(const std::string& name) const;
    void print(FILE* out) const;

private:
    struct Entry {
        int id;
        std::string name;
        std::string route;
        int duration;
    };
    std::vector<Entry> mEntries;
};
