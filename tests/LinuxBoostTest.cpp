// Thread boosts of the Linux back-end: on this machine's kernel (which has no
// util clamping: the nice fallback really runs), and through the injectable
// layer for the util clamp path, refusals and threads that ended or whose id
// came back.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/linux/SystemThreadOps.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

// Whether this kernel (or emulator) takes util clamps: asked of the calling
// thread, set to what it already is.
bool clampWorks() {
    SystemThreadOps ops;
    const int self = static_cast<int>(syscall(SYS_gettid));
    unsigned minimum = 0;
    unsigned maximum = 0;
    return ops.getUtilClamp(self, &minimum, &maximum) == 0 &&
           ops.setUtilClampMin(self, minimum) == 0;
}

// A thread of the test that waits until told to end.
class Worker {
public:
    Worker() {
        mThread = std::thread([this] {
            mTid = static_cast<int>(syscall(SYS_gettid));
            while (!mEnd) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        while (mTid == 0) {
            std::this_thread::yield();
        }
    }
    ~Worker() { end(); }
    void end() {
        mEnd = true;
        if (mThread.joinable()) {
            mThread.join();
        }
    }
    int tid() const { return mTid; }
    int nice() const { return getpriority(PRIO_PROCESS, static_cast<id_t>(mTid)); }
    // What a boost moves on this kernel: the util clamp minimum, or the nice value.
    int boostable() const {
        unsigned minimum = 0;
        unsigned maximum = 0;
        if (clampWorks() && SystemThreadOps().getUtilClamp(mTid, &minimum, &maximum) == 0) {
            return static_cast<int>(minimum);
        }
        return nice();
    }

private:
    std::thread mThread;
    std::atomic<int> mTid{0};
    std::atomic<bool> mEnd{false};
};

class LinuxBoostTest : public LinuxBackendFixture {
protected:
    // The probe thread's two calls: bind the thread, then the probe step.
    int probe(LinuxBackend& backend, int tid, int state, const Action& step) {
        backend.setProbeTarget(tid, state);
        return backend.doAction(&step, 1, &state);
    }
    // The fake tree shows this process's real thread `tid` (its start time).
    void showRealThread(int tid) {
        mTree.write("/proc/.keep", "");
        std::string link = mTree.path("/proc/" + std::to_string(tid));
        std::string task = "/proc/" + std::to_string(getpid()) + "/task/" + std::to_string(tid);
        ASSERT_EQ(symlink(task.c_str(), link.c_str()), 0);
    }
    LinuxBackendSettings onTheRealKernel() {
        LinuxBackendSettings result = settings();
        result.threadOps = nullptr;
        return result;
    }

    const Action mProbeStep = step(4116, 80, {});
};

TEST_F(LinuxBoostTest, OnThisKernelABoostIsPutBackByItsEndOrAfterACrashByTheNextBackEnd) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "raising a thread needs root (CAP_SYS_NICE)";
    }
    // With util clamping the clamp minimum moves; without (this development
    // machine's kernel) the nice value, by the default step of 5.
    Worker worker;
    showRealThread(worker.tid());
    setpriority(PRIO_PROCESS, static_cast<id_t>(worker.tid()), 3);
    const int before = worker.boostable();
    const bool clamps = clampWorks();
    const int boosted = clamps ? 512 : -2;
    LogCapture log;
    {
        LinuxBackend backend(onTheRealKernel());
        ASSERT_EQ(backend.initialize(), 0);
        EXPECT_EQ(probe(backend, worker.tid(), 0, mProbeStep), 0);
        EXPECT_EQ(worker.boostable(), boosted);
        EXPECT_EQ(probe(backend, worker.tid(), -1, mProbeStep), 0);
        EXPECT_EQ(worker.boostable(), before);
        EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "no util clamping on this kernel"), clamps ? 0 : 1);
        if (!clamps) {
            // Changed by someone else while boosted: left as it is.
            EXPECT_EQ(probe(backend, worker.tid(), 0, mProbeStep), 0);
            setpriority(PRIO_PROCESS, static_cast<id_t>(worker.tid()), 7);
            EXPECT_EQ(probe(backend, worker.tid(), -1, mProbeStep), 0);
            EXPECT_EQ(worker.nice(), 7);
            setpriority(PRIO_PROCESS, static_cast<id_t>(worker.tid()), 3);
        }
    }

    // A boost left by a killed back-end is taken back by the next one.
    ASSERT_TRUE(applyThenCrash(onTheRealKernel(), [&](LinuxBackend& backend) {
        return probe(backend, worker.tid(), 0, mProbeStep) == 0;
    }));
    ASSERT_EQ(worker.boostable(), boosted);
    LinuxBackend next(onTheRealKernel());
    ASSERT_EQ(next.initialize(), 0);
    EXPECT_EQ(worker.boostable(), before);

    // A thread that has ended: a failure the probe thread simply passes over.
    int gone = worker.tid();
    worker.end();
    // Joined is not yet gone everywhere (under an emulator the host thread may
    // outlive the join for a moment): wait until the kernel no longer lists it.
    std::string task = "/proc/" + std::to_string(getpid()) + "/task/" + std::to_string(gone);
    for (int i = 0; i < 500 && access(task.c_str(), F_OK) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    log.clear();
    EXPECT_EQ(probe(next, gone, 0, mProbeStep), -ESRCH);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(LinuxBoostTest, TheUtilClampPathKeepsTheSavedClampAndTellsThreadsApart) {
    mTree.addThread(300, 1000);
    mThreads->addThread(300, 20);
    auto backend = start("<backend><thread-boost uclamp-min=\"600\"/></backend>");
    EXPECT_EQ(probe(*backend, 300, 0, mProbeStep), 0);
    EXPECT_EQ(mThreads->clampMin(300), 600u);
    EXPECT_EQ(probe(*backend, 300, -1, mProbeStep), 0);
    EXPECT_EQ(mThreads->clampMin(300), 20u);

    // The probe step's own minimum wins over the description's.
    EXPECT_EQ(probe(*backend, 300, 0, step(4116, 80, {}, {{"uclamp_min", "700"}})), 0);
    EXPECT_EQ(mThreads->clampMin(300), 700u);
    // The id now belongs to another thread (another start time): nothing is undone.
    mTree.addThread(300, 2000);
    EXPECT_EQ(probe(*backend, 300, -1, mProbeStep), 0);
    EXPECT_EQ(mThreads->clampMin(300), 700u);
}

TEST_F(LinuxBoostTest, RefusalsAreReportedAndTheNiceFallbackOrNothingFollowsEOPNOTSUPP) {
    LogCapture log;
    mTree.addThread(400, 1000);
    mThreads->addThread(400, 0, 0);
    auto backend = start();
    mThreads->failSets(EPERM, 2);
    EXPECT_EQ(probe(*backend, 400, 0, mProbeStep), -EPERM);
    EXPECT_EQ(probe(*backend, 400, 0, mProbeStep), -EPERM);
    EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "CAP_SYS_NICE"), 1);
    EXPECT_EQ(probe(*backend, 401, 0, mProbeStep), -ESRCH);  // no such thread

    mThreads->setClampSupported(false);
    EXPECT_EQ(probe(*backend, 400, 0, mProbeStep), 0);
    EXPECT_EQ(mThreads->nice(400), -5);
    EXPECT_EQ(probe(*backend, 400, -1, mProbeStep), 0);
    EXPECT_EQ(mThreads->nice(400), 0);
    backend.reset();

    auto quiet = start("<backend><thread-boost fallback=\"none\"/></backend>");
    EXPECT_EQ(probe(*quiet, 400, 0, mProbeStep), 0);
    EXPECT_EQ(mThreads->nice(400), 0);
}

}  // namespace
