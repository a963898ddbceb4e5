#include "tests/support/ProgramCommand.h"

#include <unistd.h>

// The emulator command of a cross-build as a list of quoted words, from the
// build; nothing in a native build.
#ifndef BRISK_PROGRAM_LAUNCHER
#define BRISK_PROGRAM_LAUNCHER
#endif

ProgramCommand::ProgramCommand(const std::vector<std::string>& args)
    : mWords{BRISK_PROGRAM_LAUNCHER} {
    mWords.insert(mWords.end(), args.begin(), args.end());
    for (std::string& word : mWords) {
        mArgv.push_back(word.data());
    }
    mArgv.push_back(nullptr);
}

void ProgramCommand::exec() const {
    execv(mArgv[0], mArgv.data());
}
