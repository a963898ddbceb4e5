// The Linux back-end's journal: what a back-end that did not end cleanly left
// changed is put back by the next one (or by --restore), in the same boot only,
// and two back-ends never drive one machine.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "freq/FreqTags.h"
#include "platform/select/PlatformSelector.h"
#include "sched/SchedTags.h"
#include "tests/support/LinuxBackendFixture.h"

namespace {

class LinuxRecoveryTest : public LinuxBackendFixture {
protected:
    // A child process applies limits through its own back-end, then is killed
    // with SIGKILL before it can put anything back.
    void crashAfterApplying() {
        ASSERT_TRUE(applyThenCrash(settings(), [](LinuxBackend& backend) {
            int tag = BRISK_TAG_GROUP_TOP_APP;
            int level = 40;
            return set(backend,
                       {{BRISK_TAG_LITTLE_CPU_MAX, 1000000}, {BRISK_TAG_GPU_MAX, 300000}}) == 0 &&
                   backend.doSchedLevelAction(1, &tag, &level) == 0;
        }));
        ASSERT_EQ(
            texts({cpu(0, "max"), gpu("max"), kTopAppMin}),
            (Texts{{cpu(0, "max"), "1000000"}, {gpu("max"), "300000000"}, {kTopAppMin, "50.00"}}));
    }

    void SetUp() override {
        LinuxBackendFixture::SetUp();
        mTree.addCgroups("/dev/cpuctl", 1, {"top-app"}, true);
    }
    static constexpr const char* kTopAppMin = "/dev/cpuctl/top-app/cpu.uclamp.min";
    static constexpr const char* kJournal = "/../state/journal";  // beside the kernel root

    std::string journal() const { return mTree.stateDir() + "/journal"; }
};

TEST_F(LinuxRecoveryTest, TheNextBackEndPutsBackWhatAKilledOneLeftChanged) {
    crashAfterApplying();
    EXPECT_EQ(access(journal().c_str(), F_OK), 0);
    LogCapture log;
    auto next = start();
    expectTexts({{cpu(0, "max"), "1800000"}, {gpu("max"), "800000000"}, {kTopAppMin, "0.00"}});
    EXPECT_NE(access(journal().c_str(), F_OK), 0);  // it starts afresh
    // The newest change is put back first.
    EXPECT_EQ(writes(),
              (std::vector<std::string>{"/dev/cpuctl/top-app/cpu.shares=1024",
                                        std::string(kTopAppMin) + "=0.00",
                                        gpu("max") + "=800000000", cpu(0, "max") + "=1800000"}));
}

TEST_F(LinuxRecoveryTest, RestoreDoesTheSameFromTheCommandLineAndRefusesWhileABackEndRuns) {
    crashAfterApplying();
    auto running = std::make_unique<LinuxBackend>(settings());
    std::vector<std::string> report;
    // A back-end that starts takes the lock first; here --restore comes first.
    EXPECT_TRUE(PlatformSelector::restoreLinuxBackend(settings(), &report));
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1800000");
    ASSERT_FALSE(report.empty());
    EXPECT_NE(report.back().find("put back \"1800000\""), std::string::npos);

    ASSERT_EQ(running->initialize(), 0);
    report.clear();
    EXPECT_FALSE(PlatformSelector::restoreLinuxBackend(settings(), &report));
    EXPECT_NE(report.front().find("another Brisk back-end drives this machine"), std::string::npos);
    // Nor can a second back-end start on the same state folder.
    LinuxBackend second(settings());
    EXPECT_EQ(second.initialize(), -EWOULDBLOCK);
}

TEST_F(LinuxRecoveryTest, AJournalOfAnotherBootOrOneThatCannotBeTrustedIsNotReplayed) {
    crashAfterApplying();
    mTree.setBootId("99999999-0000-0000-0000-000000000000");  // the machine rebooted
    auto afterReboot = start();
    EXPECT_EQ(mTree.read(cpu(0, "max")), "1000000");
    EXPECT_NE(access(journal().c_str(), F_OK), 0);
    afterReboot.reset();

    // Written by someone else than the back-end's user, or garbage: set aside.
    mTree.write(kJournal,
                "brisk-linux-journal 1\nboot =x\nowner 1 1\nrollback yes\nfile =/etc/passwd =x");
    chmod(journal().c_str(), 0666);
    auto careful = start();
    EXPECT_EQ(access((journal() + ".unusable").c_str(), F_OK), 0);
    careful.reset();
    // A journal entry outside the kernel's tunables is never written.
    mTree.write(kJournal,
                "brisk-linux-journal 1\nboot =99999999-0000-0000-0000-000000000000\nowner 1 1\n"
                "rollback yes\nfile =/etc/passwd =x");
    chmod(journal().c_str(), 0600);
    std::vector<std::string> report;
    EXPECT_FALSE(PlatformSelector::restoreLinuxBackend(settings(), &report));
    EXPECT_NE(report.back().find("/etc/passwd is no kernel tunable"), std::string::npos);
}

}  // namespace
