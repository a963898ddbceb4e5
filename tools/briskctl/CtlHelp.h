#pragma once

#include <string>

// briskctl's help texts: the general one, one per command, the version line.
class CtlHelp {
public:
    static const char* general();
    // The help of one command, or null for an unknown command.
    static const char* command(const std::string& name);
    // "briskctl 1.0.0 (protocol 1)".
    static std::string versionLine();
};
