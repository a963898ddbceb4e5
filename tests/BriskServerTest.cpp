// The whole service wired end to end over the simulated device.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "platform/sim/CfgFileResolver.h"
#include "platform/sim/SimDevice.h"
#include "tests/support/ServerHarness.h"

namespace {

using Op = SimCall::Op;
using Lines = std::vector<std::string>;

class BriskServerTest : public ::testing::Test {
protected:
    void SetUp() override { SimDevice::instance().reset(); }

    // A server initialised on the full test configuration, with the record cleared.
    std::unique_ptr<InspectableServer> startServer() {
        auto server = std::make_unique<InspectableServer>();
        EXPECT_EQ(server->init(), 0) << "init must succeed on a complete configuration";
        SimDevice::instance().clearRecord();
        log.clear();
        return server;
    }

    int event(BriskServer& s, int cmdId, std::vector<int> payload) {
        return s.briskEvent(cmdId, "", static_cast<unsigned>(payload.size()),
                            payload.empty() ? nullptr : payload.data());
    }
    // The scene actions the device received since the last look, as "cmdId:payload".
    std::string sceneActions() {
        std::string out;
        for (const SimCall& call : SimDevice::instance().record()) {
            if (call.op == Op::DoAction) {
                out += (out.empty() ? "" : " ") + std::to_string(call.cmdId) + ":" +
                       std::to_string(call.payload.at(0));
            }
        }
        SimDevice::instance().clearRecord();
        return out;
    }

    TempConfig cfg = TempConfig::withCommands(fullTestConfig());
    LogCapture log;
};

TEST_F(BriskServerTest, EntryPointsAnswerOneUntilInitWiresEverythingAndLoadsScenePriorities) {
    InspectableServer server;
    int tags[1] = {2};
    int values[1] = {0};
    EXPECT_EQ(event(server, 100, {0}), 1);
    EXPECT_EQ(event(server, 4116, {0}), 1);
    EXPECT_EQ(server.briskSetConfig(1, 1, tags, values), 1);
    EXPECT_EQ(server.briskGetConfig(1, tags, values), 1);
    EXPECT_EQ(server.briskGetVersion(), 1);
    EXPECT_EQ(server.mPriorityMap,
              (std::map<int, int>{{4118, 100}, {4119, 200}, {4120, 20}, {4121, 70}}))
        << "the constructor loads the four built-in priorities";

    ASSERT_EQ(server.init(), 0);
    EXPECT_TRUE(server.mInited);
    EXPECT_NE(server.mProbeHandler, nullptr);
    EXPECT_EQ(recordLines(), Lines{"initialize"})
        << "nothing reached the platform before init; the defaults are stored without a call";
    EXPECT_EQ(server.mPriorityMap[4118], 150) << "a configured priority overrides the built-in";
    EXPECT_EQ(server.mPriorityMap[4119], 200) << "a step without tag 101 keeps the built-in";
    EXPECT_EQ(server.mPriorityMap[4232], 300) << "governor scenes take the text key";
    EXPECT_EQ(server.mPriorityMap.count(4124), 0u) << "501 is out of range and not stored";
    EXPECT_EQ(server.mPriorityMap.count(4352), 0u) << "4352 is not loaded at start-up";
}

TEST_F(BriskServerTest, EachInitFailureCleansUpAndReportsItsStep) {
    TempConfig noDefaults =
        TempConfig::withCommands(R"(<c id="4116"><s><duration>5</duration></s></c>)");
    struct Case {
        const char* why;
        std::function<void()> inject;
        int result;
        Lines log;  // in order
    };
    const Case cases[] = {
        {"no platform",
         [] { SimDevice::instance().failPlatCreation(); },
         -1,
         {"E get platform ptr failed!"}},
        {"no loader",
         [] { SimDevice::instance().failLoaderCreation(); },
         -1,
         {"E server get loader failed!", "E createParser failed!"}},
        {"no configuration file",
         [] { CfgFileResolver::setFile("/nonexistent.xml"); },
         -1,
         {"E brisk_config_cust.xml is not exit or file is invalid!", "E load xml map failed!",
          "E createParser failed!"}},
        {"platform initialize fails",
         [] { SimDevice::instance().failNext(Op::Initialize, 7); },
         7,
         {"E initialize failed!"}},
        {"no default groups",
         [&] { CfgFileResolver::setFile(noDefaults.path()); },
         2,
         {"E briskEvent doParse failed! cmdId=5376, errno=1",
          "E init default group sched level failed!"}},
    };
    for (const Case& c : cases) {
        TempConfig fresh = TempConfig::withCommands(fullTestConfig());
        log.clear();
        c.inject();
        InspectableServer server;
        EXPECT_EQ(server.init(), c.result) << c.why;
        EXPECT_EQ(log.texts(), c.log) << c.why;
        EXPECT_EQ(server.mPlatPtr, nullptr) << c.why << ": the platform is released";
        EXPECT_EQ(server.mFreqClientPtr, nullptr) << c.why;
        EXPECT_EQ(server.mSchedLevelPtr, nullptr) << c.why;
        EXPECT_FALSE(server.mInited) << c.why;
        EXPECT_EQ(event(server, 100, {0}), 1) << c.why << ": still not initialised";
    }
}

TEST_F(BriskServerTest, MissingProbeCommandLeavesAHalfReadyService) {
    TempConfig noProbe = TempConfig::withCommands(R"(
        <c id="5376"><s><hmp>3</hmp></s></c>
        <c id="100"><s><duration>5</duration></s></c>)");
    InspectableServer server;
    EXPECT_EQ(server.init(), 4);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doParse probe event failed!"));
    EXPECT_TRUE(server.mInited) << "the probe step deliberately leaves the service running";
    EXPECT_NE(server.mPlatPtr, nullptr);
    EXPECT_EQ(server.briskEvent(4116, "pid=1|tid=2", 0, nullptr), 4);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "init mProbeHandler failed!"));
    EXPECT_EQ(event(server, 100, {}), 0) << "other events still work";
}

