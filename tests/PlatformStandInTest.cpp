// The Linux stand-ins for the device: simulated back-end, configuration lookup
// and jank log.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "platform/BriskPlat.h"
#include "platform/DeviceApi.h"
#include "platform/sim/CfgFileResolver.h"
#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"
#include "tests/support/TempConfig.h"

namespace {

using Op = SimCall::Op;

class PlatformStandInTest : public ::testing::Test {
protected:
    void SetUp() override { SimDevice::instance().reset(); }
    void TearDown() override {
        JankLogSink::reset();
        CfgFileResolver::reset();
    }
};

TEST_F(PlatformStandInTest, BackEndRecordsEveryCallInOrder) {
    std::unique_ptr<BriskPlat> plat(getPlat());
    PerfBackend* perf = plat->mPerf;
    Action action;
    action.cmdId = 12;
    action.name = "x";
    action.duration = 3;
    action.tagCount = 2;
    action.tagValues = {2, 5, 10};  // a dangling half pair is not read
    int payload[2] = {0, -1};
    int tags[2] = {2, 99};
    int values[2] = {100, 7};
    int out[2] = {0, 0};
    EXPECT_EQ(plat->initialize(), 0);
    EXPECT_EQ(perf->doAction(&action, 2, payload), 0);
    EXPECT_EQ(perf->doAction(&action, 0, nullptr), 0);
    EXPECT_EQ(perf->setConfig(2, tags, values), 0);
    EXPECT_EQ(perf->getConfig(2, tags, out), 0);
    EXPECT_EQ(perf->doSchedLevelAction(1, tags, values), 0);
    EXPECT_EQ(perf->setProbeTarget(44, -1), 0);

    std::vector<std::string> lines;
    for (const SimCall& call : SimDevice::instance().record()) {
        lines.push_back(call.toString());
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "initialize", "doAction cmd=12 duration=3 len=2 payload=0,-1 pairs=2:5 name=x",
                  "doAction cmd=12 duration=3 len=0 payload=null pairs=2:5 name=x",
                  "setConfig 2:100 99:7", "getConfig 2 99", "doSchedLevelAction 2:100",
                  "setProbeTarget 44 -1"}));
    EXPECT_EQ(std::vector<int>(out, out + 2), (std::vector<int>{100, 7}))
        << "what setConfig wrote is read back";
}

TEST_F(PlatformStandInTest, DeviceAnswersPresetsAndUnknownTags) {
    std::unique_ptr<BriskPlat> plat(getPlat());
    int tags[4] = {22, 24, 26, 5};
    int out[4] = {0, 0, 0, 0};
    ASSERT_EQ(plat->mPerf->getConfig(4, tags, out), 0);
    EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{2000000, 2600000, 800000, -1}));
    SimDevice::instance().setValue(5, 123);
    ASSERT_EQ(plat->mPerf->getConfig(4, tags, out), 0);
    EXPECT_EQ(out[3], 123);
    EXPECT_EQ(plat->mPerf->getConfig(-1, tags, out), -1);
    EXPECT_EQ(plat->mPerf->setConfig(2, nullptr, nullptr), -1);
    EXPECT_EQ(plat->mPerf->setConfig(0, nullptr, nullptr), 0);

    // New tags fill the table up to its bound; past it a write is refused whole.
    std::vector<int> fill;
    for (int tag = 1000; fill.size() + 4 < SimDevice::kMaxTags; ++tag) {
        fill.push_back(tag);
    }
    EXPECT_EQ(plat->mPerf->setConfig(static_cast<int>(fill.size()), fill.data(), fill.data()), 0);
    int overflow[2] = {5, 99999};
    int values[2] = {77, 1};
    EXPECT_EQ(plat->mPerf->setConfig(2, overflow, values), -1);
    EXPECT_EQ(SimDevice::instance().value(5), 123) << "a refused write changed a value";
    EXPECT_EQ(SimDevice::instance().value(99999), -1);
    EXPECT_EQ(plat->mPerf->setConfig(2, overflow, values), -1);
    EXPECT_EQ(plat->mPerf->setConfig(1, overflow, values), 0) << "known tags stay writable";
    EXPECT_EQ(SimDevice::instance().value(5), 77);
}

