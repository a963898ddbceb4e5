// What the Linux back-end finds on a machine, what a description changes, what
// it refuses, and that no content of a kernel file, description or journal can
// break it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <random>

#include "freq/FreqTags.h"
#include "platform/linux/BoostJournal.h"
#include "platform/linux/CgroupDiscovery.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/Journal.h"
#include "platform/linux/KernelText.h"
#include "platform/select/PlatformSelector.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

class LinuxDiscoveryTest : public LinuxBackendFixture {
protected:
    void SetUp() override {}  // each test builds its own machine

    // initialize's result with `xml` as the description, and its error line.
    int initWith(const std::string& xml, std::string* error) {
        LogCapture log;
        LinuxBackend backend(settings(xml));
        int r = backend.initialize();
        for (const LogLine& line : log.lines()) {
            if (line.priority == ANDROID_LOG_ERROR) {
                *error = line.text;
            }
        }
        return r;
    }
};

TEST_F(LinuxDiscoveryTest, ClustersAreRankedByCapacityThenByHardwareMaximum) {
    LogCapture log;
    mTree.addPolicy(0, {0, 1}, 1024, 2000000);
    auto one = start();
    EXPECT_EQ(get(*one, BRISK_TAG_LITTLE_CPU_HW_MAX), 2000000);
    EXPECT_EQ(get(*one, BRISK_TAG_BIG_CPU_HW_MAX), 0);
    EXPECT_NE(summary(log).find("missing: big cluster (one cpufreq policy)"), std::string::npos);
    one.reset();

    mTree.addPolicy(2, {2, 3}, 1024, 2000000);
    auto twoAlike = start();
    EXPECT_NE(summary(log).find("little cluster policy0 policy2 (cpus 0-3,"), std::string::npos);
    EXPECT_NE(summary(log).find("big cluster (all 2 cpufreq policies alike)"), std::string::npos);
    twoAlike.reset();

    // Three policies: the lowest capacity is little, the others big.
    mTree.addPolicy(0, {0, 1}, 300, 1800000);
    mTree.addPolicy(2, {2, 3}, 800, 2400000);
    mTree.addPolicy(4, {4}, 1024, 3000000);
    auto three = start();
    EXPECT_EQ(get(*three, BRISK_TAG_BIG_CPU_HW_MAX), 3000000);
    EXPECT_EQ(set(*three, {{BRISK_TAG_BIG_CPU_MAX, 2200000}}), 0);
    EXPECT_EQ(mTree.read(cpu(2, "max")), "2200000");
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2200000");
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
    three.reset();

    // Equal capacities (or none): the lower hardware maximum is little.
    mTree.addPolicy(2, {2, 3}, 300, 1400000);
    mTree.addPolicy(4, {4}, 300, 1500000);
    auto byMax = start();
    EXPECT_NE(summary(log).find("little cluster policy2 (cpus 2-3, up to 1400000 kHz)"),
              std::string::npos);
}

