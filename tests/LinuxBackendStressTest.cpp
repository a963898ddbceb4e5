// The Linux back-end called at once from host threads, a probe-like thread, a
// status reader and its own timer (ThreadSanitizer runs this too): every call
// answers, and when everyone has ended, the machine is as it was.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "freq/FreqTags.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

class LinuxBackendStressTest : public LinuxBackendFixture {};

TEST_F(LinuxBackendStressTest, ConcurrentCallersLeaveTheMachineAsItWas) {
    mTree.addCgroups("/dev/cpuctl", 1, {"top-app", "background"}, true);
    const Texts originals = texts(
        {cpu(0, "min"), cpu(0, "max"), cpu(4, "min"), cpu(4, "max"), gpu("min"), gpu("max"),
         trip(1), "/dev/cpuctl/top-app/cpu.uclamp.min", "/dev/cpuctl/background/cpu.uclamp.max"});
    for (int tid = 1000; tid < 1004; ++tid) {
        mTree.addThread(tid, 7000 + tid);
        mThreads->addThread(tid);
    }
    auto backend = start();
    constexpr int kRounds = 300;
    std::atomic<int> failures{0};
    auto host = [&](int cmdId, int base) {
        for (int i = 0; i < kRounds; ++i) {
            Action action = step(cmdId, i % 3 == 0 ? 5 : 0,
                                 {{BRISK_TAG_LITTLE_CPU_MAX, base + i % 7 * 10000},
                                  {BRISK_TAG_BIG_CPU_MIN, base},
                                  {BRISK_TAG_IPA_CONTROL_TEMP, 70000 + i % 5}});
            failures += begin(*backend, action) != 0;
            failures += end(*backend, action) != 0;
        }
    };
    auto client = [&] {
        for (int i = 0; i < kRounds; ++i) {
            failures += set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 1900000 + i % 3 * 100000},
                                       {BRISK_TAG_GPU_MAX, 500000 + i % 2 * 100000}}) != 0;
            failures += get(*backend, BRISK_TAG_BIG_CPU_MAX) <= 0;
        }
        failures += set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 0}, {BRISK_TAG_GPU_MAX, 0}}) != 0;
    };
    auto prober = [&] {
        Action probe = step(4116, 20, {{BRISK_TAG_GPU_MIN, 400000}});
        for (int i = 0; i < kRounds; ++i) {
            backend->setProbeTarget(1000 + i % 4, 0);
            failures += begin(*backend, probe) != 0;
            backend->setProbeTarget(1000 + i % 4, -1);
            failures += end(*backend, probe) != 0;
        }
    };
    auto scheduler = [&] {
        int tags[2] = {53, 58};
        for (int i = 0; i < kRounds; ++i) {
            int levels[2] = {i % 5 * 10, -(i % 3) * 10};
            failures += backend->doSchedLevelAction(2, tags, levels) != 0;
        }
        int zero[2] = {0, 0};
        failures += backend->doSchedLevelAction(2, tags, zero) != 0;
    };
    // A status view in the middle of it all reads every node and writes nothing.
    auto watcher = [&] {
        for (int i = 0; i < kRounds / 10; ++i) {
            BackendStatus status;
            backend->readStatus(&status);
            failures += status.nodes.empty();
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(watcher);
    threads.emplace_back(scheduler);
    threads.emplace_back(host, 4120, 1000000);
    threads.emplace_back(host, 4121, 1200000);
    threads.emplace_back(client);
    threads.emplace_back(prober);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    backend.reset();
    expectTexts(originals);
}

}  // namespace
