// The Linux back-end on a tmpfs tree: the calls the service makes, each beside
// the floor of the same number of pwrites to kept-open files in the same run,
// and the number of system calls each makes (through a counting file layer).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchConfig.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"
#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/LinuxBackend.h"
#include "platform/linux/SystemFileOps.h"
#include "platform/select/PlatformSelector.h"
#include "server/BriskServer.h"
#include "tests/support/FakeKernelTree.h"

namespace {

const char kTmpfs[] = "/dev/shm";

// The system calls, counted.
class CountingFileOps : public SystemFileOps {
public:
    long calls() const { return mCalls.load(std::memory_order_relaxed); }
    long pwrites() const { return mPwrites.load(std::memory_order_relaxed); }

    int open(const std::string& path, int flags, mode_t mode) override {
        count();
        return SystemFileOps::open(path, flags, mode);
    }
    int close(int fd) override {
        count();
        return SystemFileOps::close(fd);
    }
    ssize_t pread(int fd, void* buffer, size_t size, off_t offset) override {
        count();
        return SystemFileOps::pread(fd, buffer, size, offset);
    }
    ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) override {
        count();
        mPwrites.fetch_add(1, std::memory_order_relaxed);
        return SystemFileOps::pwrite(fd, buffer, size, offset);
    }
    int fsync(int fd) override {
        count();
        return SystemFileOps::fsync(fd);
    }
    int ftruncate(int fd, off_t size) override {
        count();
        return SystemFileOps::ftruncate(fd, size);
    }

private:
    void count() { mCalls.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<long> mCalls{0};
    std::atomic<long> mPwrites{0};
};

// A big.LITTLE tree on the tmpfs with three platform items. Each value the
// benchmarks write has the length of the file's original, as a kernel file would
// not care: a plain file is cut to size after a shorter write, which a sysfs
// file never needs.
struct Machine {
    Machine() : tree(kTmpfs) {
        tree.buildBigLittle();
        tree.write(std::string(FakeKernelTree::kPolicyDir) + "4/scaling_min_freq", "1000000");
        tree.write("/sys/module/touch/boost", "no");
        tree.write("/sys/module/perf/mode", "norm");
        tree.write("/sys/block/sda/queue/scheduler", "cfq1");
        settings = tree.settings();
        settings.fileOps = ops;
        settings.descriptionFile = tree.writeDescription(
            "<backend><item name=\"touch_boost\" file=\"/sys/module/touch/boost\"/>"
            "<item name=\"perf_mode\" file=\"/sys/module/perf/mode\"/>"
            "<item name=\"io_sched\" file=\"/sys/block/sda/queue/scheduler\"/></backend>");
    }

