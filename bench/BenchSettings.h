#pragma once

#include <benchmark/benchmark.h>

#include <string>

// Settings of this run, from brisk_bench's own command-line options.
struct BenchSettings {
    // --brisk_quick: short runs, one repetition (to try the benchmarks out).
    bool quick = false;
    // --brisk_keep_stderr: leave standard error alone (log lines then reach it).
    bool keepStderr = false;
    // --brisk_briskd=PATH: the briskd to measure (default: the one of this build).
    std::string briskd;
};

BenchSettings& benchSettings();

// Timing settings shared by the micro-benchmarks: a minimum time per repetition
// and three repetitions reported as mean, median and spread.
benchmark::internal::Benchmark* microTiming(benchmark::internal::Benchmark* b);
