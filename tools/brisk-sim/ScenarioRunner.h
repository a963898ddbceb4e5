#pragma once

#include <istream>
#include <string>

#include "tools/brisk-sim/CommandNames.h"
#include "tools/brisk-sim/ScenarioCommand.h"
#include "tools/brisk-sim/ScenarioObserver.h"
#include "tools/brisk-sim/SimServer.h"
#include "tools/brisk-sim/TranscriptWriter.h"

// Plays scenario lines against the service, one at a time, and writes what each
// one does to the transcript: "> LINE" before it runs, then "= R" for the result
// of the entry call ("= R T:V ..." for get) and "| TEXT" for what a dump wrote.
// What the service and the device do meanwhile reaches the transcript through
// TranscriptHooks.
class ScenarioRunner {
public:
    // `names` resolves command names of event lines; `observer` (optional) is told
    // of every line.
    ScenarioRunner(TranscriptWriter& writer, SimServer& server, CommandNames names = {},
                   ScenarioObserver* observer = nullptr);

    // Runs every line of `in` to its end (true), or stops at the first line it
    // cannot understand or run (false; failedLine() and `error` say which and why).
    bool run(std::istream& in, std::string* error);
    int failedLine() const { return mLineNumber; }

    // True when the last init answered other than 0: the service did not start.
    // initLine() and initResult() say where and what.
    bool initFailed() const { return mInitResult != 0; }
    int initLine() const { return mInitLine; }
    int initResult() const { return mInitResult; }

private:
    bool execute(const ScenarioCommand& command, std::string* error);
    void runEvent(const ScenarioCommand& command);
    void runSet(const ScenarioCommand& command);
    void runGet(const ScenarioCommand& command);
    bool runDump(const ScenarioCommand& command, std::string* error);
    void result(int r);

    TranscriptWriter& mWriter;
    SimServer& mServer;
    CommandNames mNames;
    ScenarioObserver* mObserver;
    int mLineNumber = 0;
    int mInitLine = 0;
    int mInitResult = 0;
};