TEST_F(LinuxDiscoveryTest, TheGpuIsADevfreqDeviceNamedLikeOneAndThermalUsesPowerAllocatorZones) {
    LogCapture log;
    mTree.addPolicy(0, {0}, 0, 1000000);
    mTree.addDevfreq("soc:qcom,cpu-llcc-bw", {100, 200});
    mTree.addDevfreq("kgsl-3d0", {257000000, 587000000});
    mTree.addZone(0, "step_wise", {{"passive", 50000}, {"passive", 60000}});
    mTree.addZone(1, "power_allocator",
                  {{"active", 40000},
                   {"passive", 60000},
                   {"passive", 70000},
                   {"passive", 85000},
                   {"critical", 110000}});
    mTree.addZone(2, "power_allocator", {{"passive", 90000}});
    auto backend = start();
    EXPECT_EQ(get(*backend, BRISK_TAG_GPU_HW_MAX), 587000);
    EXPECT_EQ(set(*backend, {{BRISK_TAG_IPA_ON_TEMP, 55000}, {BRISK_TAG_IPA_CONTROL_TEMP, 80000}}),
              0);
    EXPECT_EQ(mTree.read("/sys/class/thermal/thermal_zone1/trip_point_1_temp"), "55000");
    EXPECT_EQ(mTree.read("/sys/class/thermal/thermal_zone1/trip_point_3_temp"), "80000");
    // A zone with one passive trip has a control trip but no switch-on trip.
    EXPECT_EQ(mTree.read("/sys/class/thermal/thermal_zone2/trip_point_0_temp"), "80000");
    EXPECT_EQ(mTree.read("/sys/class/thermal/thermal_zone0/trip_point_1_temp"), "60000");
    EXPECT_NE(summary(log).find("gpu kgsl-3d0"), std::string::npos);
    backend.reset();

    FakeKernelTree bare;
    bare.addDevfreq("ddr", {100});
    LinuxBackendSettings onBare = bare.settings();
    LinuxBackend none(onBare);
    EXPECT_EQ(none.initialize(), 0);
    EXPECT_EQ(get(none, BRISK_TAG_GPU_HW_MAX), 0);
    EXPECT_NE(summary(log).find("gpu (no devfreq device named like a GPU)"), std::string::npos);
    EXPECT_NE(summary(log).find("little cluster (no usable cpufreq policy"), std::string::npos);
}

TEST_F(LinuxDiscoveryTest, TheDescriptionOverridesWhatItNames) {
    mTree.buildBigLittle();
    mTree.addDevfreq("gpufreq", {100000, 200000});
    mTree.addZone(1, "step_wise", {{"hot", 50000}, {"passive", 60000}, {"passive", 70000}});
    auto backend = start(R"(<backend>
  <cluster name="little" policies="policy4"/>
  <gpu device="gpufreq" scale="1"/>
  <thermal zone="thermal_zone1" on-trip="0" control-trip="2"/>
</backend>)");
    // policy4 is little now; the big cluster is what is left.
    EXPECT_EQ(set(*backend, {{BRISK_TAG_LITTLE_CPU_MAX, 2000000},
                             {BRISK_TAG_BIG_CPU_MAX, 1500000},
                             {BRISK_TAG_GPU_MAX, 150000},
                             {BRISK_TAG_IPA_ON_TEMP, 45000}}),
              0);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2000000");
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1500000");
    EXPECT_EQ(mTree.read("/sys/class/devfreq/gpufreq/max_freq"), "150000");
    EXPECT_EQ(mTree.read(gpu("max")), "800000000");
    EXPECT_EQ(mTree.read("/sys/class/thermal/thermal_zone1/trip_point_0_temp"), "45000");
    EXPECT_EQ(mTree.read(trip(0)), "65000");
}

