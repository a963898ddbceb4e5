// The Linux back-end on a fake kernel tree: what each call writes, how the
// holders of one file are combined, when writes are skipped or ordered, what
// each kind of failure does, and how everything is put back on delete.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>
#include <tuple>

#include "freq/FreqTags.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

using Op = FaultyFileOps::Op;

class LinuxBackendTest : public LinuxBackendFixture {
protected:
    static constexpr const char* kFork = "/proc/sys/kernel/sched_fork_big";
    static constexpr const char* kTouch = "/sys/module/touch/boost";

    std::string withForkAndTouch() {
        mTree.write(kFork, "0");
        mTree.write(kTouch, "idle");
        return std::string("<backend strict=\"no\"><fork file=\"") + kFork +
               "\" on=\"1\" off=\"0\"/><item name=\"touch_boost\" file=\"" + kTouch +
               "\"/><item name=\"perf_mode\" file=\"/sys/module/touch/mode\" end-text=\"0\"/>"
               "</backend>";
    }
};

TEST_F(LinuxBackendTest, EachTagWritesItsFilesInTheirUnitsAndLiftingBringsTheOriginalBack) {
    mTree.write("/sys/module/touch/mode", "auto");
    auto backend = start(withForkAndTouch());
    // Each tag in configuration units, and the file and text it writes: the GPU's
    // kHz in Hz, the first passive trip switches IPA on, the last one controls.
    const std::vector<std::tuple<int, int, std::string, std::string>> tags = {
        {BRISK_TAG_LITTLE_CPU_MIN, 900000, cpu(0, "min"), "900000"},
        {BRISK_TAG_LITTLE_CPU_MAX, 1200000, cpu(0, "max"), "1200000"},
        {BRISK_TAG_BIG_CPU_MIN, 1000000, cpu(4, "min"), "1000000"},
        {BRISK_TAG_BIG_CPU_MAX, 2000000, cpu(4, "max"), "2000000"},
        {BRISK_TAG_GPU_MIN, 300000, gpu("min"), "300000000"},
        {BRISK_TAG_GPU_MAX, 600000, gpu("max"), "600000000"},
        {BRISK_TAG_IPA_ON_TEMP, 60000, trip(0), "60000"},
        {BRISK_TAG_IPA_CONTROL_TEMP, 75000, trip(1), "75000"},
        {BRISK_TAG_IPA_SUSTAINABLE_POWER, 2500,
         "/sys/class/thermal/thermal_zone0/sustainable_power", "2500"},
        {BRISK_TAG_FORK_ON_BIG_CLUSTER, 1, kFork, "1"}};
    for (const auto& [tag, value, file, text] : tags) {
        EXPECT_EQ(set(*backend, {{tag, value}}), 0);
        EXPECT_EQ(mTree.read(file), text) << file;
    }
    // What is in force, in configuration units (the hardware maxima: LinuxDaemonTest).
    EXPECT_EQ(get(*backend, BRISK_TAG_GPU_MAX), 600000);
    EXPECT_EQ(get(*backend, BRISK_TAG_FORK_ON_BIG_CLUSTER), 1);

    // 0 lifts a limit, and so does -1; for the fork switch 0 is "off".
    EXPECT_EQ(set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 0},
                             {BRISK_TAG_GPU_MAX, -1},
                             {BRISK_TAG_IPA_ON_TEMP, 0},
                             {BRISK_TAG_FORK_ON_BIG_CLUSTER, 0}}),
              0);
    expectTexts(
        {{cpu(0, "max"), "1800000"}, {gpu("max"), "800000000"}, {trip(0), "65000"}, {kFork, "0"}});
    EXPECT_EQ(get(*backend, BRISK_TAG_LITTLE_CPU_MAX), 1800000);  // the original again

    // Platform items: the step's text while held; at the end the original, or the
    // end text the description gives.
    Action scene = step(4120, 0, {}, {{"touch_boost", "fast"}, {"perf_mode", "game"}});
    EXPECT_EQ(begin(*backend, scene), 0);
    expectTexts({{kTouch, "fast"}, {"/sys/module/touch/mode", "game"}});
    EXPECT_EQ(end(*backend, scene), 0);
    expectTexts({{kTouch, "idle"}, {"/sys/module/touch/mode", "0"}});
    // An untimed on/off step's other pairs are the frequency manager's (setConfig):
    // its doAction holds the platform items alone.
    EXPECT_EQ(begin(*backend,
                    step(12300, 0, {{BRISK_TAG_BIG_CPU_MAX, 1000000}}, {{"touch_boost", "on"}})),
              0);
    EXPECT_EQ(mTree.read(kTouch), "on");
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2000000");
}

