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

// The status shows the kernel files as nodes, with their originals and the
// holders the back-end keeps; it writes nothing.
TEST_F(LinuxDaemonTest, BriskctlChangesTheKernelFilesStatusShowsThemAndSigtermPutsThemBack) {
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

    Json status = json({"status"});
    const Json* backend = status.get("backend");
    ASSERT_NE(backend, nullptr);
    EXPECT_EQ(fields(backend, {"name"}), "linux");
    ASSERT_FALSE(backend->get("facts")->items.empty());
    EXPECT_EQ(backend->get("facts")->items[0].text.find("found: little cluster policy0"), 0u);
    auto node = [&](const std::string& file) {
        for (const Json& n : backend->get("nodes")->items) {
            if (n.textOr("file", "") == file) {
                return fields(&n, {"tag", "item", "unit", "value", "original"}) + " held by " +
                       eachFields(n.get("holders"), {"kind", "client", "name"});
            }
        }
        return "no node for " + file;
    };
    EXPECT_EQ(node(cpu(4, "max")), "5 kHz 2000000 2400000 held by client DUSK");
    // The game's ceiling is the frequency manager's event request alone: the
    // back-end holds only the platform items of the untimed on/off step.
    EXPECT_EQ(node(cpu(0, "max")), "2 kHz 1200000 1800000 held by event game");
    EXPECT_EQ(node("/sys/module/touch/boost"), "0 touch fast idle held by command game");
    const std::string human = ctl({"status"}).out;
    EXPECT_NE(human.find("  touch                              fast       idle  command 12300 game "
                         "fast\n      /sys/module/touch/boost\n"),
              std::string::npos)
        << human;

    EXPECT_EQ(stop(SIGTERM), 0);
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2400000");
    EXPECT_EQ(mTree.read("/sys/class/devfreq/13000000.mali/max_freq"), "800000000");
    EXPECT_EQ(mTree.read("/sys/module/touch/boost"), "idle");
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
