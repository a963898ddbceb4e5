#include "tools/brisk-sim/ScenarioParser.h"

#include <climits>

#include "config/Vocabulary.h"

namespace {
using Kind = ScenarioCommand::Kind;

struct KindName {
    const char* name;
    Kind kind;
};
const KindName kKinds[] = {
    {"device", Kind::Device}, {"fail", Kind::Fail},   {"init", Kind::Init},
    {"event", Kind::Event},   {"set", Kind::Set},     {"get", Kind::Get},
    {"dump", Kind::Dump},     {"sleep", Kind::Sleep}, {"version", Kind::Version},
};

const char kMsgOption[] = "msg=";
const char kLenOption[] = "len=";
const char kInvalidFdOption[] = "fd=-1";

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// A whole unsigned decimal number up to 4294967295, without sign or blanks.
bool parseUnsigned(const std::string& text, unsigned int* value) {
    long long parsed = 0;
    if (!Vocabulary::parseDecimal(text, Vocabulary::NumberForm::Digits, 0, UINT_MAX, &parsed)) {
        return false;
    }
    *value = static_cast<unsigned int>(parsed);
    return true;
}

bool noArguments(const std::vector<std::string>& tokens, std::string* error) {
    if (tokens.size() > 1) {
        *error = tokens[0] + " takes no arguments";
        return false;
    }
    return true;
}
}  // namespace

bool ScenarioParser::parse(const std::vector<std::string>& tokens, ScenarioCommand* command,
                           std::string* error, const CommandNames* names) {
    *command = ScenarioCommand();
    if (tokens.empty()) {
        *error = "empty line";
        return false;
    }
    const KindName* found = nullptr;
    for (const KindName& entry : kKinds) {
        if (tokens[0] == entry.name) {
            found = &entry;
        }
    }
    if (found == nullptr) {
        *error = "unknown command " + quoted(tokens[0]) +
                 " (known: device, fail, init, event, set, get, dump, sleep, version)";
        return false;
    }
    command->kind = found->kind;
    switch (found->kind) {
        case Kind::Init:
        case Kind::Version:
            return noArguments(tokens, error);
        case Kind::Device:
            if (tokens.size() < 2) {
                *error = "device needs at least one TAG=VALUE";
                return false;
            }
            return parsePairs(tokens, 1, command, error);
        case Kind::Fail:
            return parseFail(tokens, command, error);
        case Kind::Event:
            return parseEvent(tokens, command, error, names);
        case Kind::Set: {
            if (tokens.size() < 2) {
                *error = "set needs a client (a number or DUSK, FERN, MOSS)";
                return false;
            }
            if (!Vocabulary::clientForName(tokens[1], &command->clientId) &&
                !Vocabulary::parseInt(tokens[1], &command->clientId)) {
                *error = "unknown client " + quoted(tokens[1]) + " (a number or DUSK, FERN, MOSS)";
                return false;
            }
            return parsePairs(tokens, 2, command, error);
        }
        case Kind::Get:
            for (size_t i = 1; i < tokens.size(); ++i) {
                int tag = 0;
                if (!parseTag(tokens[i], &tag, error)) {
                    return false;
                }
                command->tags.push_back(tag);
            }
            return true;
        case Kind::Dump: {
            size_t first = 1;
            if (tokens.size() > 1 && tokens[1] == kInvalidFdOption) {
                command->dumpToInvalidFd = true;
                first = 2;
            }
            command->dumpArgs.assign(tokens.begin() + static_cast<long>(first), tokens.end());
            return true;
        }
        case Kind::Sleep: {
            int ms = -1;
            if (tokens.size() != 2 || !Vocabulary::parseInt(tokens[1], &ms) || ms < 0 ||
                ms > kMaxSleepMs) {
                *error =
                    "sleep needs one number of milliseconds, 0 to " + std::to_string(kMaxSleepMs);
                return false;
            }
            command->sleepMs = ms;
            return true;
        }
    }
    *error = "unknown command " + quoted(tokens[0]);
    return false;
}

