#pragma once

#include <stdint.h>
#include <utils/StrongPointer.h>

#include "config/Action.h"

class BriskPlat;

// Entry object of probe boosting. A probe event names one thread of a client
// process (by pid and tid) that starts or ends a piece of work; the handler
// decodes it and hands the thread to its worker, which boosts the thread once it
// has waited mBoostDelayMs and takes the boost back on the stop event or after a
// fixed hold time.
//
// The Action base is only a base: the probe code never reads or writes it.
class ProbeHandler : public Action {
public:
    class ProbeThread;

    // Starts the worker thread. Ownership of `probeAction` (the probe command's
    // Action chain, head record) passes to the worker.
    ProbeHandler(BriskPlat* plat, Action* probeAction);
    // Detaches the worker and drops the reference to it, but does not stop it: the
    // worker keeps itself alive, asleep, for the rest of the process.
    ~ProbeHandler() override;

    // Makes the worker stop using this handler and the platform, waiting for a
    // pass under way. For an owner that must free the platform before the handler.
    void detachWorker();
    // Ends the worker (ProbeThread::stop), for a host that must; the service never
    // does.
    void stopWorker(bool releaseBoosts);

    ProbeHandler(const ProbeHandler&) = delete;
    ProbeHandler& operator=(const ProbeHandler&) = delete;

    // Decodes one probe event: `msg` is "pid=<int>|tid=<int>", `payload` holds one
    // value, 0 (work starts) or -1 (work ends). Returns 0 when done, 2 for a bad
    // payload or state, and the scanner's own count when the message cannot be read
    // (so a message in which nothing matched returns 0).
    int handle(const char* msg, unsigned int payloadNum, const int* payload);
    // Reads a probe message as handle does; returns the scanner's count (2 when
    // both ids were read, -1 for a null or empty message).
    static int scanMessage(const char* msg, int* pid, int* tid);

    android::sp<ProbeThread> mProbeThread;
    // Time, in milliseconds, a thread waits before it is boosted; read by the worker
    // on every pass.
    int32_t mBoostDelayMs;
};
