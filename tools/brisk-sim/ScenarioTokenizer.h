#pragma once

#include <string>
#include <vector>

// Splits a scenario line into tokens at blanks (spaces and tabs). A double-quoted
// part, anywhere in a token, keeps its blanks and may be empty ("" is an empty
// token); inside quotes \" stands for a quote and \\ for a backslash. Outside
// quotes a backslash is an ordinary character.
class ScenarioTokenizer {
public:
    // False, with `error` saying why, for an unterminated quote or an unknown
    // escape inside quotes.
    static bool split(const std::string& line, std::vector<std::string>* tokens,
                      std::string* error);

    // True for a line that holds only blanks, and for a comment line (its first
    // non-blank character is #).
    static bool isSkipped(const std::string& line);
};