TEST_F(LinuxBackendTest, EveryHolderIsKeptAndTheTightestOrTheLatestIsInForce) {
    auto backend = start();
    Action capA = step(4120, 0, {{BRISK_TAG_BIG_CPU_MAX, 1200000}});
    Action floorB = step(4121, 0, {{BRISK_TAG_BIG_CPU_MIN, 1400000}});
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 1500000}}), 0);
    EXPECT_EQ(begin(*backend, capA), 0);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "1200000");  // the lowest ceiling
    EXPECT_EQ(begin(*backend, floorB), 0);
    EXPECT_EQ(mTree.read(cpu(4, "min")), "1200000");  // a floor never above the ceiling
    EXPECT_EQ(end(*backend, capA), 0);
    expectTexts({{cpu(4, "max"), "1500000"}, {cpu(4, "min"), "1400000"}});
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 0}}), 0);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2400000");  // no holder: the original
    EXPECT_EQ(end(*backend, floorB), 0);
    EXPECT_EQ(mTree.read(cpu(4, "min")), "300000");

    // Thermal nodes: the most recently begun request wins.
    Action cool = step(4122, 0, {{BRISK_TAG_IPA_CONTROL_TEMP, 70000}});
    EXPECT_EQ(set(*backend, {{BRISK_TAG_IPA_CONTROL_TEMP, 72000}}), 0);
    EXPECT_EQ(begin(*backend, cool), 0);
    EXPECT_EQ(mTree.read(trip(1)), "70000");
    EXPECT_EQ(set(*backend, {{BRISK_TAG_IPA_CONTROL_TEMP, 74000}}), 0);
    EXPECT_EQ(mTree.read(trip(1)), "74000");
    EXPECT_EQ(end(*backend, cool), 0);
    EXPECT_EQ(mTree.read(trip(1)), "74000");
    EXPECT_EQ(set(*backend, {{BRISK_TAG_IPA_CONTROL_TEMP, 0}}), 0);
    EXPECT_EQ(mTree.read(trip(1)), "80000");

    // Probed threads hold the probe command's requests each on their own.
    for (int tid : {101, 102}) {
        mTree.addThread(tid, 5000 + tid);
        mThreads->addThread(tid);
    }
    Action probe = step(4116, 80, {{BRISK_TAG_LITTLE_CPU_MIN, 1000000}});
    EXPECT_EQ(backend->setProbeTarget(101, 0), 0);
    EXPECT_EQ(begin(*backend, probe), 0);
    EXPECT_EQ(backend->setProbeTarget(102, 0), 0);
    EXPECT_EQ(begin(*backend, probe), 0);
    EXPECT_EQ(backend->setProbeTarget(101, -1), 0);
    EXPECT_EQ(end(*backend, probe), 0);
    EXPECT_EQ(mTree.read(cpu(0, "min")), "1000000");  // thread 102 still holds it
    EXPECT_EQ(backend->setProbeTarget(102, -1), 0);
    EXPECT_EQ(end(*backend, probe), 0);
    EXPECT_EQ(mTree.read(cpu(0, "min")), "300000");
}

