#pragma once

#include <string>

// The program's arguments:
//   brisk-sim [--config FILE] [SCENARIO]     replay SCENARIO (standard input when
//                                             absent or "-") against the service
//   brisk-sim --check [--config FILE]        check a configuration file
//   brisk-sim --help
struct CommandLine {
    enum class Mode { Run, Check, Help };

    Mode mode = Mode::Run;
    // The configuration: FILE, or the shipped one when --config is not given.
    std::string configPath;
    // The scenario file; empty or "-" for standard input.
    std::string scenarioPath;

    // False, with `error` saying what is wrong, for arguments that make no sense.
    static bool parse(int argc, const char* const* argv, CommandLine* out, std::string* error);
    static std::string usage();
    // The shipped configuration: the one of the source tree brisk-sim was built
    // from when it is still there, else the installed one.
    static std::string defaultConfig();
};
