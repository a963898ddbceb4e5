// briskd on the Linux back-end, end to end on a fake kernel tree: briskctl drives
// it, the kernel files change, SIGTERM puts them back; --check-backend reports.
#include <gtest/gtest.h>

#include "tests/support/DaemonHarness.h"
#include "tests/support/FakeKernelTree.h"

namespace {

class LinuxDaemonTest : public DaemonHarness {
protected:
    void SetUp() override {
        DaemonHarness::SetUp();
        mTree.buildBigLittle();
        mTree.write("/sys/module/touch/boost", "idle");
        mDescription = mTree.writeDescription(
            "<backend><item name=\"touch\" file=\"/sys/module/touch/boost\"/></backend>");
    }

    std::vector<std::string> linuxArgs() {
        return {"--backend",   "linux",          "--kernel-root",    mTree.root(),
                "--state-dir", mTree.stateDir(), "--backend-config", mDescription};
    }

    static std::string cpu(int policy, const char* bound) {
        return std::string(FakeKernelTree::kPolicyDir) + std::to_string(policy) + "/scaling_" +
               bound + "_freq";
    }

    FakeKernelTree mTree;
    std::string mDescription;
};

TEST_F(LinuxDaemonTest, BriskctlChangesTheKernelFilesAndSigtermPutsThemBack) {
    writeConfig(R"(
  <cmd id="5376" name="defaults"><s><hmp>0</hmp></s></cmd>
  <cmd id="4116" name="probe"><s><duration>80</duration></s></cmd>
  <cmd id="12300" name="game"><s><little_cpu_max>1200000</little_cpu_max><touch>fast</touch></s></cmd>
)");
    start(linuxArgs());
    EXPECT_EQ(ctl({"event", "12300", "0"}).out, "result 0: done\n");
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1200000");
    EXPECT_EQ(mTree.read("/sys/module/touch/boost"), "fast");
    EXPECT_EQ(ctl({"set", "DUSK", "big_cpu_max=2000000", "gpu_max=500000"}).out,
              "result 0: done\n");
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2000000");
    EXPECT_EQ(mTree.read("/sys/class/devfreq/13000000.mali/max_freq"), "500000000");
    EXPECT_EQ(ctl({"get", "22", "24", "26", "big_cpu_max"}).out,
              "result 0: done\n22 1800000\n24 2400000\n26 800000\nbig_cpu_max 2000000\n");

    EXPECT_EQ(stop(SIGTERM), 0);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2400000");
    EXPECT_EQ(mTree.read("/sys/class/devfreq/13000000.mali/max_freq"), "800000000");
    EXPECT_EQ(mTree.read("/sys/module/touch/boost"), "idle");
}

TEST_F(LinuxDaemonTest, GroupLevelsFromClientsAndEventsReachTheCgroupFiles) {
    mTree.addCgroups("/dev/cpuctl", 1, {"top-app", "foreground", "system-background", "background"},
                     true);
    writeConfig(R"(
  <cmd id="5376" name="defaults"><s><boost>0</boost><vip>0</vip><top_app>0</top_app><root>0</root>
    <foreground>0</foreground><system_background>0</system_background>
    <key_background>0</key_background><background>0</background></s></cmd>
  <cmd id="4116" name="probe"><s><duration>80</duration></s></cmd>
  <cmd id="200" name="launch_groups"><s><top_app>30</top_app><foreground>20</foreground></s></cmd>
)");
    start(linuxArgs());
    EXPECT_EQ(ctl({"event", "200"}).out, "result 0: done\n");
    EXPECT_EQ(mTree.read("/dev/cpuctl/top-app/cpu.uclamp.min"), "35.00");
    EXPECT_EQ(mTree.read("/dev/cpuctl/foreground/cpu.uclamp.min"), "20.00");
    // DUSK calms the background group (index 8) to level -20.
    EXPECT_EQ(ctl({"set", "DUSK", "42=" + std::to_string(8 << 16)}).out, "result 0: done\n");
    EXPECT_EQ(mTree.read("/dev/cpuctl/background/cpu.uclamp.max"), "30.00");

    EXPECT_EQ(stop(SIGTERM), 0);
    EXPECT_EQ(mTree.read("/dev/cpuctl/top-app/cpu.uclamp.min"), "0.00");
    EXPECT_EQ(mTree.read("/dev/cpuctl/top-app/cpu.shares"), "1024");
    EXPECT_EQ(mTree.read("/dev/cpuctl/background/cpu.uclamp.max"), "max");
}

TEST_F(LinuxDaemonTest, CheckBackendSaysWhatItWouldWriteAndWhetherItCan) {
    std::vector<std::string> args = linuxArgs();
    args.insert(args.begin(), kBriskd);
    args.push_back("--check-backend");
    CtlRun good = run(args);
    EXPECT_EQ(good.exitCode, 0) << good.out << good.err;
    EXPECT_NE(good.out.find("item touch: " + mTree.path("/sys/module/touch/boost") +
                            " now \"idle\": writable"),
              std::string::npos)
        << good.out;

    // A described item whose file is missing cannot be used.
    unlink(mTree.path("/sys/module/touch/boost").c_str());
    CtlRun broken = run(args);
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_NE(broken.out.find("item touch: /sys/module/touch/boost not found"), std::string::npos)
        << broken.out;

    CtlRun misuse = run({kBriskd, "--check-backend"});
    EXPECT_EQ(misuse.exitCode, 2);
    EXPECT_NE(misuse.err.find("need --backend linux"), std::string::npos);
}

}  // namespace
