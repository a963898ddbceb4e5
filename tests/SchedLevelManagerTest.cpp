// Scheduling-group levels: defaults, events, client requests, what reaches the
// platform and what the dump shows.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/BriskPlat.h"
#include "platform/sim/SimDevice.h"
#include "sched/SchedLevelManager.h"
#include "tests/support/ServerHarness.h"

namespace {

const char* const kHeaders[] = {"default", "current", "DUSK set", "FERN set", "MOSS set"};
const int kPrintOrder[] = {51, 52, 53, 54, 55, 57, 56, 58};
const char* const kLabels[] = {"boost,            ", "vip,              ", "top-app,          ",
                               "root,             ", "foreground,       ", "key-background,   ",
                               "system-background,", "background,       "};

int word(int group, int level) {
    return group * 65536 + level + 20;
}

// Eight EAS groups at `base`, with some groups (by tag) set apart.
std::map<int, int> eas(int base, std::map<int, int> apart = {}) {
    for (int tag = 51; tag <= 58; ++tag) {
        apart.emplace(tag, base);
    }
    return apart;
}

std::string sent(const std::map<int, int>& levels) {
    std::string out = "doSchedLevelAction";
    for (const auto& entry : levels) {
        out += " " + std::to_string(entry.first) + ":" + std::to_string(entry.second);
    }
    return out;
}

std::string block(const char* header, const std::map<int, int>& levels) {
    std::string out = std::string(header) + " eas group value is:\n";
    for (int i = 0; i < 8; ++i) {
        out += "group=" + std::string(kLabels[i]) +
               " value=" + std::to_string(levels.at(kPrintOrder[i])) + "\n";
    }
    return out;
}

class SchedLevelManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimDevice::instance().reset();
        plat.reset(getPlat());
        mgr.reset(getSchedLevel(plat.get()));
    }

    int event(int cmdId, std::vector<int> pairs) {
        Action action;
        action.cmdId = cmdId;
        action.duration = 0;
        action.tagCount = static_cast<int>(pairs.size() / 2);
        action.tagValues = pairs;
        return mgr->doEventSchedLevel(&action);
    }
    int request(int clientId, std::vector<int> tags, std::vector<int> configs) {
        return mgr->doPerfSetSchedLevel(clientId, static_cast<int>(tags.size()), tags.data(),
                                        configs.data());
    }
    std::vector<std::string> calls() { return recordLines(SimCall::Op::DoSchedLevelAction); }
    std::string lastCall() { return calls().empty() ? "(none)" : calls().back(); }
    std::string dump() {
        android::String8 out;
        mgr->dumpEasGroupList(out);
        return std::string(out.c_str());
    }
    // Block of one source ("current", "FERN set", ...) as the dump shows it.
    std::string dumped(const char* header) {
        std::string all = dump();
        size_t from = all.find(std::string(header) + " eas");
        size_t to = all.find(" eas group value is:", all.find('\n', from));
        to = to == std::string::npos ? all.size() : all.rfind('\n', to) + 1;
        return all.substr(from, to - from);
    }

    LogCapture log;
    std::unique_ptr<BriskPlat> plat;
    std::unique_ptr<SchedLevelManager> mgr;
};

// The dump's layout, and that neither construction nor the defaults reach the
// platform, are in the golden transcripts (start-up and "dump --easgrouplist").
TEST_F(SchedLevelManagerTest, DefaultsAreStoredUnclampedAndChooseHmpOrEas) {
    ASSERT_EQ(event(5376, {51, 10, 52, 20, 53, 100, 54, -10, 55, 0, 56, 5, 57, 7, 58, -20}), 0);
    const auto defaults =
        eas(0, {{51, 10}, {52, 20}, {53, 100}, {54, -10}, {56, 5}, {57, 7}, {58, -20}});
    for (const char* header : kHeaders) {
        EXPECT_EQ(dumped(header), block(header, defaults)) << "defaults overwrite all five maps";
    }
    ASSERT_EQ(request(2, {40}, {0}), 0);
    EXPECT_EQ(lastCall(), sent(defaults)) << "a reset that changes nothing is still pushed";

    ASSERT_EQ(event(5376, {50, 3}), 0);
    ASSERT_EQ(request(1, {42}, {word(3, -10)}), 0) << "group tags stay accepted in hmp mode";
    EXPECT_EQ(lastCall(), "doSchedLevelAction 50:3") << "hmp defaults: only group 0 is sent";
    std::string hmpOnly;
    for (const char* header : kHeaders) {
        hmpOnly += std::string(header) + " eas group value is:\ngroup=hmp,               value=3\n";
    }
    EXPECT_EQ(dump(), hmpOnly) << "and only group 0 is dumped";
}

