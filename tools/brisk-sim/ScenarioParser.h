#pragma once

#include <string>
#include <vector>

#include "tools/brisk-sim/CommandNames.h"
#include "tools/brisk-sim/ScenarioCommand.h"

// Understands the tokens of one scenario line:
//   device TAG=VALUE ...             fail OP CODE [COUNT]          init
//   event CMD [msg=TEXT] [len=N] [VALUE ...]                       version
//   set CLIENT TAG=VALUE ...         get TAG ...                   sleep MS
//   dump [fd=-1] [ARG ...]
// TAG is a number or a name of the configuration language (little_cpu_max,
// top_app, tag_N, ...); CLIENT is a number or DUSK, FERN, MOSS in any letter
// case; CMD is a number or a command name of the configuration; a VALUE may be
// begin (0) or end (-1); numbers are decimal int32.
class ScenarioParser {
public:
    // False, with `error` saying what is wrong, for a line it cannot understand.
    // `names`, when given, resolves command names.
    static bool parse(const std::vector<std::string>& tokens, ScenarioCommand* command,
                      std::string* error, const CommandNames* names = nullptr);

    // The longest sleep a line may ask for, in milliseconds.
    static constexpr int kMaxSleepMs = 60000;

private:
    static bool parseTag(const std::string& text, int* tag, std::string* error);
    static bool parseValue(const std::string& text, const char* what, int* value,
                           std::string* error);
    static bool parsePairs(const std::vector<std::string>& tokens, size_t first,
                           ScenarioCommand* command, std::string* error);
    static bool parseEvent(const std::vector<std::string>& tokens, ScenarioCommand* command,
                           std::string* error, const CommandNames* names);
    static bool parseFail(const std::vector<std::string>& tokens, ScenarioCommand* command,
                          std::string* error);
};
