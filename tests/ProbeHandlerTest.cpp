// Probe boosting: which probe events reach the platform, and when, watched through
// the simulated device's record of calls and their monotonic time stamps.
#include <gtest/gtest.h>

#include <unistd.h>
#include <utils/Timers.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "platform/BriskPlat.h"
#include "platform/sim/SimDevice.h"
#include "probe/ProbeHandler.h"
#include "probe/ProbeItem.h"
#include "tests/support/ServerHarness.h"

namespace {

using ProbeThread = ProbeHandler::ProbeThread;
constexpr nsecs_t kMs = 1000000;

nsecs_t now() {
    return systemTime(SYSTEM_TIME_MONOTONIC);
}

// Polls `done` for three seconds at most: the worker runs on its own time.
bool eventually(const std::function<bool()>& done) {
    for (const nsecs_t end = now() + 3000 * kMs; !done(); usleep(1000)) {
        if (now() > end) {
            return false;
        }
    }
    return true;
}

// The device's calls from index `from` on, each ending in "; ".
std::string calls(size_t from = 0) {
    std::string out;
    const std::vector<std::string> lines = recordLines();
    for (size_t i = from; i < lines.size(); ++i) {
        out += lines[i] + "; ";
    }
    return out;
}
nsecs_t callTime(size_t index) {
    return SimDevice::instance().record().at(index).timeNs;
}
bool waitForCalls(size_t count) {
    return eventually([count] { return SimDevice::instance().record().size() >= count; });
}

// One boost (state 0) or unboost (state -1) of tid as the device sees it; the probe
// Action's duration of 500 arrives capped at 100.
std::string probe(int tid, int state) {
    const std::string s = std::to_string(state);
    return "setProbeTarget " + std::to_string(tid) + " " + s +
           "; doAction cmd=4116 duration=100 len=1 payload=" + s + " pairs= name=probe; ";
}

class ProbeHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimDevice::instance().reset();
        plat.reset(getPlat());
        start(plat.get());
    }
    // Each test ends its worker the way a host does; the service itself never does.
    void TearDown() override {
        if (handler) {
            handler->stopWorker(false);
        }
    }

    void start(BriskPlat* platform) {
        action = new Action();  // the worker's from here on
        action->cmdId = 4116;
        action->name = "probe";
        action->duration = 500;
        handler = std::make_unique<ProbeHandler>(platform, action);
    }

    // Runs `look` on the worker under its lock, as handle does.
    template <typename F>
    auto locked(F look) {
        ProbeThread& worker = *handler->mProbeThread;
        pthread_mutex_lock(&worker.mLock);
        auto result = look(worker);
        pthread_mutex_unlock(&worker.mLock);
        return result;
    }
    int send(const char* msg, int state) {
        const int payload[1] = {state};
        return handler->handle(msg, 1, payload);
    }
    nsecs_t boostedStamp(unsigned int tid) {
        return locked([tid](ProbeThread& w) {
            const ssize_t i = w.mBoostedQueue.indexOfKey(tid);
            return i < 0 ? nsecs_t{-1} : w.mBoostedQueue.valueAt(i)->mTimestamp;
        });
    }
    bool idle() {
        return locked(
            [](ProbeThread& w) { return w.mWaitQueue.isEmpty() && w.mBoostedQueue.isEmpty(); });
    }

    LogCapture log;
    std::unique_ptr<BriskPlat> plat;
    std::unique_ptr<ProbeHandler> handler;
    Action* action = nullptr;
};