TEST_F(BriskServerTest, DefaultGroupCommandGoesThroughTheVirtualEntry) {
    struct Refusing : InspectableServer {
        int briskEvent(int cmdId, const char*, unsigned int, const int*) override {
            seen.push_back(cmdId);
            return 9;
        }
        std::vector<int> seen;
    } server;
    EXPECT_EQ(server.init(), 9);
    EXPECT_EQ(server.seen, std::vector<int>{5376});
    EXPECT_FALSE(server.mInited) << "a refused default group undoes init";
    EXPECT_EQ(server.mPlatPtr, nullptr);
}

TEST_F(BriskServerTest, EventsAreRoutedByIdRangeAndDuration) {
    auto server = startServer();
    EXPECT_EQ(event(*server, 100, {7}), 0);
    EXPECT_EQ(server->briskEvent(100, "", 3, nullptr), 0);
    EXPECT_EQ(event(*server, 101, {}), 0);
    EXPECT_EQ(event(*server, 102, {}), 0) << "a negative duration does nothing";
    EXPECT_EQ(event(*server, 103, {}), 0) << "a command without steps does nothing";
    EXPECT_EQ(event(*server, 20226, {}), 0) << "ids above 20225 are ignored";
    EXPECT_EQ(recordLines(),
              (Lines{"doAction cmd=100 duration=30 len=1 payload=7 pairs=10:1 name=io_boost",
                     "doAction cmd=100 duration=30 len=3 payload=null pairs=10:1 name=io_boost",
                     "doSchedLevelAction 51:-100 52:-100 53:10 54:-100 55:-100 56:-100 57:-100 "
                     "58:-100"}))
        << "timed steps reach doAction with the host's length and payload (null is none), "
           "steps without duration the scheduling manager";

    EXPECT_EQ(event(*server, 9999, {}), 2);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "briskEvent doParse failed! cmdId=9999, errno=1"));
    EXPECT_EQ(event(*server, -5, {}), 2) << "negative ids are plain events";

    SimDevice::instance().failNext(Op::DoAction, -4);
    EXPECT_EQ(event(*server, 100, {}), 3);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "briskEvent doAction failed! cmdId=100"));
}

