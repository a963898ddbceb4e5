#pragma once

// What the Linux back-end's benchmarks share: counting layers below the
// back-end, a machine on a tmpfs, the floors and the interleaved runner.
#include <benchmark/benchmark.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "config/Action.h"
#include "platform/linux/LinuxBackendSettings.h"
#include "platform/linux/SystemFileOps.h"
#include "platform/linux/SystemThreadOps.h"
#include "tests/support/FakeKernelTree.h"

// The file system calls, counted.
class CountingFileOps : public SystemFileOps {
public:
    long calls() const { return mCalls.load(std::memory_order_relaxed); }
    long pwrites() const { return mPwrites.load(std::memory_order_relaxed); }

    int open(const std::string& path, int flags, mode_t mode) override;
    int close(int fd) override;
    ssize_t pread(int fd, void* buffer, size_t size, off_t offset) override;
    ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) override;
    int fsync(int fd) override;
    int ftruncate(int fd, off_t size) override;

private:
    void count() { mCalls.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<long> mCalls{0};
    std::atomic<long> mPwrites{0};
};

// The thread system calls, counted.
class CountingThreadOps : public SystemThreadOps {
public:
    long calls() const { return mCalls.load(std::memory_order_relaxed); }

    int getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) override;
    int setUtilClampMin(int tid, unsigned minimum) override;
    int getNice(int tid, int* nice) override;
    int setNice(int tid, int nice) override;

private:
    void count() { mCalls.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<long> mCalls{0};
};

// A big.LITTLE tree on a tmpfs with three platform items and four cgroup
// folders (v1, with uclamp files). Each value the benchmarks write has the
// length of the file's original, as a kernel file would not care: a plain file
// is cut to size after a shorter write, which a sysfs file never needs.
struct LinuxMachine {
    LinuxMachine();
    long calls() const { return files->calls() + threads->calls(); }

    FakeKernelTree tree;
    std::shared_ptr<CountingFileOps> files = std::make_shared<CountingFileOps>();
    std::shared_ptr<CountingThreadOps> threads = std::make_shared<CountingThreadOps>();
    LinuxBackendSettings settings;
};

// A step as the configuration gives it.
Action benchStep(int cmdId, int duration, const std::vector<std::pair<int, int>>& pairs,
                 const std::vector<std::pair<std::string, std::string>>& items);

// The floor of a call that makes `count` pwrites: the same number of pwrites of
// 7 bytes to kept-open files of the same tmpfs, alternating two texts.
class PwriteFloor {
public:
    PwriteFloor(FakeKernelTree& tree, int count);
    ~PwriteFloor();
    PwriteFloor(const PwriteFloor&) = delete;
    PwriteFloor& operator=(const PwriteFloor&) = delete;
    void run(long i);

private:
    std::vector<int> mFds;
};

using BenchCall = std::function<int(long i)>;
using BenchFloor = std::function<void(long i)>;

// Runs `call` in blocks of calls, each block followed by a block of `floor`
// (none: a call that should make no system call), so that both see the same
// load of this shared machine; the time per call and per floor go to counters,
// real and CPU, with the system calls and pwrites per call. The first two calls
// (which read and journal the originals) are not timed.
void runInterleaved(benchmark::State& state, LinuxMachine& machine, const BenchFloor& floor,
                    const BenchCall& call, const std::string& meta);

extern const int kBenchBegin[1];
extern const int kBenchEnd[1];
