// brisk_bench: the service's benchmarks. Besides Google Benchmark's own options it
// takes the --brisk_* options of BenchSettings.h.
#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "bench/BenchLog.h"
#include "bench/BenchSettings.h"
#include "bench/Registry.h"
#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"

namespace {
std::string loadAverage() {
    std::ifstream file("/proc/loadavg");
    std::string one, five, fifteen;
    file >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}

// Takes the --brisk_* options out of argv.
void takeOwnOptions(int* argc, char** argv) {
    BenchSettings& settings = benchSettings();
    int out = 1;
    for (int i = 1; i < *argc; ++i) {
        const char* arg = argv[i];
        if (strcmp(arg, "--brisk_quick") == 0) {
            settings.quick = true;
        } else if (strcmp(arg, "--brisk_keep_stderr") == 0) {
            settings.keepStderr = true;
        } else if (strncmp(arg, "--brisk_briskd=", 15) == 0) {
            settings.briskd = arg + 15;
        } else {
            argv[out++] = argv[i];
        }
    }
    *argc = out;
}
}  // namespace

BenchSettings& benchSettings() {
    static BenchSettings settings;
    return settings;
}

benchmark::internal::Benchmark* microTiming(benchmark::internal::Benchmark* b) {
    if (benchSettings().quick) {
        return b->MinTime(0.02);
    }
    return b->MinTime(0.2)->Repetitions(3)->ReportAggregatesOnly(true);
}

int main(int argc, char** argv) {
    takeOwnOptions(&argc, argv);

    // The quiet simulated device: calls are counted, nothing is recorded.
    SimDevice::instance().setRecording(false);
    static long jankRecords = 0;
    JankLogSink::setCallback([](int, int, const std::string&) { ++jankRecords; });
    applyLogMode(LogMode::Filtered);

    registerFloorBenchmarks();
    registerEntryPointBenchmarks();
    registerScaleBenchmarks();
    registerContentionBenchmarks();
    registerProbeThreadBenchmarks();
    registerIpcFloorBenchmarks();
    registerDaemonBenchmarks();
    registerLinuxBackendBenchmarks();
    registerLinuxSchedBenchmarks();

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::AddCustomContext("load_average_at_start", loadAverage());
    benchmark::AddCustomContext("default_logger_output", "/dev/null (stderr logger)");
    if (!benchSettings().keepStderr) {
        silenceStderr();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