TEST_F(LinuxBackendTest, ATimedRequestEndsOnItsOwnAndARenewalRestartsIt) {
    using Clock = std::chrono::steady_clock;
    auto backend = start();
    Action timed = step(100, 300, {{BRISK_TAG_LITTLE_CPU_MAX, 1000000}});
    Clock::time_point first = Clock::now();
    EXPECT_EQ(begin(*backend, timed), 0);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1000000");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    Clock::time_point renewed = Clock::now();
    EXPECT_EQ(begin(*backend, timed), 0);  // another 300 ms from now
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    std::string held = mTree.read(cpu(0, "max"));
    // Only judged when this thread was not held up past the renewed deadline.
    if (Clock::now() - renewed < std::chrono::milliseconds(280) &&
        Clock::now() - first > std::chrono::milliseconds(320)) {
        EXPECT_EQ(held, "1000000") << "the renewal restarted the 300 ms";
    }
    for (int i = 0; i < 500 && mTree.read(cpu(0, "max")) != "1800000"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
}

TEST_F(LinuxBackendTest, UnchangedTextsAreNotWrittenAgainAndAFailedWriteIsForgotten) {
    auto backend = start();
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 2000000}}), 0);
    long calls = mOps->calls();
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 2000000}}), 0);
    Action same = step(4120, 0, {{BRISK_TAG_BIG_CPU_MAX, 2200000}});  // looser: nothing changes
    EXPECT_EQ(begin(*backend, same), 0);
    EXPECT_EQ(mOps->calls(), calls);  // not one system call

    // A ceiling lifted by one holder but kept by another is not rewritten either.
    EXPECT_EQ(end(*backend, same), 0);
    EXPECT_EQ(mOps->writes("policy4/scaling_max_freq"), 1);

    // After a failed write the file's text is no longer trusted: the same text is
    // written again the next time it is wanted.
    mOps->fail("policy4/scaling_max_freq", Op::Write, EIO, 1);
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 1900000}}), -EIO);
    EXPECT_EQ(begin(*backend, step(4121, 0, {{BRISK_TAG_BIG_CPU_MAX, 2000000}})), 0);
    EXPECT_EQ(mOps->writes("policy4/scaling_max_freq"), 3);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2000000");
}

TEST_F(LinuxBackendTest, BoundsAreWrittenInAnOrderTheKernelAccepts) {
    auto backend = start();
    EXPECT_EQ(
        set(*backend, {{BRISK_TAG_LITTLE_CPU_MIN, 1000000}, {BRISK_TAG_LITTLE_CPU_MAX, 1200000}}),
        0);
    mOps->resetCounts();
    // Raising: the ceiling first.
    EXPECT_EQ(
        set(*backend, {{BRISK_TAG_LITTLE_CPU_MIN, 1500000}, {BRISK_TAG_LITTLE_CPU_MAX, 1700000}}),
        0);
    // Lowering below the floor now in force: the floor first.
    EXPECT_EQ(
        set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 600000}, {BRISK_TAG_LITTLE_CPU_MIN, 500000}}), 0);
    EXPECT_EQ(writes(),
              (std::vector<std::string>{cpu(0, "max") + "=1700000", cpu(0, "min") + "=1500000",
                                        cpu(0, "min") + "=500000", cpu(0, "max") + "=600000"}));
}

TEST_F(LinuxBackendTest, AHardFailureUndoesTheCallAndIsLoggedOncePerFileAndErrno) {
    LogCapture log;
    auto backend = start();
    for (int error : {EACCES, EPERM, EINVAL, ENODEV, EIO}) {
        mOps->fail("policy4/scaling_max_freq", Op::Write, error);
        EXPECT_EQ(
            set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 1000000}, {BRISK_TAG_BIG_CPU_MAX, 1500000}}),
            -error);
        EXPECT_EQ(
            set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 1000000}, {BRISK_TAG_BIG_CPU_MAX, 1500000}}),
            -error);
        EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000") << "the call's first write is undone";
        EXPECT_EQ(logged(log, ANDROID_LOG_ERROR, strerror(error)), 1);
        mOps->clearFaults();
    }
    // A failed step leaves the command's earlier request in force.
    Action game = step(4120, 0, {{BRISK_TAG_LITTLE_CPU_MAX, 1400000}});
    EXPECT_EQ(begin(*backend, game), 0);
    mOps->fail("policy4/scaling_min_freq", Op::Open, EACCES);
    Action more =
        step(4120, 0, {{BRISK_TAG_LITTLE_CPU_MAX, 1100000}, {BRISK_TAG_BIG_CPU_MIN, 900000}});
    EXPECT_EQ(begin(*backend, more), -EACCES);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1400000");
    mOps->clearFaults();
    EXPECT_EQ(end(*backend, game), 0);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
}

