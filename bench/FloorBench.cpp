// The floor: what the cheapest building blocks of an entry point cost on this
// machine, measured in the same run as the entry points.
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <utils/String8.h>

#include <map>

#include "bench/BenchLog.h"
#include "bench/BenchSettings.h"
#include "bench/Registry.h"
#include "server/BriskLog.h"

namespace {

void floorMutex(benchmark::State& state) {
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, nullptr);
    for (auto _ : state) {
        pthread_mutex_lock(&mutex);
        benchmark::ClobberMemory();
        pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_destroy(&mutex);
    state.SetLabel("kind=floor;id=mutex;title=uncontended mutex lock + unlock");
}

void floorMapLookup(benchmark::State& state) {
    std::map<int, int> map;
    for (int i = 0; i < 10; ++i) {
        map[50 + i] = i;
    }
    int key = 50;
    for (auto _ : state) {
        benchmark::DoNotOptimize(key);
        auto it = map.find(key);
        benchmark::DoNotOptimize(it);
        key = key == 59 ? 50 : key + 1;
    }
    state.SetLabel("kind=floor;id=map_lookup;title=look-up in a ten-entry `std::map<int,int>`");
}

void floorAppendFormat(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        android::String8 text;
        text.appendFormat("tag=%s value=%d\n", "little cpu max,       ", value++);
        benchmark::DoNotOptimize(text.c_str());
    }
    state.SetLabel("kind=floor;id=appendformat;title=`android::String8` + one `appendFormat`");
}

void floorLogDropped(benchmark::State& state) {
    applyLogMode(LogMode::Filtered);
    int i = 0;
    for (auto _ : state) {
        BRISK_LOGI("setConfig clientId=%d, tagLen=%d, tags[%d]=%d, configs[%d]=%d", 1, 1, 0, 2, 0,
                   i++);
    }
    state.SetLabel("kind=floor;id=log_dropped;title=one log line dropped (below error priority)");
}

void floorLogWritten(benchmark::State& state) {
    applyLogMode(LogMode::Default);
    int i = 0;
    for (auto _ : state) {
        BRISK_LOGI("setConfig clientId=%d, tagLen=%d, tags[%d]=%d, configs[%d]=%d", 1, 1, 0, 2, 0,
                   i++);
    }
    applyLogMode(LogMode::Filtered);
    state.SetLabel(
        "kind=floor;id=log_written;title=one log line written by liblog's default logger");
}

}  // namespace

void registerFloorBenchmarks() {
    microTiming(benchmark::RegisterBenchmark("floor/mutex", floorMutex));
    microTiming(benchmark::RegisterBenchmark("floor/map_lookup", floorMapLookup));
    microTiming(benchmark::RegisterBenchmark("floor/appendformat", floorAppendFormat));
    microTiming(benchmark::RegisterBenchmark("floor/log_dropped", floorLogDropped));
    microTiming(benchmark::RegisterBenchmark("floor/log_written", floorLogWritten));
}
