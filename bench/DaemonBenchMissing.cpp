// Built instead of DaemonBench.cpp when the build has no briskd: the daemon case
// is reported as not measured.
#include <benchmark/benchmark.h>

#include "bench/Registry.h"

void registerDaemonBenchmarks() {
    benchmark::RegisterBenchmark("daemon/not_built", [](benchmark::State& state) {
        for (auto _ : state) {
        }
        state.SkipWithError("briskd is not part of this build");
    })->Iterations(1);
}
