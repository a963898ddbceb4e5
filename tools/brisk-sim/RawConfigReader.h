#pragma once

#include <string>
#include <vector>

// The configuration file as written, read with tinyxml2 the way the loader reads
// it, but keeping what the loader drops without a word: commands whose id it
// cannot use, steps past the third, parameter texts, line numbers.
class RawConfigReader {
public:
    struct Param {
        std::string name;
        bool hasText = false;  // false: no text, the loader drops the step
        std::string text;
        int line = 0;
    };
    struct Step {
        int line = 0;
        std::vector<Param> params;
        // True when the loader keeps the step's record (every parameter has text).
        bool complete() const;
    };
    struct Command {
        int line = 0;
        std::string element;  // the command element's own name
        bool hasId = false;
        std::string idText;
        // The id as the loader reads it, and whether it uses it at all.
        bool idUsable = false;
        int id = 0;
        std::string name;         // "unknown" without a name attribute
        std::vector<Step> steps;  // every step element, those past the third included
    };

    // Reads `path`. False when the loader will not get past the file: it cannot
    // be parsed, or it has no "policy" element with a child element; error() then
    // says why.
    bool read(const std::string& path);

    const std::vector<Command>& commands() const { return mCommands; }
    const std::string& error() const { return mError; }
    // Line of every "policy" element after the first (the loader reads the first).
    const std::vector<int>& ignoredPolicyLines() const { return mIgnoredPolicyLines; }

    // The loader reads only this many steps of a command.
    static constexpr size_t kStepsRead = 3;

private:
    std::vector<Command> mCommands;
    std::vector<int> mIgnoredPolicyLines;
    std::string mError;
};
