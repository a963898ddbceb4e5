#pragma once

#include <string>
#include <vector>

// The program's arguments:
//   brisk-sim [--config FILE] [--timeline PICTURE] [SCENARIO]
//       replay SCENARIO (standard input when absent or "-") against the service;
//       with --timeline also draw it into PICTURE (.svg or .html)
//   brisk-sim --check [--config FILE] [--device DEVICE]... [--lenient] [--format text|json]
//       check a configuration file, against DEVICE (the simulated device when absent;
//       see DeviceLoader: --device is given once, or twice for the Linux back-end's
//       description and a kernel root)
//   brisk-sim --help | --version
struct CommandLine {
    enum class Mode { Run, Check, Help, Version };
    enum class Format { Text, Json };

    Mode mode = Mode::Run;
    // The configuration: FILE, or the one the service would read when --config
    // is not given.
    std::string configPath;
    // The scenario file; empty or "-" for standard input.
    std::string scenarioPath;
    // --check: where the device is described (none: the simulated device),
    // --lenient, --format.
    std::vector<std::string> devicePaths;
    bool lenient = false;
    Format format = Format::Text;
    // The picture of the run; empty for none.
    std::string timelinePath;

    // False, with `error` saying what is wrong, for arguments that make no sense.
    static bool parse(int argc, const char* const* argv, CommandLine* out, std::string* error);
    static std::string usage();
    // The configuration the service reads on this machine: the administrator's
    // in /etc/brisk/, else the one shipped with the install (never a file of the
    // source tree).
    static std::string defaultConfig();
};
