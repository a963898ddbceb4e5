#pragma once

#include <sys/types.h>

#include <string>

// Decides whether a probe event (command 4116) may reach the service. A probe
// start has the service boost the thread that the message names, and keeps its
// worker polling while the boost is held; so a caller may name only threads of
// its own process (the pid the kernel reports for the connection), unless it
// holds the right to boost any thread. Thread 0 and ids that are no thread of a
// living process are refused for everyone. A message that names no thread at
// all passes: the service refuses it itself.
class ProbeTargetCheck {
public:
    enum class Verdict { Pass, NoThread, OtherProcess };

    // `tid` receives the thread the message names (0 when it names none).
    static Verdict check(const std::string& msg, pid_t callerPid, bool anyThread, int* tid);

private:
    static bool exists(const std::string& path);
};