TEST_F(SchedLevelManagerTest, MalformedDefaultsAndEventsAreRefusedAndChangeNothing) {
    const std::string before = dump();
    auto refused = [&](int cmdId, std::vector<int> pairs, const std::string& line) {
        log.clear();
        EXPECT_EQ(event(cmdId, pairs), -1) << line;
        EXPECT_EQ(log.texts(), std::vector<std::string>{line}) << "nothing examined after it";
    };
    const std::string badLen = "E init default group failed! tagLen must be (eas:8, hmp:1)";
    refused(5376, {51, 1, 52, 1}, badLen);
    refused(5376, {53, 1}, badLen);
    refused(5376, {51, 1, 52, 1, 53, 1, 54, 1, 50, 1, 56, 1, 57, 1, 58, 1},
            "E invalid eas group, group tag is 0");
    refused(5376, std::vector<int>(18, 99),
            "D cmdId(5376) (duration=0): group num is invalid, max group num is 8!");
    refused(4114, {}, "D cmdId(4114) (duration=0): group num is invalid, max group num is 8!");
    refused(4114, {53, 10, 59, 10},
            "D cmdId(4114) (duration=0) does not support other tags except sched level!");
    Action shortList;
    shortList.cmdId = 4114;
    shortList.tagCount = 3;
    shortList.tagValues = {53, 10, 54};
    EXPECT_EQ(mgr->doEventSchedLevel(&shortList), -1) << "a count beyond the list is refused";
    EXPECT_EQ(mgr->doEventSchedLevel(nullptr), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doEventSchedLevel failed, action is NULL!"));
    EXPECT_EQ(dump(), before) << "a refused event or default changes no map, not even partly";
    EXPECT_TRUE(calls().empty());
}

TEST_F(SchedLevelManagerTest, EventsOwnTheMossLevelsAndUnsetGroupsReachThePlatformAsMinus100) {
    ASSERT_EQ(event(9000, {53, 10}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, 10}}))) << "groups no event has set go out as -100";
    EXPECT_EQ(dumped("MOSS set"), block("MOSS set", eas(-100, {{53, 10}})));
    EXPECT_EQ(event(9000, {53, 10}), 0);
    EXPECT_EQ(calls().size(), 1u) << "an event that changes nothing makes no platform call";

    ASSERT_EQ(request(3, {42}, {word(2, 20)}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{52, 20}, {53, 10}})));
    ASSERT_EQ(event(9000, {54, 0}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, 10}, {54, 0}})))
        << "the next changing event overwrites what MOSS set directly";
}

TEST_F(SchedLevelManagerTest, TheFirst4114SavesTheBaseThat4113IsGatedBy) {
    ASSERT_EQ(event(4114, {53, 10}), 0);
    ASSERT_EQ(event(4114, {53, 20}), 0);
    EXPECT_EQ(event(4113, {53, 30, 52, 5}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{52, 5}, {53, 20}})))
        << "4113 moves only groups still at their base; the second 4114 kept base 10";
    ASSERT_EQ(event(4114, {53, 10}), 0);
    ASSERT_EQ(event(4113, {53, 30}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{52, 5}, {53, 30}}))) << "back at its base, 53 follows";
}

TEST_F(SchedLevelManagerTest, DuskAndFernPullBelowDefaultsAndThenOverrideMoss) {
    ASSERT_EQ(event(9000, {53, 30}), 0);
    ASSERT_EQ(request(2, {40}, {1}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-10))) << "FERN below the default overrides MOSS, -100 too";
    ASSERT_EQ(request(1, {42, 42}, {word(3, -20), word(4, 5)}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-10, {{53, -20}}))) << "the lower of DUSK and FERN wins";
    ASSERT_EQ(request(2, {40}, {0}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, -20}}))) << "DUSK above the default does not count";
    ASSERT_EQ(request(1, {40}, {0}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, 30}}))) << "with both at defaults MOSS applies";
}

TEST_F(SchedLevelManagerTest, StepsWalkTheLadderCappedAtDefaultsAndRestartOffLadder) {
    const int expectedFern[] = {-10, -20, -20, -10, 0, 0};
    const int configs[] = {1, 1, 1, 2, 2, 2};
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(request(2, {40}, {configs[i]}), 0);
        EXPECT_EQ(dumped("FERN set"), block("FERN set", eas(expectedFern[i])))
            << "step " << i << ": one ladder position, floored at -20, capped at the default 0";
    }
    ASSERT_EQ(event(5376, {51, 40, 52, 40, 53, 40, 54, 40, 55, 40, 56, 40, 57, 40, 58, 40}), 0);
    ASSERT_EQ(request(3, {42, 42}, {word(1, 5), word(2, 10)}), 0);
    EXPECT_EQ(dumped("MOSS set"), block("MOSS set", eas(40, {{51, 5}, {52, 10}})))
        << "a level between the bounds but off the ladder is stored as it stands";
    ASSERT_EQ(request(3, {40}, {2}), 0);
    EXPECT_EQ(dumped("MOSS set"), block("MOSS set", eas(40, {{51, -20}, {52, 20}})))
        << "stepping up from the off-ladder 5 restarts at the bottom";
}

