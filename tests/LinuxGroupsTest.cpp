// Scheduling-group levels on cgroup files: which folders the Linux back-end
// finds, what each level writes, hmp mode, all or nothing, and the originals
// back at the end; once on this machine's own cpu controller where it can.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "sched/SchedTags.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

class LinuxGroupsTest : public LinuxBackendFixture {
protected:
    static constexpr const char* kCpuctl = "/dev/cpuctl";
    const std::vector<std::string> kGroups = {"top-app", "foreground", "system-background",
                                              "background"};

    std::string group(const std::string& name, const char* file) const {
        return std::string(kCpuctl) + "/" + name + "/" + file;
    }
    // The eight EAS groups at `levels` (51..58), as the scheduling manager sends them.
    int levels(LinuxBackend& backend, const std::vector<int>& eight) {
        int tags[8];
        for (int i = 0; i < 8; ++i) {
            tags[i] = BRISK_TAG_EAS_GROUP_FIRST + i;
        }
        return backend.doSchedLevelAction(8, tags, eight.data());
    }
};

TEST_F(LinuxGroupsTest, LevelsClimbTheLadderAndZeroGivesTheOriginalsBack) {
    mTree.addCgroups(kCpuctl, 1, kGroups, true);
    auto backend = start();
    // top-app 40, foreground 10, system-background -10, background -20.
    EXPECT_EQ(levels(*backend, {0, 0, 40, 0, 10, -10, 0, -20}), 0);
    expectTexts({{group("top-app", "cpu.uclamp.min"), "50.00"},
                 {group("top-app", "cpu.uclamp.max"), "max"},
                 {group("top-app", "cpu.shares"), "2048"},  // weight 200 on v1
                 {group("foreground", "cpu.uclamp.min"), "10.00"},
                 {group("system-background", "cpu.uclamp.max"), "60.00"},
                 {group("background", "cpu.uclamp.max"), "30.00"},
                 {group("background", "cpu.shares"), "307"}});

    // Between rungs: interpolated; 0 and unset: the originals again.
    EXPECT_EQ(levels(*backend, {0, 0, 35, 0, 5, SCHED_LEVEL_UNSET, 0, -15}), 0);
    expectTexts({{group("top-app", "cpu.uclamp.min"), "42.50"},
                 {group("foreground", "cpu.uclamp.min"), "5.00"},
                 {group("system-background", "cpu.uclamp.max"), "max"},
                 {group("system-background", "cpu.shares"), "1024"},
                 {group("background", "cpu.uclamp.max"), "45.00"}});

    // Beyond the ends: the nearest end, with one warning per level.
    LogCapture log;
    EXPECT_EQ(levels(*backend, {0, 0, 100, 0, 0, 0, 0, -50}), 0);
    EXPECT_EQ(levels(*backend, {0, 0, 100, 0, 0, 0, 0, -50}), 0);
    expectTexts({{group("top-app", "cpu.uclamp.min"), "50.00"},
                 {group("background", "cpu.uclamp.max"), "30.00"}});
    EXPECT_EQ(
        logged(log, ANDROID_LOG_WARN, "scheduling level 100 lies beyond the ladder (-20..40)"), 1);

    // Nothing changed: not one system call.
    long calls = mOps->calls();
    EXPECT_EQ(levels(*backend, {0, 0, 100, 0, 0, 0, 0, -50}), 0);
    EXPECT_EQ(mOps->calls(), calls);
    backend.reset();
    expectTexts(
        {{group("top-app", "cpu.uclamp.min"), "0.00"}, {group("top-app", "cpu.shares"), "1024"}});
}

TEST_F(LinuxGroupsTest, TheDescriptionMapsFoldersSetsTheLadderAndTheHmpGroups) {
    mTree.addCgroups("/sys/fs/cgroup", 2, {"apps/top", "apps/fg", "sys"}, true);
    LogCapture log;
    auto backend = start(R"(<backend>
  <group tag="top-app" folder="apps/top"/>
  <group tag="foreground" folder="apps/fg"/>
  <group tag="57" folder="sys"/>
  <group tag="background" folder="none"/>
  <hmp groups="top-app key-background"/>
  <rung level="10" uclamp-min="12.5" weight="300"/>
  <rung level="-10" uclamp-max="70"/>
</backend>)");
    int hmp = BRISK_TAG_GROUP_HMP;
    int level = 10;
    EXPECT_EQ(backend->doSchedLevelAction(1, &hmp, &level), 0);
    expectTexts({{"/sys/fs/cgroup/apps/top/cpu.uclamp.min", "12.50"},
                 {"/sys/fs/cgroup/apps/top/cpu.weight", "300"},
                 {"/sys/fs/cgroup/sys/cpu.uclamp.min", "12.50"},
                 {"/sys/fs/cgroup/apps/fg/cpu.uclamp.min", "0.00"}});  // not an hmp group
    const std::string found = summary(log);
    EXPECT_NE(found.find("groups (cgroup v2 at /sys/fs/cgroup): apps/top (53)"), std::string::npos)
        << found;
    EXPECT_NE(found.find("group root (54): the root group has no uclamp files"), std::string::npos);
    EXPECT_NE(found.find("group background (58): no folder in the description"), std::string::npos);
}

