#pragma once

#include <string>
#include <vector>

namespace tinyxml2 {
class XMLDocument;
class XMLElement;
}  // namespace tinyxml2

// The configuration file as written, read from the same tinyxml2 document as the
// loader reads it, but keeping what the loader drops without a word: commands
// whose id it cannot use, steps past the third, parameter texts, line numbers.
class RawConfigReader {
public:
    struct Param {
        std::string name;
        bool hasText = false;  // false: no text, the loader drops the step
        std::string text;
        int line = 0;
        // What the name is: "duration", a tag of the language (`tag`), or neither
        // (a platform item).
        bool isDuration = false;
        bool isTag = false;
        int tag = 0;
        // True when the text must be a number: duration and tags.
        bool isNumber() const { return isDuration || isTag; }
    };
    struct Step {
        int line = 0;
        std::string element;  // the step element's own name
        // The step element's own text, for a step that has no parameter but text:
        // most likely a parameter written without its step element around it.
        bool hasOwnText = false;
        std::vector<Param> params;
        // True when the loader keeps the step's record (every parameter has text).
        bool complete() const;
        // True for a parameter taken as a step: text and no parameter elements.
        bool isParamAsStep() const { return hasOwnText && params.empty(); }
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

    // Reads the commands of `doc`, a parsed document. False when the loader will
    // not get past it: it has no "policy" element with a child element; error()
    // then says why. firstCommand() is the element the loader starts from, valid
    // while `doc` lives.
    bool read(tinyxml2::XMLDocument& doc);

    const std::vector<Command>& commands() const { return mCommands; }
    tinyxml2::XMLElement* firstCommand() const { return mFirst; }
    const std::string& error() const { return mError; }
    // Line of every "policy" element after the first (the loader reads the first).
    const std::vector<int>& ignoredPolicyLines() const { return mIgnoredPolicyLines; }

    // The loader reads only this many steps of a command.
    static constexpr size_t kStepsRead = 3;

private:
    static Command readCommand(const tinyxml2::XMLElement* element);

    std::vector<Command> mCommands;
    std::vector<int> mIgnoredPolicyLines;
    tinyxml2::XMLElement* mFirst = nullptr;
    std::string mError;
};
