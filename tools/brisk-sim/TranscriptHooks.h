#pragma once

#include <functional>

#include "platform/sim/SimCall.h"
#include "tools/brisk-sim/TranscriptWriter.h"

// Routes what the service and the simulated device do into the transcript, as it
// happens and from whichever thread: every back-end call ("plat ..."), every line
// logged under the service's tag ("log P TEXT") and every jank-log record
// ("jank A B TEXT"). Installed for the lifetime of the object; one at a time.
class TranscriptHooks {
public:
    // `alsoCalls`, when given, is told of every back-end call too, after its
    // transcript line (and, like the device's listener, must not call back into
    // the device).
    explicit TranscriptHooks(TranscriptWriter& writer,
                             const std::function<void(const SimCall&)>& alsoCalls = nullptr);
    ~TranscriptHooks();

    TranscriptHooks(const TranscriptHooks&) = delete;
    TranscriptHooks& operator=(const TranscriptHooks&) = delete;

    // Lets every priority through to the logger (verbose included) and drops the
    // service's lines, passing other tags on to standard error. For runs that
    // report in their own words (the checker).
    static void silenceServiceLog();

    // "log P TEXT" for a line of the service's log: P is one of V D I W E F; a
    // trailing newline of the message is dropped.
    static std::string logLine(int priority, const char* message);
};
