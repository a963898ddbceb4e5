#pragma once

#include <signal.h>
#include <time.h>

// Bounds how long the calling thread may stay blocked writing a dump to a
// descriptor that a client handed over (a pipe nobody reads, say). While armed,
// a per-thread timer sends the watchdog signal to this thread when the time is up
// and every 50 ms after; the handler does nothing and is installed without
// SA_RESTART, so the blocked write fails with EINTR and the dump ends early.
// The signal stays blocked in every other thread and outside the armed span.
class DumpWatchdog {
public:
    // Installs the handler; call once, before any thread starts. The signal must
    // also be in the mask that the process's threads start with.
    static bool install();
    static int signalNumber();

    explicit DumpWatchdog(int timeoutMs);
    ~DumpWatchdog();
    DumpWatchdog(const DumpWatchdog&) = delete;
    DumpWatchdog& operator=(const DumpWatchdog&) = delete;

    // Whether the time ran out while armed.
    bool fired() const;

private:
    timer_t mTimer{};
    bool mArmed = false;
};
