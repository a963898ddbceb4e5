#include "bench/LinuxBench.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "bench/ThreadClock.h"
#include "config/Vocabulary.h"

namespace {
const char kTmpfs[] = "/dev/shm";

int64_t threadCpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}
}  // namespace

const int kBenchBegin[1] = {Vocabulary::kBegin};
const int kBenchEnd[1] = {Vocabulary::kEnd};

int CountingFileOps::open(const std::string& path, int flags, mode_t mode) {
    count();
    return SystemFileOps::open(path, flags, mode);
}

int CountingFileOps::close(int fd) {
    count();
    return SystemFileOps::close(fd);
}

ssize_t CountingFileOps::pread(int fd, void* buffer, size_t size, off_t offset) {
    count();
    return SystemFileOps::pread(fd, buffer, size, offset);
}

ssize_t CountingFileOps::pwrite(int fd, const void* buffer, size_t size, off_t offset) {
    count();
    mPwrites.fetch_add(1, std::memory_order_relaxed);
    return SystemFileOps::pwrite(fd, buffer, size, offset);
}

int CountingFileOps::fsync(int fd) {
    count();
    return SystemFileOps::fsync(fd);
}

int CountingFileOps::ftruncate(int fd, off_t size) {
    count();
    return SystemFileOps::ftruncate(fd, size);
}

int CountingThreadOps::getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) {
    count();
    return SystemThreadOps::getUtilClamp(tid, minimum, maximum);
}

int CountingThreadOps::setUtilClampMin(int tid, unsigned minimum) {
    count();
    return SystemThreadOps::setUtilClampMin(tid, minimum);
}

int CountingThreadOps::getNice(int tid, int* nice) {
    count();
    return SystemThreadOps::getNice(tid, nice);
}

int CountingThreadOps::setNice(int tid, int nice) {
    count();
    return SystemThreadOps::setNice(tid, nice);
}

LinuxMachine::LinuxMachine() : tree(kTmpfs) {
    tree.buildBigLittle();
    tree.write(std::string(FakeKernelTree::kPolicyDir) + "4/scaling_min_freq", "1000000");
    tree.write("/sys/module/touch/boost", "no");
    tree.write("/sys/module/perf/mode", "norm");
    tree.write("/sys/block/sda/queue/scheduler", "cfq1");
    tree.addCgroups("/dev/cpuctl", 1, {"top-app", "foreground", "system-background", "background"},
                    true);
    settings = tree.settings();
    settings.fileOps = files;
    settings.threadOps = threads;
    settings.descriptionFile = tree.writeDescription(
        "<backend><item name=\"touch_boost\" file=\"/sys/module/touch/boost\"/>"
        "<item name=\"perf_mode\" file=\"/sys/module/perf/mode\"/>"
        "<item name=\"io_sched\" file=\"/sys/block/sda/queue/scheduler\"/></backend>");
}

Action benchStep(int cmdId, int duration, const std::vector<std::pair<int, int>>& pairs,
                 const std::vector<std::pair<std::string, std::string>>& items) {
    Action step;
    step.cmdId = cmdId;
    step.duration = duration;
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

PwriteFloor::PwriteFloor(FakeKernelTree& tree, int count) {
    for (int f = 0; f < count; ++f) {
        std::string path = "/sys/floor" + std::to_string(f);
        tree.write(path, "1800000");
        mFds.push_back(open(tree.path(path).c_str(), O_WRONLY | O_CLOEXEC));
    }
}

PwriteFloor::~PwriteFloor() {
    for (int fd : mFds) {
        close(fd);
    }
}

void PwriteFloor::run(long i) {
    const char* text = i % 2 ? "1200000" : "1800000";
    for (int fd : mFds) {
        benchmark::DoNotOptimize(pwrite(fd, text, 7, 0));
    }
}

void runInterleaved(benchmark::State& state, LinuxMachine& machine, const BenchFloor& floor,
                    const BenchCall& call, const std::string& meta) {
    constexpr int kBlock = 64;
    int failed = call(0) | call(1);
    const long calls = machine.calls();
    const long pwrites = machine.files->pwrites();
    int64_t callReal = 0, callCpu = 0, floorReal = 0, floorCpu = 0;
    long i = 0;
    for (auto _ : state) {
        int64_t r0 = monotonicNs(), c0 = threadCpuNow();
        for (int j = 0; j < kBlock; ++j) {
            failed |= call(i + j);
        }
        int64_t r1 = monotonicNs(), c1 = threadCpuNow();
        for (int j = 0; j < kBlock && floor; ++j) {
            floor(i + j);
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
    if (floor) {
        state.counters["floor_ns"] = static_cast<double>(floorReal) / n;
        state.counters["floor_cpu_ns"] = static_cast<double>(floorCpu) / n;
    }
    state.counters["syscalls"] = static_cast<double>(machine.calls() - calls) / n;
    state.counters["pwrites"] = static_cast<double>(machine.files->pwrites() - pwrites) / n;
    state.SetLabel("kind=linux;" + meta);
}
