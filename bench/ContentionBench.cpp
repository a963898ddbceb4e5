// Contention: 1, 2 and 4 host threads sending a mix of events and client
// requests at once. Throughput of the whole, and p50/p99 latency of one call.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>
#include <vector>

#include "bench/BenchConfig.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/LatencyStats.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"
#include "server/BriskServer.h"

namespace {

constexpr int kMixLength = 8;

// Call number k of host thread `t`: the mix cycles through eight calls, every
// thread with its own on/off command and a client of its own (DUSK, FERN, MOSS).
int mixCall(BriskServer& s, int t, long k) {
    static const int kBegin[1] = {0};
    static const int kEnd[1] = {-1};
    static const int kFreqTag[1] = {2};
    static const int kFreqValue[2][1] = {{1800000}, {1700000}};
    static const int kGroupTag[1] = {42};
    static const int kGroupValue[2][1] = {{(5 << 16) | 10}, {(5 << 16) | 20}};
    static const int kGetTags[3] = {22, 24, 26};
    const int client = t % 3 + 1;
    const int round = static_cast<int>((k / kMixLength) % 2);
    switch (k % kMixLength) {
        case 0:
            return s.briskEvent(benchcfg::kTimedEvent, "", 1, kBegin);
        case 1:
            return s.briskEvent(benchcfg::kOnOffFirst + t, "", 1, kBegin);
        case 2:
            return s.briskSetConfig(client, 1, kFreqTag, kFreqValue[round]);
        case 3:
            return s.briskEvent(round == 0 ? benchcfg::kSchedEventA : benchcfg::kSchedEventB, "", 0,
                                nullptr);
        case 4:
            return s.briskEvent(benchcfg::kOnOffFirst + t, "", 1, kEnd);
        case 5:
            return s.briskSetConfig(client, 1, kGroupTag, kGroupValue[round]);
        case 6: {
            int values[3];
            return s.briskGetConfig(3, kGetTags, values);
        }
        default:
            return s.briskEvent(benchcfg::kTimedEvent, "", 1, kBegin);
    }
}

void contention(benchmark::State& state) {
    const int threads = static_cast<int>(state.range(0));
    BriskServer* server = sharedServer();
    if (server == nullptr) {
        state.SkipWithError("the server could not be started");
        return;
    }
    const long callsPerThread = benchSettings().quick ? 16000 : 160000;
    std::vector<uint32_t> all;
    double wallSeconds = 0;
    std::atomic<int> failures{0};
    for (auto _ : state) {
        std::vector<std::vector<uint32_t>> samples(threads);
        std::atomic<int> ready{0};
        std::atomic<bool> go{false};
        std::vector<std::thread> pool;
        for (int t = 0; t < threads; ++t) {
            pool.emplace_back([&, t] {
                std::vector<uint32_t>& mine = samples[t];
                mine.reserve(callsPerThread);
                ready.fetch_add(1);
                while (!go.load(std::memory_order_acquire)) {
                    std::this_thread::yield();
                }
                int failed = 0;
                for (long k = 0; k < callsPerThread; ++k) {
                    int64_t start = monotonicNs();
                    failed |= mixCall(*server, t, k);
                    mine.push_back(static_cast<uint32_t>(monotonicNs() - start));
                }
                if (failed != 0) {
                    failures.fetch_add(1);
                }
            });
        }
        while (ready.load() < threads) {
            std::this_thread::yield();
        }
        int64_t start = monotonicNs();
        go.store(true, std::memory_order_release);
        for (std::thread& thread : pool) {
            thread.join();
        }
        double seconds = static_cast<double>(monotonicNs() - start) / 1e9;
        state.SetIterationTime(seconds);
        wallSeconds += seconds;
        for (auto& mine : samples) {
            all.insert(all.end(), mine.begin(), mine.end());
        }
    }
    if (failures.load() != 0) {
        state.SkipWithError("a call did not answer 0");
        return;
    }
    LatencySummary summary = summarize(all);
    state.counters["calls_per_s"] = static_cast<double>(summary.count) / wallSeconds;
    state.counters["p50_ns"] = summary.p50Ns;
    state.counters["p99_ns"] = summary.p99Ns;
    state.counters["max_ns"] = summary.maxNs;
    state.counters["host_threads"] = threads;
    state.SetLabel("kind=contention;title=mix of events and client requests;threads=" +
                   std::to_string(threads));
}

}  // namespace

void registerContentionBenchmarks() {
    for (int threads : {1, 2, 4}) {
        benchmark::RegisterBenchmark("contention/mix", contention)
            ->Arg(threads)
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}