TEST_F(LinuxGroupsTest, AMountPointThatLeadsOutOfTheKernelRootIsNoMount) {
    // Beside the fake tree, a folder that a mount table with ".." would reach.
    mTree.write("/../outside/top-app/cpu.shares", "1024");
    mTree.write("/proc/self/mountinfo", "35 1 0:30 / /../outside rw - cgroup cgroup rw,cpu");
    auto backend = start();
    EXPECT_EQ(levels(*backend, {0, 0, 40, 0, 0, 0, 0, 0}), 0);
    EXPECT_EQ(mTree.read("/../outside/top-app/cpu.shares"), "1024");
}

TEST_F(LinuxGroupsTest, WithoutUclampFilesLevelsSetTheWeightAloneWithOneWarning) {
    mTree.addCgroups(kCpuctl, 1, kGroups, false);
    LogCapture log;
    auto backend = start();
    EXPECT_EQ(levels(*backend, {0, 0, 20, 0, 10, 0, 0, 0}), 0);
    EXPECT_EQ(levels(*backend, {0, 0, 30, 0, 10, 0, 0, 0}), 0);
    expectTexts({{group("top-app", "cpu.shares"), "1638"},  // weight 160
                 {group("foreground", "cpu.shares"), "1177"}});
    EXPECT_EQ(logged(log, ANDROID_LOG_WARN, "levels set the weight alone"), 1);
}

TEST_F(LinuxGroupsTest, ACallAppliesAllItsLevelsOrNone) {
    mTree.addCgroups(kCpuctl, 1, kGroups, true);
    auto backend = start();
    EXPECT_EQ(levels(*backend, {0, 0, 10, 0, 10, 0, 0, 0}), 0);
    mOps->fail("background/cpu.uclamp.max", FaultyFileOps::Op::Write, EACCES, 1);
    EXPECT_EQ(levels(*backend, {0, 0, 30, 0, 20, 0, 0, -10}), -EACCES);
    expectTexts({{group("top-app", "cpu.uclamp.min"), "10.00"},
                 {group("foreground", "cpu.uclamp.min"), "10.00"}});
    // Unmapped groups are no failure, unless the description is strict.
    EXPECT_EQ(levels(*backend, {20, 0, 30, 0, 20, 0, 0, -10}), 0);
    backend.reset();

    auto strict = start("<backend strict=\"yes\"/>");
    EXPECT_EQ(levels(*strict, {20, 0, 0, 0, 0, 0, 0, 0}), -ENODEV);
    EXPECT_EQ(levels(*strict, {0, 0, 40, 0, 0, 0, 0, 0}), 0);
}

std::string shares(const std::string& dir) {
    std::ifstream in(dir + "/cpu.shares");
    std::string text;
    in >> text;
    return text;
}

// This machine's own cpu controller, where the test may make a group of its own.
TEST(LinuxGroupsOnThisMachine, AChildGroupOfTheCpuControllerIsDrivenAndPutBack) {
    const char* mount = "/sys/fs/cgroup/cpu";
    struct stat info {};
    if (geteuid() != 0 || stat((std::string(mount) + "/cpu.shares").c_str(), &info) != 0) {
        GTEST_SKIP() << "needs root and a cgroup v1 cpu controller at " << mount;
    }
    std::string name = "brisk-test-" + std::to_string(getpid());
    std::string dir = std::string(mount) + "/" + name;
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0) << strerror(errno);
    {
        FakeKernelTree state;
        LinuxBackendSettings settings;
        settings.stateDir = state.stateDir();
        settings.descriptionFile = state.writeDescription(
            "<backend><cgroup mount=\"" + std::string(mount) +
            "\"/><group tag=\"top-app\" folder=\"" + name + "\"/></backend>");
        LinuxBackend backend(settings);
        ASSERT_EQ(backend.initialize(), 0);
        int tag = BRISK_TAG_GROUP_TOP_APP;
        int level = 40;
        EXPECT_EQ(backend.doSchedLevelAction(1, &tag, &level), 0);
        EXPECT_EQ(shares(dir), "2048");
    }
    EXPECT_EQ(shares(dir), "1024");
    EXPECT_EQ(rmdir(dir.c_str()), 0);
}

}  // namespace
