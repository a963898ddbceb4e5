#pragma once

#include <string>

#include "tools/brisk-sim/ScenarioCommand.h"

// Told of every scenario line as ScenarioRunner plays it: the line before it
// runs, the result of its entry call (lines that call none have none), and its
// end.
class ScenarioObserver {
public:
    virtual ~ScenarioObserver() = default;
    virtual void stepBegins(int lineNumber, const std::string& line,
                            const ScenarioCommand& command) = 0;
    virtual void stepResult(int result) = 0;
    virtual void stepEnds() = 0;
};