TEST_F(LinuxDiscoveryTest, AnInvalidDescriptionStopsInitializeNamingFileLineAndProblem) {
    mTree.buildBigLittle();
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"<backend>\n<item name=\"a\" file=\"/sys/a\">", ":2: "},
        {"<policy/>", ":1: the document must be one <backend> element"},
        {"<backend strict=\"maybe\"/>", ":1: strict must be yes or no"},
        {"<backend><group tag=\"front\" folder=\"fg\"/></backend>",
         ":1: \"front\" is not a scheduling group"},
        {"<backend><group tag=\"top-app\" folder=\"../x\"/></backend>", ":1: folder ../x must be"},
        {"<backend>\n<rung level=\"0\" uclamp-min=\"5\"/></backend>",
         ":2: <rung> needs a level other"},
        {"<backend><rung level=\"10\" uclamp-min=\"12.345\"/></backend>",
         ":1: uclamp-min must be a percentage"},
        {"<backend><thread-boost fallback=\"maybe\"/></backend>",
         ":1: fallback must be nice or none"},
        {"<backend><hmp groups=\"top-app\" group=\"vip\"/></backend>",
         ":1: <hmp> has no attribute \"group\""},
        {"<backend><cgroup mount=\"/nowhere\"/></backend>", ":1: cgroup mount /nowhere not found"},
        {"<backend><gpu scale=\"0\"/></backend>", ":1: scale must be a whole number from 1"},
        {"<backend>\n<item name=\"a\" file=\"/etc/passwd\"/></backend>",
         ":2: file /etc/passwd must be an absolute path under /sys or /proc/sys"},
        {"<backend><item name=\"a\" file=\"/sys/../etc/x\"/></backend>",
         ":1: file /sys/../etc/x must be an absolute path"},
        {"<backend><item name=\"a\" file=\"/sys/a\"/>\n<item name=\"a\" "
         "file=\"/sys/b\"/></backend>",
         ":2: item a is described twice"},
        {"<backend><item name=\"a\" file=\"/sys/a\"/>\n<item name=\"b\" "
         "file=\"/sys/a\"/></backend>",
         ":2: /sys/a is written by two entries"},
        {"<backend><gpu device=\"nope\"/></backend>", ":1: devfreq device nope has no min_freq"},
        {"<backend><thermal zone=\"thermal_zone7\"/></backend>",
         ":1: thermal zone thermal_zone7 is not"},
        {"<backend>\n<item name=\"x\" "
         "file=\"/sys/devices/system/cpu/cpufreq/policy0/scaling_max_freq\"/>"
         "</backend>",
         ":2: /sys/devices/system/cpu/cpufreq/policy0/scaling_max_freq is already written"},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_EQ(initWith(c.first, &error), -EINVAL) << c.first;
        EXPECT_NE(error.find("backend.xml" + c.second), std::string::npos)
            << c.first << "\n  gave: " << error;
    }
}

TEST_F(LinuxDiscoveryTest, NoContentOfAKernelFileBreaksDiscovery) {
    mTree.buildBigLittle();
    const std::string policy = FakeKernelTree::kPolicyDir;
    mTree.addPolicy(8, {8}, 2000, 3000000);
    mTree.write(policy + "8/cpuinfo_max_freq", "fast");
    mTree.addPolicy(9, {9}, 2000, 3000000);
    mTree.write(policy + "9/related_cpus", std::string(9000, '7'));  // longer than any
    mTree.write(policy + "9/affected_cpus", "0-99999");
    mTree.addPolicy(10, {10}, 2000, 3000000);
    mTree.write(policy + "10/related_cpus", "");
    unlink(mTree.path(policy + "10/affected_cpus").c_str());
    mkfifo(mTree.path(policy + "10/affected_cpus").c_str(), 0600);  // would block a plain read
    mTree.write("/sys/devices/system/cpu/cpu0/cpu_capacity", std::string("\0\xff\n12", 5));
    mTree.write("/sys/class/thermal/thermal_zone0/trip_point_1_type",
                std::string("passive\0garbage", 15));
    auto backend = start();
    EXPECT_EQ(get(*backend, BRISK_TAG_BIG_CPU_HW_MAX), 2400000);  // 8, 9 and 10 were unusable
    EXPECT_EQ(
        set(*backend, {{BRISK_TAG_BIG_CPU_MAX, 2000000}, {BRISK_TAG_IPA_CONTROL_TEMP, 70000}}), 0);
    EXPECT_EQ(mTree.read(cpu(4, "max")), "2000000");
    EXPECT_EQ(mTree.read(trip(0)), "70000");  // the only passive trip left
}