TEST_F(PlatformStandInTest, InjectedFaultsHitTheNextCallsOnlyAndChangeNothing) {
    std::unique_ptr<BriskPlat> plat(getPlat());
    SimDevice::instance().failNext(Op::SetConfig, -7, 2);
    int tags[1] = {2};
    int values[1] = {900};
    EXPECT_EQ(plat->mPerf->setConfig(1, tags, values), -7);
    EXPECT_EQ(plat->mPerf->setConfig(1, tags, values), -7);
    EXPECT_EQ(SimDevice::instance().value(2), -1) << "a failed write leaves the device alone";
    EXPECT_EQ(plat->mPerf->setConfig(1, tags, values), 0);
    EXPECT_EQ(SimDevice::instance().value(2), 900);
    EXPECT_EQ(SimDevice::instance().record()[0].result, -7);

    SimDevice::instance().failNext(Op::Initialize, 3);
    EXPECT_EQ(plat->initialize(), 3);
    EXPECT_EQ(plat->initialize(), 0);

    SimDevice::instance().failPlatCreation();
    EXPECT_EQ(getPlat(), nullptr);
    std::unique_ptr<BriskPlat> again(getPlat());
    EXPECT_NE(again, nullptr);
}

TEST_F(PlatformStandInTest, QuietModeCountsCallsFromManyThreads) {
    std::unique_ptr<BriskPlat> plat(getPlat());
    SimDevice::instance().setRecording(false);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                plat->mPerf->setProbeTarget(i, 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(SimDevice::instance().callCount(Op::SetProbeTarget), 2000);
    EXPECT_TRUE(SimDevice::instance().record().empty());
}

TEST_F(PlatformStandInTest, ConfigLookupSearchesRootsInOrderWithinTheBuffer) {
    TempConfig first = TempConfig::withCommands("");
    char buffer[128];
    ASSERT_NE(get_one_cfg_file("xml/brisk_config_cust.xml", 0, buffer), nullptr);
    EXPECT_EQ(std::string(buffer), first.path()) << "a file chosen by the host wins";

    std::string root = first.dir() + "/root";
    ASSERT_EQ(system(("mkdir -p " + root + "/xml && cp " + first.path() + " " + root +
                      "/xml/brisk_config_cust.xml")
                         .c_str()),
              0);
    CfgFileResolver::setRoots({"/nonexistent", root});
    ASSERT_NE(get_one_cfg_file("xml/brisk_config_cust.xml", 0, buffer), nullptr);
    EXPECT_EQ(std::string(buffer), root + "/xml/brisk_config_cust.xml");
    EXPECT_EQ(get_one_cfg_file("xml/missing.xml", 0, buffer), nullptr);
    EXPECT_EQ(get_one_cfg_file("xml", 0, buffer), nullptr) << "a folder is no configuration";

    CfgFileResolver::setFile("/" + std::string(140, 'a'));
    EXPECT_EQ(get_one_cfg_file("xml/brisk_config_cust.xml", 0, buffer), nullptr)
        << "a path that does not fit the 128-byte buffer is refused";
    system(("rm -rf " + root).c_str());
}

TEST_F(PlatformStandInTest, JankRecordsAreFormattedAndWrittenWhole) {
    std::vector<std::tuple<int, int, std::string>> records;
    JankLogSink::setCallback(
        [&](int level, int id, const std::string& text) { records.emplace_back(level, id, text); });
    __zqlog_jank_print(3, 361, "%s", "#ARG1:<x>");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0], std::make_tuple(3, 361, std::string("#ARG1:<x>")));

    char path[] = "/tmp/brisk-jank-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(JankLogSink::setFile(path));
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                __zqlog_jank_print(3, 361, "%s",
                                   std::string(300, static_cast<char>('a' + t)).c_str());
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    JankLogSink::reset();
    std::ifstream in(path);
    std::string line;
    int lines = 0;
    while (std::getline(in, line)) {
        ++lines;
        EXPECT_EQ(line, std::string(300, line[0])) << "records never interleave within a line";
    }
    EXPECT_EQ(lines, 800);
    unlink(path);
}

}  // namespace