TEST_F(ProbeHandlerTest, WorkerStartsWithTheHandlerUnderItsOwnName) {
    auto named = [] {
        std::error_code error;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", error)) {
            std::ifstream comm(task.path() / "comm");
            std::string name;
            if (std::getline(comm, name) && name == "ProbeThread") {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(eventually(named))
        << "the worker runs as \"ProbeThread\" from the first reference on";
    EXPECT_EQ(action->duration, 100) << "the probe action's duration is capped in place";
}

TEST_F(ProbeHandlerTest, BadMessagesAndPayloadsAreRefusedWithTheirResultsAndQueueNothing) {
    auto refused = [&](const char* msg, unsigned int n, const int* payload, int result,
                       const std::string& line) {
        log.clear();
        EXPECT_EQ(handler->handle(msg, n, payload), result) << line;
        EXPECT_EQ(log.texts(), std::vector<std::string>{line});
    };
    const int begin[1] = {0};
    const int other[1] = {1};
    const std::string noScan = "E brisk: get msg info failed!";
    refused(nullptr, 1, begin, -1, noScan);
    refused("", 1, begin, -1, noScan);
    refused("tid=123", 1, begin, 0, noScan);  // nothing matched: 0, which counts as done
    refused("pid=100|tid=123", 2, begin, 2, "E invalid payload, payloadNum=2");
    refused("pid=100|tid=123", 1, nullptr, 2, "E payload is NULL");
    refused("pid=100|tid=123", 1, other, 2, "D error case: state=1, pid=100, tid=123\n");
    usleep(40000);
    EXPECT_TRUE(idle() && calls().empty()) << "a refused event queues and calls nothing";
}

// The order of a boost's calls and the stop's unboost inside handle are in the
// golden transcripts; the 8 ms delay is measured here.
TEST_F(ProbeHandlerTest, OnlyWorkLongerThanTheDelayIsBoostedAndOnlyAfterIt) {
    bool quick = false;  // start and stop must land within the 8 ms; else try again
    for (int attempt = 0; attempt < 5 && !quick; ++attempt, usleep(30000)) {
        SimDevice::instance().clearRecord();
        const nsecs_t sent = now();
        ASSERT_EQ(send("pid=100|tid=123", 0) + send("pid=100|tid=123", -1), 0);
        quick = now() - sent < 4 * kMs;
    }
    ASSERT_TRUE(quick) << "the machine is too busy to send both within 4 ms";
    EXPECT_TRUE(eventually([&] { return idle(); })) << "the finished wait entry is removed";
    EXPECT_EQ(calls(), "") << "no platform call for work under 8 ms";

    const nsecs_t sent = now();
    ASSERT_EQ(send("pid=100|tid=123", 0), 0);
    ASSERT_TRUE(waitForCalls(2));
    EXPECT_EQ(calls(), probe(123, 0));
    EXPECT_GE(callTime(0) - sent, 8 * kMs) << "a thread is boosted only after waiting 8 ms";
    ASSERT_EQ(send("pid=100|tid=123", -1), 0);
    EXPECT_TRUE(eventually([&] { return idle(); })) << "finished entries are removed";
}

TEST_F(ProbeHandlerTest, UnstoppedBoostIsTakenBackAfterTheHoldTimeWhichARestartDoesNotExtend) {
    ASSERT_EQ(send("pid=100|tid=124", 0), 0);
    ASSERT_TRUE(waitForCalls(2));
    const nsecs_t boostedAt = boostedStamp(124);
    ASSERT_EQ(send("pid=100|tid=124", 0), 0);
    EXPECT_EQ(calls(), probe(124, 0)) << "a start for a boosted thread calls nothing";
    EXPECT_EQ(boostedStamp(124), boostedAt) << "and does not refresh its hold time";

    ASSERT_TRUE(waitForCalls(4));
    EXPECT_EQ(calls(2), probe(124, -1)) << "an unstopped boost ends by itself";
    EXPECT_GE(callTime(2) - boostedAt, 256 * kMs) << "a boost is held 256 ms";
    EXPECT_TRUE(eventually([&] { return idle(); })) << "the loop goes back to idle";
}

TEST_F(ProbeHandlerTest, BoostedMainThreadLetsItsProcessSkipTheWaitAndRepeatedStopsUnboostAgain) {
    ASSERT_EQ(send("pid=100|tid=100", 0), 0);
    ASSERT_TRUE(waitForCalls(2));
    ASSERT_EQ(send("pid=100|tid=200", 0), 0);
    EXPECT_EQ(calls(2), probe(200, 0)) << "boosted queue looked up by pid: boosted inside handle";
    const nsecs_t boostedAt = boostedStamp(200);
    ASSERT_EQ(send("pid=100|tid=200", 0), 0);
    EXPECT_EQ(calls(4), probe(200, 0)) << "the shortcut boosts again at once";
    EXPECT_EQ(boostedStamp(200), boostedAt) << "but keeps an active boost's hold time";

    // Both starts under one lock, so that the loop cannot come between them.
    locked([](ProbeThread& w) {
        w.addItemToQueue(5, 300);
        w.addItemToQueue(100, 300);
        return 0;
    });
    usleep(30000);
    EXPECT_EQ(calls(6), probe(300, 0)) << "the shortcut finishes the thread's wait entry";

    locked([](ProbeThread& w) {  // two stops before the loop's next pass
        w.moveItemToUnboostQueue(200);
        w.moveItemToUnboostQueue(200);
        return 0;
    });
    EXPECT_EQ(calls(8), probe(200, -1) + probe(200, -1)) << "a finished boost is undone again";
}

TEST_F(ProbeHandlerTest, ThreadIdZeroIsQueuedButNeverBoostedNorTimedOut) {
    ASSERT_EQ(send("pid=7|tid=0", 0), 0);
    usleep(350000);
    EXPECT_EQ(calls(), "") << "tid 0 reaches neither the boost nor the timeout";
    EXPECT_GT(boostedStamp(0), 0) << "tid 0 stays boosted past the hold time";
    ASSERT_EQ(send("pid=7|tid=0", -1), 0);
    EXPECT_TRUE(eventually([&] { return idle(); })) << "only its stop ends it";
}

TEST_F(ProbeHandlerTest, PlatformFailuresAreNotRetriedAndNeverUndoTheQueues) {
    SimDevice::instance().failNext(SimCall::Op::SetProbeTarget, -1);
    ASSERT_EQ(send("pid=100|tid=123", 0), 0);
    ASSERT_TRUE(waitForCalls(1));
    usleep(30000);
    EXPECT_EQ(calls(), "setProbeTarget 123 0; ") << "a refused probe target: no action call";
    EXPECT_TRUE(log.texts().empty()) << "and no log";
    ASSERT_EQ(send("pid=100|tid=123", -1), 0);
    EXPECT_EQ(calls(1), probe(123, -1)) << "the thread still counted as boosted";

    SimDevice::instance().failNext(SimCall::Op::DoAction, 5, 2);
    ASSERT_EQ(send("pid=100|tid=124", 0), 0);
    EXPECT_TRUE(eventually([&] { return log.has(3, "handleBoostItem doAction failed"); }));
    ASSERT_EQ(send("pid=100|tid=124", -1), 0);
    EXPECT_TRUE(log.has(3, "handleUnBoostItem doAction failed"));
}

TEST_F(ProbeHandlerTest, WithoutAPlatformEventsAreStillAcceptedAndNothingBreaks) {
    handler->stopWorker(false);
    start(nullptr);
    ASSERT_EQ(send("pid=100|tid=123", 0), 0);
    usleep(30000);
    EXPECT_EQ(send("pid=100|tid=123", -1), 0) << "boosts without a platform are skipped";
    EXPECT_TRUE(eventually([&] { return idle(); }));
}

TEST_F(ProbeHandlerTest, StopEndsTheWorkerAndReleasesHeldBoostsOnlyWhenAsked) {
    ASSERT_EQ(send("pid=100|tid=123", 0), 0);
    ASSERT_TRUE(waitForCalls(2));
    ASSERT_EQ(send("pid=100|tid=126", 0), 0);
    ASSERT_TRUE(waitForCalls(4));
    ASSERT_EQ(send("pid=100|tid=126", -1), 0);
    ASSERT_EQ(send("pid=7|tid=0", 0), 0);
    ASSERT_TRUE(eventually([&] { return boostedStamp(0) > 0; }));
    handler->stopWorker(false);
    EXPECT_FALSE(handler->mProbeThread->isRunning()) << "stop returns once the worker is gone";
    EXPECT_EQ(calls(6), "") << "without release, a held boost is left alone";
    ASSERT_EQ(send("pid=100|tid=124", 0), 0) << "events are still accepted";
    usleep(30000);
    EXPECT_EQ(calls(6), "") << "but nothing boosts them any more";
    handler->stopWorker(true);
    EXPECT_EQ(calls(6), probe(123, -1) + probe(0, -1))
        << "a second stop is harmless and, asked to, ends each held boost (tid 0 too) as its stop "
           "event would; a finished or waiting one is left";
}

}  // namespace
