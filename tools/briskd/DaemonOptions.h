#pragma once

#include <string>
#include <vector>

#include "platform/linux/LinuxBackendSettings.h"

// The daemon's command line.
struct DaemonOptions {
    std::string config;  // empty: the service's standard search
    std::string socketPath;
    std::string backend = "sim";
    std::string recordPath;   // empty: no record
    std::string jankLogPath;  // empty: jank records go to the log
    std::vector<std::string> policyFiles;
    std::vector<std::string> allowRules;  // "RIGHT=SUBJECT,..."
    int maxClients = 32;
    // 0: a quarter of maxClients (at least 1).
    int maxPerUid = 0;
    // -1: an eighth of maxClients.
    int reserved = -1;
    // Values a second (a request counts at least one); 0: no limit.
    int connectionRate = 500;
    int uidRate = 1000;
    int timeoutMs = 5000;
    bool verbose = false;
    bool help = false;
    bool version = false;
    bool checkConfig = false;  // load the configuration and the policy, say what they are worth

    // The Linux back-end's settings (--backend linux only).
    std::string backendConfig;  // empty: discovery alone
    std::string kernelRoot = LinuxBackendSettings().kernelRoot;
    std::string stateDir = LinuxBackendSettings().stateDir;
    bool checkBackend = false;  // print what the back-end would do, change nothing, exit
    bool restore = false;       // put back what a crashed back-end left, exit

    // False with `error` set (one line) for a command line that cannot be used.
    static bool parse(int argc, char** argv, DaemonOptions* out, std::string* error);
    static const char* usage();
    // "briskd 1.0.0 (protocol 1)".
    static std::string versionLine();

private:
    // The option at argv[*i] and its value (argv[*i + 1], taken); false with
    // `error` for an unknown option or a missing or unusable value.
    bool takeValue(int argc, char** argv, int* i, std::string* error);
    // Fills in the defaults that follow from maxClients and checks the limits
    // against each other.
    bool settleConnectionLimits(std::string* error);
};