    FakeKernelTree tree;
    std::shared_ptr<CountingFileOps> ops = std::make_shared<CountingFileOps>();
    LinuxBackendSettings settings;
};

Action makeStep(int cmdId, const std::vector<std::pair<int, int>>& pairs,
                const std::vector<std::pair<std::string, std::string>>& items) {
    Action step;
    step.cmdId = cmdId;
    step.duration = 0;
    for (const auto& pair : pairs) {
        step.tagValues.insert(step.tagValues.end(), {pair.first, pair.second});
        step.keyValues.insert(step.keyValues.end(),
                              {Vocabulary::nameForTag(pair.first), std::to_string(pair.second)});
    }
    for (const auto& item : items) {
        step.tagValues.insert(step.tagValues.end(), {Vocabulary::kPlatformItemTag, 1});
        step.keyValues.insert(step.keyValues.end(), {item.first, item.second});
    }
    step.tagCount = static_cast<int>(step.tagValues.size() / 2);
    return step;
}

const int kBegin[1] = {Vocabulary::kBegin};
const int kEnd[1] = {Vocabulary::kEnd};

using Call = std::function<int(long i)>;

int64_t threadCpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

// The floor of a call that makes `count` pwrites: the same number of pwrites of
// 7 bytes to kept-open files of the same tmpfs, alternating two texts.
class PwriteFloor {
public:
    PwriteFloor(FakeKernelTree& tree, int count) {
        for (int f = 0; f < count; ++f) {
            std::string path = "/sys/floor" + std::to_string(f);
            tree.write(path, "1800000");
            mFds.push_back(open(tree.path(path).c_str(), O_WRONLY | O_CLOEXEC));
        }
    }
    ~PwriteFloor() {
        for (int fd : mFds) {
            close(fd);
        }
    }
    void run(long i) {
        const char* text = i % 2 ? "1200000" : "1800000";
        for (int fd : mFds) {
            benchmark::DoNotOptimize(pwrite(fd, text, 7, 0));
        }
    }

private:
    std::vector<int> mFds;
};

// Runs `call` in blocks of calls, each block followed by a block of its floor,
// so that both see the same load of this shared machine; the time per call and
// per floor go to counters, real and CPU. The first two calls (which read and
// journal the originals) are not timed; `ops` counts what reached the files.
void runInterleaved(benchmark::State& state, FakeKernelTree& tree, CountingFileOps& ops,
                    int pwritesPerCall, const Call& call, const std::string& meta) {
    constexpr int kBlock = 64;
    PwriteFloor floor(tree, pwritesPerCall);
    int failed = call(0) | call(1);
    const long calls = ops.calls();
    const long pwrites = ops.pwrites();
    int64_t callReal = 0, callCpu = 0, floorReal = 0, floorCpu = 0;
    long i = 0;
    for (auto _ : state) {
        int64_t r0 = monotonicNs(), c0 = threadCpuNow();
        for (int j = 0; j < kBlock; ++j) {
            failed |= call(i + j);
        }
        int64_t r1 = monotonicNs(), c1 = threadCpuNow();
        for (int j = 0; j < kBlock && pwritesPerCall > 0; ++j) {
            floor.run(i + j);
        }
        int64_t r2 = monotonicNs(), c2 = threadCpuNow();
        callReal += r1 - r0;
        callCpu += c1 - c0;
        floorReal += r2 - r1;
        floorCpu += c2 - c1;
        i += kBlock;
    }
    if (failed != 0) {
        state.SkipWithError("a call did not answer 0");
    }
    const double n = static_cast<double>(i);
    state.counters["call_ns"] = static_cast<double>(callReal) / n;
    state.counters["call_cpu_ns"] = static_cast<double>(callCpu) / n;
    if (pwritesPerCall > 0) {
        state.counters["floor_ns"] = static_cast<double>(floorReal) / n;
        state.counters["floor_cpu_ns"] = static_cast<double>(floorCpu) / n;
    }
    state.counters["syscalls"] = static_cast<double>(ops.calls() - calls) / n;
    state.counters["pwrites"] = static_cast<double>(ops.pwrites() - pwrites) / n;
    state.SetLabel("kind=linux;" + meta);
}

// A back-end call on the machine; alternating cases end where they began (the
// blocks hold an even number of calls).
void backendCase(benchmark::State& state, int pwritesPerCall,
                 const std::function<int(PerfBackend&, long)>& call, const std::string& meta) {
    Machine machine;
    LinuxBackend backend(machine.settings);
    if (backend.initialize() != 0) {
        state.SkipWithError("the back-end did not start on the tmpfs tree");
        return;
    }
    runInterleaved(
        state, machine.tree, *machine.ops, pwritesPerCall, [&](long i) { return call(backend, i); },
        meta);
}

// The on/off command through the whole service on the Linux back-end: its
// frequency pairs reach setConfig, its platform item doAction.
void serviceOnOff(benchmark::State& state) {
    Machine machine;
    PlatformSelector::useLinuxBackend(machine.settings);
    ConfigFile config(entryPointConfig());
    std::unique_ptr<BriskServer> server(config.ok() ? startServer(config.path()) : nullptr);
    PlatformSelector::useSimulatedDevice();
    if (server == nullptr) {
        state.SkipWithError("the service did not start on the Linux back-end");
        return;
    }
    runInterleaved(
        state, machine.tree, *machine.ops, 3,
        [&](long i) {
            return server->briskEvent(benchcfg::kOnOffFirst, "", 1, i % 2 ? kEnd : kBegin);
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
    const Action onOff =
        makeStep(benchcfg::kOnOffFirst,
                 {{BRISK_TAG_LITTLE_CPU_MAX, 1200000}, {BRISK_TAG_BIG_CPU_MIN, 1500000}},
                 {{"touch_boost", "on"}});
    registerCase(
        "linux/onoff_3_files", 3,
        [onOff](PerfBackend& b, long i) { return b.doAction(&onOff, 1, i % 2 ? kEnd : kBegin); },
        "title=on/off begin, end: a step writing 3 files;target_ratio=1.3");
    registerCase(
        "linux/client_ceiling", 1,
        [](PerfBackend& b, long i) {
            int tag = BRISK_TAG_BIG_CPU_MAX;
            int value = i % 2 ? 2000000 : 2100000;
            return b.setConfig(1, &tag, &value);
        },
        "title=client ceiling request (setConfig, 1 file);target_ratio=1.3");
    const Action scene =
        makeStep(benchcfg::kSceneLight, {}, {{"perf_mode", "game"}, {"io_sched", "bfq2"}});
    registerCase(
        "linux/scene_2_items", 2,
        [scene](PerfBackend& b, long i) { return b.doAction(&scene, 1, i % 2 ? kEnd : kBegin); },
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
