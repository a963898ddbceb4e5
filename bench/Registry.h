#pragma once

// Each file of benchmarks registers its cases here; main() calls them in this
// order, which is the order in which they run and appear in the results.
void registerFloorBenchmarks();
void registerEntryPointBenchmarks();
void registerScaleBenchmarks();
void registerContentionBenchmarks();
void registerProbeThreadBenchmarks();
void registerIpcFloorBenchmarks();
void registerDaemonBenchmarks();
void registerLinuxBackendBenchmarks();
void registerLinuxSchedBenchmarks();