TEST_F(LinuxDiscoveryTest, ParsersOfDescriptionsJournalsAndKernelTextsTakeAnyBytes) {
    JournalRecord record;
    record.bootId = "b 1%\n";
    record.ownerPid = 42;
    record.ownerStart = 777;
    record.files = {{"/sys/a b", ""}, {"/sys/c", std::string("x\0y\n%", 5)}};
    const std::string journal = Journal::format(record);
    JournalRecord back;
    ASSERT_TRUE(Journal::parse(journal, &back));
    EXPECT_EQ(back.bootId, record.bootId);
    EXPECT_EQ(back.files, record.files);
    EXPECT_FALSE(Journal::parse(journal.substr(0, journal.size() - 3), &back));  // cut short
    std::string noBootId = journal;
    const size_t boot = noBootId.find("\nboot") + 5;
    noBootId.erase(boot, noBootId.find('\n', boot) - boot);
    EXPECT_FALSE(Journal::parse(noBootId, &back));  // a boot line without its id
    std::vector<int> cpus;
    EXPECT_TRUE(KernelText::parseCpuList("0-3,6\n", &cpus));
    EXPECT_EQ(KernelText::formatCpuList(cpus), "0-3,6");
    EXPECT_FALSE(KernelText::parseCpuList("0-99999", &cpus));

    // Flipped and cut bytes: answered, never a crash (the sanitizer runs watch the
    // reads). The fuzz targets go further, but through a whole back-end, slowly.
    const std::string seeds[] = {
        journal, "brisk-linux-threads 1 boot=b owner=1:0\nthread 4321 5000 clamp 0 600\n",
        "<backend strict=\"no\"><cluster name=\"big\" policies=\"policy4\"/><gpu device=\"g\" "
        "scale=\"10\"/><thermal zone=\"thermal_zone0\" on-trip=\"1\"/><fork file=\"/sys/f\"/>"
        "<item name=\"i\" file=\"/sys/i\" end-text=\"0\"/><cgroup mount=\"/dev/cpuctl\"/>"
        "<group tag=\"top-app\" folder=\"ta\"/><hmp groups=\"top-app\"/><rung level=\"10\" "
        "uclamp-min=\"12.5\" weight=\"120\"/><thread-boost uclamp-min=\"300\"/></backend>"};
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = seeds[round % 3];
        for (int flips = 1 + round % 4; flips > 0; --flips) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        bytes.resize(random() % (bytes.size() + 1));
        BackendDescription parsed;
        std::string error;
        DescriptionReader::parse(bytes.data(), bytes.size(), "d", &parsed, &error);
        Journal::parse(bytes, &back);
        long long value = 0;
        unsigned long long start = 0;
        KernelText::parseCpuList(bytes, &cpus);
        KernelText::parseInt(bytes, &value);
        KernelText::statField(bytes, 22, &start);
        CgroupDiscovery::parseMountInfo(bytes);
        BoostOwner owner;
        std::vector<BoostRecord> boosts;
        BoostJournal::parse(bytes, &owner, &boosts);
    }
}

TEST_F(LinuxDiscoveryTest, TheCheckReportsEveryFileWithoutChangingAnything) {
    mTree.buildBigLittle();
    auto check = [this](bool usable) {
        std::vector<std::string> report;
        EXPECT_EQ(PlatformSelector::checkLinuxBackend(settings(), &report), usable);
        std::string all;
        for (const std::string& line : report) {
            all += line + "\n";
        }
        return all;
    };
    const std::string all = check(true);
    EXPECT_NE(all.find("tag 5 big_cpu_max (kHz): " + mTree.path(cpu(4, "max")) +
                       " now \"2400000\": writable"),
              std::string::npos)
        << all;
    EXPECT_NE(all.find("warning: running as root"), std::string::npos);
    EXPECT_TRUE(writes().empty());

    mOps->fail("policy4/scaling_max_freq", FaultyFileOps::Op::Open, EACCES);
    mOps->fail("policy0/scaling_max_freq", FaultyFileOps::Op::Open, EACCES);
    const std::string refused = check(false);
    EXPECT_NE(refused.find("scaling_max_freq now \"2400000\": cannot open for writing: "
                           "Permission denied"),
              std::string::npos)
        << refused;
    EXPECT_NE(refused.find("result: 2 cannot be written"), std::string::npos);
}

}  // namespace