bool ScenarioParser::parseTag(const std::string& text, int* tag, std::string* error) {
    if (Vocabulary::parseInt(text, tag) || Vocabulary::tagForName(text, tag)) {
        return true;
    }
    *error = "unknown tag " + quoted(text) +
             " (a number, or a name such as little_cpu_max, top_app or tag_99)";
    return false;
}

bool ScenarioParser::parseValue(const std::string& text, const char* what, int* value,
                                std::string* error) {
    if (Vocabulary::parseInt(text, value)) {
        return true;
    }
    *error = std::string(what) + " " + quoted(text) + " is not a decimal int32";
    return false;
}

bool ScenarioParser::parsePairs(const std::vector<std::string>& tokens, size_t first,
                                ScenarioCommand* command, std::string* error) {
    for (size_t i = first; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        size_t eq = token.find('=');
        if (eq == std::string::npos) {
            *error = "expected TAG=VALUE, got " + quoted(token);
            return false;
        }
        int tag = 0;
        int value = 0;
        if (!parseTag(token.substr(0, eq), &tag, error) ||
            !parseValue(token.substr(eq + 1), "value", &value, error)) {
            return false;
        }
        command->pairs.emplace_back(tag, value);
    }
    return true;
}

bool ScenarioParser::parseEvent(const std::vector<std::string>& tokens, ScenarioCommand* command,
                                std::string* error, const CommandNames* names) {
    if (tokens.size() < 2) {
        *error = "event needs a command id";
        return false;
    }
    const bool isNumber = Vocabulary::parseInt(tokens[1], &command->cmdId);
    if (!isNumber && names != nullptr && !names->find(tokens[1], &command->cmdId, error)) {
        return false;
    }
    if (!isNumber && names == nullptr &&
        !parseValue(tokens[1], "command id", &command->cmdId, error)) {
        return false;
    }
    bool haveMsg = false;
    bool haveLen = false;
    for (size_t i = 2; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        if (startsWith(token, kMsgOption)) {
            if (haveMsg) {
                *error = "msg= given twice";
                return false;
            }
            haveMsg = true;
            command->msg = token.substr(sizeof(kMsgOption) - 1);
        } else if (startsWith(token, kLenOption)) {
            if (haveLen) {
                *error = "len= given twice";
                return false;
            }
            haveLen = true;
            if (!parseUnsigned(token.substr(sizeof(kLenOption) - 1), &command->len)) {
                *error = "len " + quoted(token.substr(sizeof(kLenOption) - 1)) +
                         " is not a number from 0 to 4294967295";
                return false;
            }
        } else {
            // A payload value: "begin", "end" or a number.
            int value = 0;
            if (!Vocabulary::payloadForName(token, &value) &&
                !parseValue(token, "payload value", &value, error)) {
                return false;
            }
            command->values.push_back(value);
        }
    }
    if (!haveLen) {
        command->len = static_cast<unsigned int>(command->values.size());
    }
    if (!command->values.empty() && command->len > ScenarioCommand::kMaxPaddedPayload) {
        *error = "len " + std::to_string(command->len) + " with payload values is above " +
                 std::to_string(ScenarioCommand::kMaxPaddedPayload) +
                 ", the most values a payload is padded to";
        return false;
    }
    return true;
}

bool ScenarioParser::parseFail(const std::vector<std::string>& tokens, ScenarioCommand* command,
                               std::string* error) {
    if (tokens.size() < 3 || tokens.size() > 4) {
        *error = "fail needs OP CODE [COUNT]";
        return false;
    }
    if (!SimCall::opFromName(tokens[1], &command->failOp)) {
        *error = "unknown operation " + quoted(tokens[1]) +
                 " (initialize, doAction, setConfig, getConfig, doSchedLevelAction, "
                 "setProbeTarget)";
        return false;
    }
    if (!parseValue(tokens[2], "code", &command->failCode, error)) {
        return false;
    }
    if (tokens.size() == 4) {
        if (!parseValue(tokens[3], "count", &command->failCount, error)) {
            return false;
        }
        if (command->failCount < 0) {
            *error = "count must be 0 or more (0 takes back what is pending)";
            return false;
        }
    }
    return true;
}
