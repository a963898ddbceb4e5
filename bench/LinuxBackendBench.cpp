// The Linux back-end on a tmpfs tree: the calls the service makes for
// frequencies and platform items, each beside the floor of the same number of
// pwrites to kept-open files in the same run, and the number of system calls
// each makes (through a counting file layer).
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>

#include "bench/BenchConfig.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/LinuxBench.h"
#include "bench/Registry.h"
#include "freq/FreqTags.h"
#include "platform/linux/LinuxBackend.h"
#include "platform/select/PlatformSelector.h"
#include "server/BriskServer.h"

namespace {

// Longer than any run: the timer never ends the on/off step's request itself.
constexpr int kTimedOnOffMs = 600000;

// A back-end call on the machine; alternating cases end where they began (the
// blocks hold an even number of calls).
void backendCase(benchmark::State& state, int pwritesPerCall,
                 const std::function<int(PerfBackend&, long)>& call, const std::string& meta) {
    LinuxMachine machine;
    LinuxBackend backend(machine.settings);
    if (backend.initialize() != 0) {
        state.SkipWithError("the back-end did not start on the tmpfs tree");
        return;
    }
    PwriteFloor floor(machine.tree, pwritesPerCall);
    BenchFloor floorCall = nullptr;
    if (pwritesPerCall > 0) {
        floorCall = [&](long i) { floor.run(i); };
    }
    runInterleaved(
        state, machine, floorCall, [&](long i) { return call(backend, i); }, meta);
}

// The on/off command through the whole service on the Linux back-end: its
// frequency pairs reach setConfig, its platform item doAction.
void serviceOnOff(benchmark::State& state) {
    LinuxMachine machine;
    PlatformSelector::useLinuxBackend(machine.settings);
    ConfigFile config(entryPointConfig());
    std::unique_ptr<BriskServer> server(config.ok() ? startServer(config.path()) : nullptr);
    PlatformSelector::useSimulatedDevice();
    if (server == nullptr) {
        state.SkipWithError("the service did not start on the Linux back-end");
        return;
    }
    PwriteFloor floor(machine.tree, 3);
    runInterleaved(
        state, machine, [&](long i) { floor.run(i); },
        [&](long i) {
            return server->briskEvent(benchcfg::kOnOffFirst, "", 1,
                                      i % 2 ? kBenchEnd : kBenchBegin);
        },
        "title=on/off event through the service (begin, end), 3 files");
}

void registerCase(const char* name, int pwritesPerCall,
                  const std::function<int(PerfBackend&, long)>& call, const std::string& meta) {
    microTiming(benchmark::RegisterBenchmark(
        name, [=](benchmark::State& state) { backendCase(state, pwritesPerCall, call, meta); }));
}

}  // namespace

void registerLinuxBackendBenchmarks() {
    // Timed, so that doAction holds the whole step (an untimed on/off step's
    // frequency pairs reach the back-end through setConfig: serviceOnOff).
    const Action onOff =
        benchStep(benchcfg::kOnOffFirst, kTimedOnOffMs,
                  {{BRISK_TAG_LITTLE_CPU_MAX, 1200000}, {BRISK_TAG_BIG_CPU_MIN, 1500000}},
                  {{"touch_boost", "on"}});
    registerCase(
        "linux/onoff_3_files", 3,
        [onOff](PerfBackend& b, long i) {
            return b.doAction(&onOff, 1, i % 2 ? kBenchEnd : kBenchBegin);
        },
        "title=on/off begin, end: a timed step writing 3 files;target_ratio=1.3");
    registerCase(
        "linux/client_ceiling", 1,
        [](PerfBackend& b, long i) {
            int tag = BRISK_TAG_BIG_CPU_MAX;
            int value = i % 2 ? 2000000 : 2100000;
            return b.setConfig(1, &tag, &value);
        },
        "title=client ceiling request (setConfig, 1 file);target_ratio=1.3");
    const Action scene =
        benchStep(benchcfg::kSceneLight, 0, {}, {{"perf_mode", "game"}, {"io_sched", "bfq2"}});
    registerCase(
        "linux/scene_2_items", 2,
        [scene](PerfBackend& b, long i) {
            return b.doAction(&scene, 1, i % 2 ? kBenchEnd : kBenchBegin);
        },
        "title=scene begin, end with 2 platform items;target_ratio=1.3");
    registerCase(
        "linux/unchanged", 0,
        [](PerfBackend& b, long) {
            int tag = BRISK_TAG_BIG_CPU_MAX;
            int value = 2000000;
            return b.setConfig(1, &tag, &value);
        },
        "title=the same request again, nothing to change;target_syscalls=0");
    microTiming(benchmark::RegisterBenchmark("linux/service_onoff", serviceOnOff));
}