TEST_F(BriskServerTest, OnOffEventsGoStraightToThePlatformOrAreRefusedWhole) {
    std::string pairs;
    for (int tag = 200; tag < 244; ++tag) {
        pairs += "<tag_" + std::to_string(tag) + ">1</tag_" + std::to_string(tag) + ">";
    }
    TempConfig wide =
        TempConfig::withCommands(fullTestConfig() + "<c id=\"12400\"><s>" + pairs + "</s></c>");
    auto server = startServer();
    EXPECT_EQ(event(*server, 12303, {0}), 0);
    EXPECT_EQ(event(*server, 12301, {0}), 0);
    EXPECT_EQ(recordLines(),
              (Lines{"doAction cmd=12303 duration=0 len=1 payload=0 pairs=10:1 name=fan_only",
                     "doAction cmd=12301 duration=50 len=1 payload=0 pairs=8:500000 "
                     "name=timed_onoff"}))
        << "platform-only steps and timed steps go straight to doAction";
    SimDevice::instance().clearRecord();

    EXPECT_EQ(event(*server, 12300, {1}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid special scene parameters, cmdId is 12300"))
        << "the scene message is reused for on/off payloads";
    EXPECT_EQ(event(*server, 12300, {0, 0}), -1);
    EXPECT_EQ(event(*server, 12300, {}), -1);
    EXPECT_EQ(event(*server, 12302, {0}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid parameters, cmdId is 12302"));
    EXPECT_EQ(event(*server, 12400, {0}), -1) << "more than 43 frequency pairs";
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid parameters, cmdId is 12400"));
    EXPECT_TRUE(recordLines().empty());

    SimDevice::instance().failNext(Op::SetConfig, 4);
    EXPECT_EQ(event(*server, 12300, {0}), 4) << "the frequency result is or-ed with the platform's";
}

// Each step: the scene event, its payload, the scene actions it causes, the rule.
TEST_F(BriskServerTest, ScenesDisplaceByPriorityAndGovernorScenesRunBesideTheirBase) {
    auto server = startServer();
    struct Step {
        int cmdId, payload;
        const char* actions;
        const char* rule;
    };
    const Step steps[] = {
        {4118, 0, "4118:0", ""},
        {4123, 0, "", "equal priority does not displace"},
        {4119, 0, "4118:-1 4119:0", "the old scene ends, then the new begins"},
        {4119, -1, "4119:-1 4118:0", "the best remaining scene, smallest id on a tie"},
        {4123, -1, "", "ending a waiting scene touches nothing"},
        {4119, 0, "4118:-1 4119:0", ""},
        {4230, 0, "4230:0", "a weaker governor scene applies beside the governor base"},
        {4231, 0, "4231:0", ""},
        {4230, 0, "4231:0", "a weaker governor scene re-applies the strongest one"},
        {4231, -1, "4230:0", "ending one applies the next best governor scene"},
        {4232, 0, "4119:-1 4232:0", "a governor scene above 4119 displaces it"},
    };
    for (const Step& s : steps) {
        EXPECT_EQ(event(*server, s.cmdId, {s.payload}), 0) << s.cmdId << ": " << s.rule;
        EXPECT_EQ(sceneActions(), s.actions) << s.cmdId << " " << s.payload << ": " << s.rule;
    }
    EXPECT_EQ(server->mCurSceneCmdId, 4232);

    EXPECT_EQ(event(*server, 20224, {}), 0);
    EXPECT_EQ(sceneActions(), "4232:-1") << "a client restart ends the applied scene";
    EXPECT_TRUE(server->mSceneSet.empty()) << "and forgets the waiting ones";
    EXPECT_EQ(server->mCurSceneCmdId, 0);
}

TEST_F(BriskServerTest, ScenesWithoutAUsablePriorityOrPayloadAreRefused) {
    auto server = startServer();
    for (int cmdId : {4122, 4124, 4352}) {
        EXPECT_EQ(event(*server, cmdId, {0}), -1) << cmdId;
        EXPECT_TRUE(log.has(ANDROID_LOG_ERROR,
                            "invalid special scene priority, cmdId is " + std::to_string(cmdId)));
    }
    EXPECT_EQ(server->mPriorityMap.count(4122), 1u) << "a look-up inserts the id with 0";
    EXPECT_EQ(event(*server, 4118, {5}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid special scene parameters, cmdId is 4118"));
    EXPECT_TRUE(recordLines().empty());
}

// The logged pairs, the frequency and tag-40/42 routes and a failed write are in
// the golden transcripts; these are the refusals and the switch around them.
TEST_F(BriskServerTest, ClientRequestsGoToTheManagerTheirTagsNameOrAreRefused) {
    auto server = startServer();
    TagValues sched({{42, (3 << 16) + 30}, {5, 1}});
    EXPECT_EQ(server->briskSetConfig(2, 2, sched.tags.data(), sched.values.data()), -1)
        << "tag 42 sends the whole request to the scheduling manager, which refuses tag 5";
    EXPECT_TRUE(
        log.has(ANDROID_LOG_ERROR, "briskSetConfig doPerfSetSchedLevel failed! clientId=2"));
    EXPECT_TRUE(recordLines().empty());
    EXPECT_EQ(server->briskSetConfig(1, 2, nullptr, nullptr), -1);
    int tags[1] = {22};
    EXPECT_EQ(server->briskGetConfig(-1, tags, tags), -1);
    EXPECT_EQ(server->briskGetConfig(1, nullptr, tags), -1);

    ServiceStatus status;
    EXPECT_EQ(event(*server, 20225, {}), 0) << "without a value the switch does nothing";
    EXPECT_EQ(event(*server, 20225, {0x1}), 0) << "the value lacks the switch's bit";
    server->readStatus(&status);
    EXPECT_FALSE(status.reportingOn);
    log.clear();
    TagValues reportOn({{10000, 0x10000}});
    EXPECT_EQ(server->briskSetConfig(0, 1, reportOn.tags.data(), reportOn.values.data()), 0);
    EXPECT_TRUE(log.texts().empty()) << "client 0 is never logged";
    server->readStatus(&status);
    EXPECT_TRUE(status.reportingOn);
}

TEST_F(BriskServerTest, DumpAnswersItsOptionsByteForByteAndWarnsOfBadArguments) {
    auto server = startServer();
    EXPECT_EQ(dumpText(*server, {"--help"}),
              "--help: print debug usage\n--logon: open debug log\n--logoff: close debug log\n"
              "--freqlist: print set freq list\n--easgrouplist: print set eas group list\n\n");
    EXPECT_EQ(dumpText(*server, {"--logon"}), "brisk log is ON\n\n");
    event(*server, 100, {});
    EXPECT_TRUE(log.has(ANDROID_LOG_INFO, "briskEvent cmdId=100")) << "verbose while logon";
    EXPECT_EQ(dumpText(*server, {"--logoff"}), "brisk log is OFF\n\n");
    log.clear();
    event(*server, 100, {});
    EXPECT_FALSE(log.has(ANDROID_LOG_INFO, "briskEvent cmdId=100"));
    EXPECT_EQ(dumpText(*server, {"--HELP"}), "invalid parameter!\n\n");
    EXPECT_EQ(dumpText(*server, {std::string(512, 'x')}), "invalid parameter!\n\n");

    log.clear();
    EXPECT_EQ(dumpText(*server, {std::string(513, 'x')}), "");
    server->dumpBriskServerInfo(9999, {"--logon"});
    EXPECT_EQ(log.texts(), (Lines{"W debug parameter is too long!\n", "W invalid dump FD, 9999\n"}))
        << "a long argument or a descriptor that is not open writes nothing";
}

TEST_F(BriskServerTest, ServerCanBeDeletedRightAfterInitOrWhileItsProbeWorkerIsBoosting) {
    for (int i = 0; i < 20; ++i) {
        auto server = std::make_unique<InspectableServer>();
        ASSERT_EQ(server->init(), 0);
    }  // the probe threads live on and must never read a deleted handler

    auto server = startServer();
    SimDevice::instance().setRecording(false);
    const int start[1] = {0};
    for (int tid = 1; tid <= 2000; ++tid) {
        std::string msg = "pid=1|tid=" + std::to_string(tid);
        server->briskEvent(4116, msg.c_str(), 1, start);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    server.reset();  // the worker is mid-pass: it must let go before the platform is freed
    long boosts = SimDevice::instance().callCount(Op::SetProbeTarget);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(SimDevice::instance().callCount(Op::SetProbeTarget), boosts)
        << "a detached worker never reaches the platform again";
}

TEST_F(BriskServerTest, DeleteActionPtrFreesAWholeChain) {
    InspectableServer server;
    EXPECT_EQ(server.deleteActionPtr(nullptr), nullptr);
    Action* head = new Action();
    head->next = new Action();
    head->next->next = new Action();
    EXPECT_EQ(server.deleteActionPtr(head), nullptr) << "leak checkers see the rest";
}

}  // namespace