TEST_F(LinuxBackendTest, ABusyFileKeepsItsValueAndIsRetriedByTheNextCallAndTheTimer) {
    auto backend = start();
    mOps->fail("policy4/scaling_max_freq", Op::Write, EBUSY, 1);
    EXPECT_EQ(set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 1500000}}), 0);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2400000");
    EXPECT_EQ(get(*backend, BRISK_TAG_LITTLE_CPU_HW_MAX), 1800000);      // a call without writes
    EXPECT_EQ(set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 1700000}}), 0);  // the next call retries
    EXPECT_EQ(mTree.read(cpu(4, "max")), "1500000");

    mOps->fail("/sys/class/devfreq/13000000.mali/max_freq", Op::Write, EAGAIN, 1);
    EXPECT_EQ(set(*backend, {{BRISK_TAG_GPU_MAX, 500000}}), 0);
    for (int i = 0; i < 300 && mTree.read(gpu("max")) != "500000000"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(mTree.read(gpu("max")), "500000000");  // the timer retried within half a second
}

TEST_F(LinuxBackendTest, AnAbsentCapabilityWarnsOnceUnlessTheDescriptionIsStrict) {
    LogCapture log;
    chmod(mTree.path(trip(0)).c_str(), 0444);  // read-only trip: no switch-on temperature here
    auto backend = start("<backend/>");
    Action step1 =
        step(4120, 0, {{BRISK_TAG_IPA_ON_TEMP, 60000}, {BRISK_TAG_LITTLE_CPU_MAX, 1000000}},
             {{"no_such_item", "1"}});
    EXPECT_EQ(begin(*backend, step1), 0);
    EXPECT_EQ(begin(*backend, step1), 0);
    expectTexts({{cpu(0, "max"), "1000000"}, {trip(0), "65000"}});
    EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "thermal trip 0 of thermal_zone0 (read-only)"), 1);
    EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "no_such_item ignored: not in the back-end"), 1);
    backend.reset();

    mTree.write(cpu(0, "max"), "1800000");
    auto strict = start("<backend strict=\"yes\"/>");
    EXPECT_EQ(begin(*strict, step1), -ENODEV);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
    EXPECT_EQ(set(*strict, {{BRISK_TAG_IPA_ON_TEMP, 60000}}), -ENODEV);
}

TEST_F(LinuxBackendTest, DeletingPutsOriginalsBackNewestFirstExceptWhatAnotherWriterChanged) {
    LogCapture log;
    auto backend = start();
    EXPECT_EQ(set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 1000000},
                             {BRISK_TAG_BIG_CPU_MAX, 2000000},
                             {BRISK_TAG_IPA_CONTROL_TEMP, 70000}}),
              0);
    EXPECT_EQ(mTree.read("/../state/journal").empty(), false);
    mTree.write(trip(1), "72000");  // someone else
    // A frequency bound reads back the limit in force (here lowered by another
    // QoS request), which tells nothing of another writer: it is put back.
    mTree.write(cpu(4, "max"), "1900000");
    mOps->resetCounts();
    backend.reset();
    EXPECT_EQ(writes(),
              (std::vector<std::string>{cpu(4, "max") + "=2400000", cpu(0, "max") + "=1800000"}));
    EXPECT_EQ(mTree.read(trip(1)), "72000");
    EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "trip_point_1_temp: changed by another writer"), 1);
    EXPECT_EQ(mTree.read("/../state/journal"), "");  // removed

    // keep-on-exit: the values stay.
    auto keeper = start("<backend keep-on-exit=\"yes\"/>");
    EXPECT_EQ(set(*keeper, {{BRISK_TAG_LITTLE_CPU_MAX, 1000000}}), 0);
    keeper.reset();
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1000000");
}

}  // namespace
