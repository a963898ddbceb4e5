// Several host threads drive one service at once while the probe thread runs
// and a status view is read: no crash, no race, and a final state that adds up.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"
#include "tests/support/ServerHarness.h"

namespace {

using Op = SimCall::Op;

class ServerStressTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimDevice::instance().reset();
        JankLogSink::setCallback([](int, int, const std::string&) {});
    }
    void TearDown() override { JankLogSink::reset(); }
    TempConfig cfg = TempConfig::withCommands(fullTestConfig());
};

// One host thread: client `client` sends events, requests and dumps in a loop and
// ends with its own frequency limit `finalLimit` and every scene it began ended.
void hostThread(InspectableServer& server, int client, int finalLimit, int rounds) {
    int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int begin[1] = {0};
    const int end[1] = {-1};
    const int scenes[3] = {4118, 4123, 4230};
    const std::string probeMsg =
        "pid=" + std::to_string(client) + "|tid=" + std::to_string(1000 + client);
    for (int i = 0; i < rounds; ++i) {
        int scene = scenes[(i + client) % 3];
        server.briskEvent(scene, "", 1, begin);
        server.briskEvent(12300, "", 1, begin);
        server.briskEvent(101, "", 0, nullptr);
        server.briskEvent(4116, probeMsg.c_str(), 1, begin);
        int tags[2] = {2, 40};
        int values[2] = {1000000 + i, 1 + (i % 2)};
        server.briskSetConfig(client, 1, tags, values);
        server.briskSetConfig(client, 1, tags + 1, values + 1);
        int read[1] = {22};
        int out[1] = {0};
        server.briskGetConfig(1, read, out);
        server.dumpBriskServerInfo(devNull, {i % 2 == 0 ? "--freqlist" : "--easgrouplist"});
        if (i % 10 == 0) {
            server.dumpBriskServerInfo(devNull, {i % 20 == 0 ? "--logon" : "--logoff"});
        }
        server.briskEvent(4116, probeMsg.c_str(), 1, end);
        server.briskEvent(12300, "", 1, end);
        server.briskEvent(scene, "", 1, end);
    }
    int tags[1] = {2};
    int values[1] = {finalLimit};
    server.briskSetConfig(client, 1, tags, values);
    close(devNull);
}

TEST_F(ServerStressTest, ConcurrentHostsLeaveAConsistentService) {
    InspectableServer server;
    ASSERT_EQ(server.init(), 0);
    const int rounds = 150;
    std::vector<std::thread> hosts;
    for (int client = 1; client <= 3; ++client) {
        hosts.emplace_back(hostThread, std::ref(server), client, 1500000 + client, rounds);
    }
    int restart[1] = {0};
    for (int i = 0; i < rounds / 10; ++i) {
        server.briskEvent(20224, "", 1, restart);
        // A status view in the middle of it all reads every part.
        ServiceStatus status;
        server.readStatus(&status);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    server.dumpBriskServerInfo(open("/dev/null", O_WRONLY | O_CLOEXEC), {"--logoff"});

    // Every scene that began also ended, whatever the restarts did in between.
    EXPECT_EQ(server.mCurSceneCmdId, 0) << "no scene may stay applied once all ended";
    EXPECT_TRUE(server.mSceneSet.empty());

    // The status view agrees, and changes nothing (not even the priority map,
    // whose every look-up on the scene path inserts).
    const size_t priorities = server.mPriorityMap.size();
    ServiceStatus status;
    server.readStatus(&status);
    EXPECT_EQ(server.mPriorityMap.size(), priorities) << "the status view inserted priorities";
    EXPECT_EQ(status.appliedScene, 0);
    EXPECT_TRUE(status.activeScenes.empty());
    ASSERT_EQ(status.clients.size(), 3u);
    for (const ServiceStatus::ClientLimits& client : status.clients) {
        ASSERT_FALSE(client.limits.empty());
        EXPECT_EQ(client.limits[0].tag, 2);
        EXPECT_EQ(client.limits[0].value, 1500000 + client.clientId);
    }

    SimDevice::instance().clearRecord();
    int tags[1] = {2};
    int values[1] = {0};
    ASSERT_EQ(server.briskSetConfig(1, 1, tags, values), 0);
    EXPECT_EQ(recordLines(Op::SetConfig), std::vector<std::string>{"setConfig 2:1500002"})
        << "the lowest ceiling of the other clients is what remains written";

    const int begin[1] = {0};
    const int end[1] = {-1};
    EXPECT_EQ(server.briskEvent(4116, "pid=7|tid=77", 1, begin), 0);
    EXPECT_EQ(server.briskEvent(4116, "pid=7|tid=77", 1, end), 0)
        << "the probe path still answers after the storm";
}

}  // namespace
