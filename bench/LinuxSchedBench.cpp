// The Linux back-end's scheduling-group levels and thread boosts: a scheduling
// event that changes three groups and one that changes nothing, beside the
// floor of the same pwrites; a probe boost and unboost on this machine's kernel,
// beside the same system calls made raw.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "bench/BenchSettings.h"
#include "bench/LinuxBench.h"
#include "bench/Registry.h"
#include "config/Vocabulary.h"
#include "platform/linux/LinuxBackend.h"
#include "sched/SchedTags.h"

namespace {

// The eight EAS groups; the two level sets differ in top-app, foreground and
// background (each: a uclamp file and cpu.shares, six pwrites).
const int kGroupTags[8] = {51, 52, 53, 54, 55, 56, 57, 58};
const int kLevelsA[8] = {0, 0, 20, 0, 10, 0, 0, -10};
const int kLevelsB[8] = {0, 0, 30, 0, 20, 0, 0, -20};

void schedEvent(benchmark::State& state, bool changes) {
    LinuxMachine machine;
    LinuxBackend backend(machine.settings);
    if (backend.initialize() != 0) {
        state.SkipWithError("the back-end did not start on the tmpfs tree");
        return;
    }
    PwriteFloor floor(machine.tree, 6);
    BenchFloor floorCall = nullptr;
    if (changes) {
        floorCall = [&](long i) { floor.run(i); };
    }
    runInterleaved(
        state, machine, floorCall,
        [&](long i) {
            return backend.doSchedLevelAction(8, kGroupTags,
                                              changes && i % 2 ? kLevelsB : kLevelsA);
        },
        changes ? "title=scheduling event changing 3 groups (6 files);target_ratio=1.3"
                : "title=scheduling event changing nothing;target_syscalls=0");
}

// A thread of the benchmark that the probe boosts: it waits until the end.
class Sleeper {
public:
    Sleeper() {
        mThread = std::thread([this] {
            std::unique_lock<std::mutex> lock(mMutex);
            mTid = static_cast<int>(syscall(SYS_gettid));
            mCond.notify_all();
            mCond.wait(lock, [this] { return mEnd; });
        });
        std::unique_lock<std::mutex> lock(mMutex);
        mCond.wait(lock, [this] { return mTid != 0; });
    }
    ~Sleeper() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mEnd = true;
        }
        mCond.notify_all();
        mThread.join();
    }
    int tid() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mTid;
    }

private:
    std::thread mThread;
    std::mutex mMutex;
    std::condition_variable mCond;
    int mTid = 0;
    bool mEnd = false;
};

// What a boost or an unboost does by itself on this kernel (no util clamping:
// the nice fallback): read the thread's stat for its start time, read its nice
// value, set it, and write the journal slot.
class RawBoostFloor {
public:
    RawBoostFloor(FakeKernelTree& tree, int tid)
        : mStat(tree.path("/proc/" + std::to_string(tid) + "/stat")), mTid(tid) {
        tree.write("/floor-journal", std::string(127, ' '));
        mJournal = open(tree.path("/floor-journal").c_str(), O_RDWR | O_CLOEXEC);
    }
    ~RawBoostFloor() { close(mJournal); }
    void run(long i) {
        char buffer[4097];
        int fd = open(mStat.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        benchmark::DoNotOptimize(pread(fd, buffer, sizeof(buffer), 0));
        close(fd);
        errno = 0;
        int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(mTid));
        benchmark::DoNotOptimize(
            setpriority(PRIO_PROCESS, static_cast<id_t>(mTid), i % 2 ? nice + 5 : nice - 5));
        benchmark::DoNotOptimize(pwrite(mJournal, buffer, 128, 128));
    }

private:
    std::string mStat;
    int mTid;
    int mJournal = -1;
};

void probeBoost(benchmark::State& state) {
    if (geteuid() != 0) {
        state.SkipWithError("raising a thread's priority needs root (CAP_SYS_NICE)");
        return;
    }
    LinuxMachine machine;
    Sleeper sleeper;
    const int tid = sleeper.tid();
    // The tree shows the real thread, so that its start time is the kernel's.
    machine.tree.write("/proc/.keep", "");
    std::string task = "/proc/" + std::to_string(getpid()) + "/task/" + std::to_string(tid);
    if (symlink(task.c_str(), machine.tree.path("/proc/" + std::to_string(tid)).c_str()) != 0) {
        state.SkipWithError("cannot show the thread in the tree");
        return;
    }
    LinuxBackend backend(machine.settings);
    if (backend.initialize() != 0) {
        state.SkipWithError("the back-end did not start on the tmpfs tree");
        return;
    }
    const Action probe = benchStep(Vocabulary::kProbeCmdId, 80, {}, {});
    RawBoostFloor floor(machine.tree, tid);
    runInterleaved(
        state, machine, [&](long i) { floor.run(i); },
        [&](long i) {
            const int* payload = i % 2 ? kBenchEnd : kBenchBegin;
            backend.setProbeTarget(tid, payload[0]);
            return backend.doAction(&probe, 1, payload);
        },
        "title=probe boost, unboost (no util clamping here: the nice fallback);"
        "target_ratio=1.3");
}

}  // namespace

void registerLinuxSchedBenchmarks() {
    microTiming(benchmark::RegisterBenchmark("linux/sched_event_3_groups",
                                             [](benchmark::State& s) { schedEvent(s, true); }));
    microTiming(benchmark::RegisterBenchmark("linux/sched_event_unchanged",
                                             [](benchmark::State& s) { schedEvent(s, false); }));
    microTiming(benchmark::RegisterBenchmark("linux/probe_boost", probeBoost));
}
