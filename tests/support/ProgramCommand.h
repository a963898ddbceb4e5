#pragma once

// The command line of a host program that a test runs as a child process
// (briskd, briskctl, brisk-sim). In a cross-build those are programs of the
// target, started through the same emulator that runs the tests. Built before
// fork(), so that the child only has to exec.
#include <string>
#include <vector>

class ProgramCommand {
public:
    // args[0] is the program's path.
    explicit ProgramCommand(const std::vector<std::string>& args);

    // Replaces the calling process with the program; returns only when that fails.
    void exec() const;

private:
    std::vector<std::string> mWords;
    std::vector<char*> mArgv;
};
