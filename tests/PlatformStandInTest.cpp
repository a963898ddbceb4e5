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
#include "tests/support/ServerHarness.h"

namespace {

using Op = SimCall::Op;

class PlatformStandInTest : public ::testing::Test {
protected:
    void SetUp() override { SimDevice::instance().reset(); }
    std::unique_ptr<BriskPlat> plat{getPlat()};
};

// The record's format and the preset maxima are every other test's evidence; what
// only this test checks is that the device reads no more than it is given.
TEST_F(PlatformStandInTest, BackEndReadsNoMoreThanItIsGivenAndQuietModeOnlyCounts) {
    Action action;
    action.cmdId = 12;
    action.tagCount = 2;
    action.tagValues = {2, 5, 10};  // a dangling half pair is not read
    EXPECT_EQ(plat->mPerf->doAction(&action, 4, nullptr), 0);
    EXPECT_EQ(recordLines(),
              std::vector<std::string>{"doAction cmd=12 duration=-1 len=4 payload=null pairs=2:5 "
                                       "name="});
    int tags[1] = {22};
    int out[1] = {0};
    EXPECT_EQ(plat->mPerf->getConfig(-1, tags, out), -1);
    EXPECT_EQ(plat->mPerf->setConfig(2, nullptr, nullptr), -1);
    EXPECT_EQ(plat->mPerf->setConfig(0, nullptr, nullptr), 0);

    SimDevice::instance().setRecording(false);
    SimDevice::instance().clearRecord();
    EXPECT_EQ(plat->mPerf->setProbeTarget(45, 0), 0);
    EXPECT_EQ(SimDevice::instance().callCount(Op::SetProbeTarget), 1);
    EXPECT_TRUE(recordLines().empty()) << "quiet mode only counts";
}

TEST_F(PlatformStandInTest, FaultsAndTheTableBoundRefuseAWriteWhole) {
    SimDevice::instance().failNext(Op::SetConfig, -7, 2);
    TagValues one({{2, 900}});
    EXPECT_EQ(plat->mPerf->setConfig(1, one.tags.data(), one.values.data()), -7);
    EXPECT_EQ(plat->mPerf->setConfig(1, one.tags.data(), one.values.data()), -7);
    EXPECT_EQ(SimDevice::instance().value(2), -1) << "a failed write leaves the device alone";
    EXPECT_EQ(plat->mPerf->setConfig(1, one.tags.data(), one.values.data()), 0);
    EXPECT_EQ(SimDevice::instance().value(2), 900) << "only the next two calls fail";

    // New tags fill the table (three maxima and tag 2) up to its bound; past it a
    // write is refused whole.
    std::vector<int> fill;
    for (int tag = 1000; fill.size() + 4 < SimDevice::kMaxTags; ++tag) {
        fill.push_back(tag);
    }
    EXPECT_EQ(plat->mPerf->setConfig(static_cast<int>(fill.size()), fill.data(), fill.data()), 0);
    TagValues overflow({{2, 77}, {99999, 1}});
    EXPECT_EQ(plat->mPerf->setConfig(2, overflow.tags.data(), overflow.values.data()), -1);
    EXPECT_EQ(SimDevice::instance().value(2), 900) << "a refused write changed a value";
    EXPECT_EQ(SimDevice::instance().value(99999), -1);
    EXPECT_EQ(plat->mPerf->setConfig(1, overflow.tags.data(), overflow.values.data()), 0)
        << "known tags stay writable";
    EXPECT_EQ(SimDevice::instance().value(2), 77);
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

TEST_F(PlatformStandInTest, JankRecordsAreWrittenWholeOneLineEach) {
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
