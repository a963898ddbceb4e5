// The probe thread's own CPU time: idle (it must sleep on its condition) and
// while one boost is held (it polls until the boost ends, as it must).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <vector>

#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"
#include "config/Vocabulary.h"
#include "platform/sim/SimDevice.h"
#include "server/BriskServer.h"

namespace {

const char kProbeMessage[] = "pid=5151|tid=5152";
const int kStart[1] = {0};
const int kStop[1] = {-1};

// Lets the probe thread finish whatever earlier benchmarks left (a finished
// entry is removed on its next pass) and fall back asleep.
void drain() {
    usleep(50 * 1000);
}

struct CpuShare {
    double percent = 0;
    double seconds = 0;
};

CpuShare measure(pid_t tid, int64_t windowNs) {
    int64_t cpuStart = threadCpuNs(tid);
    int64_t wallStart = monotonicNs();
    usleep(static_cast<useconds_t>(windowNs / 1000));
    int64_t cpu = threadCpuNs(tid) - cpuStart;
    int64_t wall = monotonicNs() - wallStart;
    return {100.0 * static_cast<double>(cpu) / static_cast<double>(wall),
            static_cast<double>(wall) / 1e9};
}

// The shared server and its probe thread, drained of earlier work; false (the
// case skipped) when the thread cannot be found.
bool findProbeThread(benchmark::State& state, BriskServer** server, pid_t* tid) {
    *server = sharedServer();
    *tid = sharedProbeTid();
    if (*server == nullptr || *tid == 0) {
        state.SkipWithError("the probe thread could not be found");
        return false;
    }
    drain();
    return true;
}

void idle(benchmark::State& state) {
    BriskServer* server = nullptr;
    pid_t tid = 0;
    if (!findProbeThread(state, &server, &tid)) {
        return;
    }
    const int64_t window = benchSettings().quick ? 200000000LL : 1000000000LL;
    CpuShare share;
    for (auto _ : state) {
        share = measure(tid, window);
        state.SetIterationTime(share.seconds);
    }
    // Every other thread of the process (the probe threads of the other servers,
    // of the scale cases and of the reporting case) must be asleep too.
    int64_t othersStart = 0;
    std::vector<pid_t> others;
    for (pid_t other : allThreads()) {
        if (other != gettid()) {
            others.push_back(other);
        }
    }
    for (pid_t other : others) {
        othersStart += threadCpuNs(other);
    }
    usleep(100 * 1000);
    int64_t othersCpu = -othersStart;
    for (pid_t other : others) {
        othersCpu += threadCpuNs(other);
    }
    state.counters["cpu_percent"] = share.percent;
    state.counters["cpu_us_per_s"] = share.percent * 1e4;
    state.counters["thread_named"] = sharedProbeThreadNamed() ? 1 : 0;
    state.counters["other_threads"] = static_cast<double>(others.size());
    state.counters["other_threads_cpu_us_per_s"] = static_cast<double>(othersCpu) / 1e3 * 10;
    state.SetLabel("kind=probe_thread;title=probe thread idle;target_percent=0");
}

void boostHeld(benchmark::State& state) {
    BriskServer* server = nullptr;
    pid_t tid = 0;
    if (!findProbeThread(state, &server, &tid)) {
        return;
    }
    SimDevice& device = SimDevice::instance();
    CpuShare share;
    bool boosted = false;
    for (auto _ : state) {
        long targets = device.callCount(SimCall::Op::SetProbeTarget);
        server->briskEvent(Vocabulary::kProbeCmdId, kProbeMessage, 1, kStart);
        // The boost lands after the 8 ms delay; wait for its platform call.
        for (int i = 0; i < 200 && device.callCount(SimCall::Op::SetProbeTarget) == targets; ++i) {
            usleep(1000);
        }
        boosted = device.callCount(SimCall::Op::SetProbeTarget) > targets;
        // Well inside the 256 ms hold time.
        share = measure(tid, 200000000LL);
        state.SetIterationTime(share.seconds);
        server->briskEvent(Vocabulary::kProbeCmdId, kProbeMessage, 1, kStop);
    }
    drain();
    CpuShare after = measure(tid, 100000000LL);
    if (!boosted) {
        state.SkipWithError("the boost was never applied");
        return;
    }
    state.counters["cpu_percent"] = share.percent;
    state.counters["cpu_us_per_s"] = share.percent * 1e4;
    state.counters["cpu_percent_after_stop"] = after.percent;
    state.SetLabel("kind=probe_thread;title=probe thread, one boost held");
}

}  // namespace

void registerProbeThreadBenchmarks() {
    benchmark::RegisterBenchmark("probe_thread/idle", idle)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("probe_thread/boost_held", boostHeld)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}
