// The probe message decoder: the input is the message of a probe event, as the
// service's handler and the daemon's check of a probe target read it. The
// handler takes it as a start and as a stop; its worker is stopped so that runs
// repeat, and its queues are emptied after each input.
#include <unistd.h>

#include <cstdlib>

#include "config/Action.h"
#include "config/Vocabulary.h"
#include "probe/ProbeHandler.h"
#include "tests/fuzz/FuzzHost.h"
#include "tools/briskd/ProbeTargetCheck.h"

using V = Vocabulary;

namespace {
ProbeHandler& handler() {
    static ProbeHandler* instance = [] {
        FuzzHost::quietOutputs();
        auto* created = new ProbeHandler(nullptr, new Action());
        created->stopWorker(false);
        return created;
    }();
    return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ProbeHandler& probes = handler();
    const std::string msg = FuzzHost::text(data, size);
    int pid = 0;
    int tid = 0;
    const int scanned = ProbeHandler::scanMessage(msg.c_str(), &pid, &tid);
    if (scanned > 2) {
        abort();  // two ids at most
    }
    const int begin[1] = {V::kBegin};
    const int end[1] = {V::kEnd};
    probes.handle(msg.c_str(), 1, begin);
    probes.handle(msg.c_str(), 1, end);
    probes.handle(msg.c_str(), 2, begin);

    int checkedTid = 0;
    ProbeTargetCheck::check(msg, getpid(), false, &checkedTid);
    if (checkedTid != (scanned == 2 ? tid : 0)) {
        abort();  // the daemon checks another thread than the service would boost
    }
    FuzzHost::forgetProbes(&probes);
    return 0;
}