TEST_F(SchedLevelManagerTest, LevelWordsAreCheckedAtTheirEdges) {
    ASSERT_EQ(request(3, {42, 42, 42}, {word(5, -20), word(6, 40), word(0, 7)}), 0);
    EXPECT_EQ(lastCall(), sent(eas(0, {{55, -20}, {56, 40}})))
        << "levels -20 and 40 are accepted; group 0 is stored but not sent in EAS mode";
    const int refused[] = {word(3, -1), word(3, 41), word(9, 0), -1, static_cast<int>(0xFFFF0014u)};
    for (int bad : refused) {
        log.clear();
        EXPECT_EQ(request(1, {42}, {bad}), -1) << bad;
        EXPECT_TRUE(log.has(ANDROID_LOG_DEBUG,
                            "invalid sched Level(" + std::to_string(bad) + "), clientId(1)"))
            << "level -1, beyond -20..40 or a group above 8 is refused: " << bad;
    }
    EXPECT_EQ(calls().size(), 1u);
    EXPECT_EQ(request(1, {42}, {word(3, 0)}), 0) << "low half 20 is level 0, not the refused -1";
}

TEST_F(SchedLevelManagerTest, RefusedRequestsFollowTheirOwnUndoRules) {
    EXPECT_EQ(request(2, {42, 42, 41}, {word(1, -20), word(2, -20), 0}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_DEBUG,
                        "do not use BRISK_TAG_SET_SCHED_LEVEL with other tags(41), clientId is 2"));
    EXPECT_EQ(dumped("FERN set"), block("FERN set", eas(0))) << "a foreign tag undoes the request";

    EXPECT_EQ(request(2, {42, 42}, {word(1, -20), word(9, 0)}), -1);
    EXPECT_EQ(dumped("FERN set"), block("FERN set", eas(0, {{51, -20}})))
        << "a bad word keeps the groups set before it";
    EXPECT_TRUE(calls().empty());

    auto refused = [&](int clientId, std::vector<int> tags, std::vector<int> configs, int priority,
                       const std::string& text) {
        EXPECT_EQ(request(clientId, tags, configs), -1) << text;
        EXPECT_TRUE(log.has(priority, text)) << text;
    };
    refused(0, {40}, {0}, ANDROID_LOG_ERROR, "invalid clientId is 0");
    refused(4, {40}, {0}, ANDROID_LOG_ERROR, "invalid clientId is 4");
    refused(2, {40}, {3}, ANDROID_LOG_ERROR, "invalid sched Level config is 3, clientId(2)");
    refused(2, {}, {}, ANDROID_LOG_DEBUG, "invalid sched level argument, clientId is 2");
    refused(2, std::vector<int>(9, 42), std::vector<int>(9, 20), ANDROID_LOG_DEBUG,
            "invalid sched level argument, clientId is 2");
    refused(2, {40, 40}, {0, 0}, ANDROID_LOG_DEBUG,
            "do not use BRISK_TAG_SET_SCHED_LEVEL with other tags(40), clientId is 2");
    const int tag = 42;
    EXPECT_EQ(mgr->doPerfSetSchedLevel(2, 1, &tag, nullptr), -1) << "null configs are refused";
    EXPECT_EQ(mgr->doPerfSetSchedLevel(2, 3, nullptr, &tag), -1) << "null tags are refused";
    EXPECT_EQ(mgr->doPerfSetSchedLevel(2, -5, nullptr, nullptr), -1);
    EXPECT_EQ(dumped("FERN set"), block("FERN set", eas(0, {{51, -20}})));
    EXPECT_TRUE(calls().empty());
}

TEST_F(SchedLevelManagerTest, FailedPlatformCallsRollBackAndLogTwice) {
    ASSERT_EQ(event(9000, {53, 10}), 0);
    const std::string before = dump();
    SimDevice::instance().failNext(SimCall::Op::DoSchedLevelAction, -3, 2);
    EXPECT_EQ(event(4114, {53, 20}), -3) << "the back-end's result is passed on";
    EXPECT_EQ(request(2, {40}, {1}), -3);
    EXPECT_EQ(dump(), before) << "MOSS, current and the client map read as before";
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "doSchedLevelAction failed!"), 4)
        << "each failure is logged twice";

    ASSERT_EQ(event(9000, {54, 0}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, 10}, {54, 0}})))
        << "the failed event's level is gone from the event levels as well";
    ASSERT_EQ(event(9000, {53, 20}), 0);
    ASSERT_EQ(event(4113, {53, 40}), 0);
    EXPECT_EQ(lastCall(), sent(eas(-100, {{53, 40}, {54, 0}})))
        << "the base (20) saved by the failed 4114 is not rolled back, and 4113 follows it";

    const std::string afterwards = dump();
    delete plat->mPerf;
    plat->mPerf = nullptr;
    EXPECT_EQ(request(1, {40}, {1}), -1) << "a missing back-end is a failed call";
    EXPECT_EQ(event(9000, {51, 10}), -1);
    EXPECT_EQ(dump(), afterwards);
    SchedLevelManager orphan(nullptr);
    const int tag = 40, reset = 0;
    EXPECT_EQ(orphan.doPerfSetSchedLevel(1, 1, &tag, &reset), -1) << "so is a missing platform";
}

}  // namespace
