// Scale: configurations of 100, 1,000 and 10,000 commands. Load time through
// init, the memory a loaded configuration adds, and an event's cost with each.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <map>
#include <memory>
#include <string>

#include "bench/BenchConfig.h"
#include "bench/BenchLog.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/ProcessMemory.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"
#include "platform/sim/CfgFileResolver.h"
#include "server/BriskServer.h"

namespace {

const int kSizes[] = {100, 1000, 10000};

struct Scale {
    std::unique_ptr<ConfigFile> file;
    int eventId = 0;
    BriskServer* server = nullptr;  // kept for the life of the process
};

Scale& scale(int commands) {
    static std::map<int, Scale> scales;
    Scale& s = scales[commands];
    if (!s.file) {
        s.file = std::make_unique<ConfigFile>(generatedConfig(commands, &s.eventId));
    }
    return s;
}

std::string sizeLabel(int commands) {
    return ";commands=" + std::to_string(commands);
}

// Builds the server that the event case uses and measures what it added.
void memory(benchmark::State& state) {
    const int commands = static_cast<int>(state.range(0));
    Scale& s = scale(commands);
    if (!s.file->ok()) {
        state.SkipWithError("cannot write the configuration file");
        return;
    }
    size_t heapBefore = 0;
    size_t rssBefore = 0;
    for (auto _ : state) {
        malloc_trim(0);
        heapBefore = heapInUseBytes();
        rssBefore = residentBytes();
        int64_t start = monotonicNs();
        s.server = startServer(s.file->path());
        state.SetIterationTime(static_cast<double>(monotonicNs() - start) / 1e9);
    }
    if (s.server == nullptr) {
        state.SkipWithError("init failed");
        return;
    }
    auto addedKb = [](size_t after, size_t before) {
        return (static_cast<double>(after) - static_cast<double>(before)) / 1024.0;
    };
    state.counters["heap_added_kB"] = addedKb(heapInUseBytes(), heapBefore);
    state.counters["rss_added_kB"] = addedKb(residentBytes(), rssBefore);
    // What stays resident once the allocator gives back what parsing used.
    malloc_trim(0);
    state.counters["rss_added_after_trim_kB"] = addedKb(residentBytes(), rssBefore);
    state.counters["file_kB"] = static_cast<double>(s.file->bytes()) / 1024.0;
    state.SetLabel("kind=scale_memory;title=memory a loaded configuration adds" +
                   sizeLabel(commands));
}

// init() alone, on a fresh server each time; the server is deleted afterwards
// (no probe event was sent, so its idle probe thread stays behind harmlessly).
void load(benchmark::State& state) {
    const int commands = static_cast<int>(state.range(0));
    Scale& s = scale(commands);
    int failed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        CfgFileResolver::setFile(s.file->path());
        auto* server = new BriskServer();
        state.ResumeTiming();
        int64_t start = monotonicNs();
        failed |= server->init();
        state.SetIterationTime(static_cast<double>(monotonicNs() - start) / 1e9);
        state.PauseTiming();
        delete server;
        CfgFileResolver::reset();
        state.ResumeTiming();
    }
    if (failed != 0) {
        state.SkipWithError("init failed");
    }
    std::string target = commands == 10000 ? ";target_ms=50" : "";
    state.SetLabel("kind=scale_load;title=load through init" + sizeLabel(commands) + target);
}

void event(benchmark::State& state) {
    const int commands = static_cast<int>(state.range(0));
    Scale& s = scale(commands);
    if (s.server == nullptr) {
        state.SkipWithError("no server for this size (the memory case failed or did not run)");
        return;
    }
    const int payload[1] = {0};
    int failed = 0;
    for (auto _ : state) {
        failed |= s.server->briskEvent(s.eventId, "", 1, payload);
    }
    if (failed != 0) {
        state.SkipWithError("the event did not answer 0");
    }
    state.SetLabel("kind=scale_event;title=plain event reaching doAction;floor=mutex" +
                   sizeLabel(commands));
}

}  // namespace

void registerScaleBenchmarks() {
    for (int commands : kSizes) {
        benchmark::RegisterBenchmark("scale/memory", memory)
            ->Arg(commands)
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    for (int commands : kSizes) {
        int iterations = benchSettings().quick ? 2 : (commands == 10000 ? 10 : 20);
        benchmark::RegisterBenchmark("scale/load", load)
            ->Arg(commands)
            ->Iterations(iterations)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    for (int commands : kSizes) {
        microTiming(benchmark::RegisterBenchmark("scale/event", event)->Arg(commands));
    }
}
