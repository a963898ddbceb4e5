#include "tools/briskd/ProbeTargetCheck.h"

#include <sys/stat.h>

#include "probe/ProbeHandler.h"

bool ProbeTargetCheck::exists(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

ProbeTargetCheck::Verdict ProbeTargetCheck::check(const std::string& msg, pid_t callerPid,
                                                  bool anyThread, int* tid) {
    int pid = 0;
    *tid = 0;
    // The service's own reading of the message: what is checked is what it boosts.
    if (ProbeHandler::scanMessage(msg.c_str(), &pid, tid) != 2) {
        *tid = 0;
        return Verdict::Pass;
    }
    if (*tid <= 0) {
        return Verdict::NoThread;
    }
    // /proc/<tid> reaches any thread by its id, also one that is not a process's
    // first thread; /proc/<pid>/task/ lists the threads of one process.
    const std::string thread = std::to_string(*tid);
    if (callerPid > 0 && exists("/proc/" + std::to_string(callerPid) + "/task/" + thread)) {
        return Verdict::Pass;
    }
    if (!exists("/proc/" + thread)) {
        return Verdict::NoThread;
    }
    return anyThread ? Verdict::Pass : Verdict::OtherProcess;
}
