#include "tools/brisk-sim/ScenarioTokenizer.h"

namespace {
bool isBlank(char c) {
    return c == ' ' || c == '\t';
}
}  // namespace

bool ScenarioTokenizer::split(const std::string& line, std::vector<std::string>* tokens,
                              std::string* error) {
    tokens->clear();
    size_t i = 0;
    const size_t n = line.size();
    while (i < n) {
        while (i < n && isBlank(line[i])) {
            ++i;
        }
        if (i == n) {
            break;
        }
        std::string token;
        while (i < n && !isBlank(line[i])) {
            if (line[i] != '"') {
                token += line[i++];
                continue;
            }
            const size_t open = i++;
            bool closed = false;
            while (i < n) {
                char c = line[i++];
                if (c == '"') {
                    closed = true;
                    break;
                }
                if (c != '\\') {
                    token += c;
                    continue;
                }
                if (i == n) {
                    break;
                }
                char escaped = line[i++];
                if (escaped != '"' && escaped != '\\') {
                    *error = std::string("unknown escape \\") + escaped +
                             " inside quotes (only \\\" and \\\\ are known)";
                    return false;
                }
                token += escaped;
            }
            if (!closed) {
                *error =
                    "the quote opened at column " + std::to_string(open + 1) + " is not closed";
                return false;
            }
        }
        tokens->push_back(token);
    }
    return true;
}

bool ScenarioTokenizer::isSkipped(const std::string& line) {
    for (char c : line) {
        if (!isBlank(c)) {
            return c == '#';
        }
    }
    return true;
}
