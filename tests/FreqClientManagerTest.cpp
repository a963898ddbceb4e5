// Frequency limits: how client and event requests combine into what reaches the
// platform, what the dump shows and what the reporting writes.
#include <gtest/gtest.h>
#include <utils/String8.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "freq/FreqClientManager.h"
#include "platform/BriskPlat.h"
#include "platform/JankLogSink.h"
#include "platform/SimDevice.h"
#include "support/LogCapture.h"

namespace {

constexpr int kDusk = 1;
constexpr int kFern = 2;
constexpr int kMoss = 3;
constexpr int kEventA = 12300;
constexpr int kEventB = 12301;
constexpr int kEventC = 12302;
constexpr int kOn = 0;
constexpr int kOff = -1;

using Pairs = std::vector<std::pair<int, int>>;

class FreqClientManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimDevice::instance().reset();
        plat.reset(getPlat());
        ASSERT_NE(plat, nullptr);
        manager.reset(getFreqClient(plat.get()));
        JankLogSink::setCallback([this](int level, int eventId, const std::string& text) {
            EXPECT_EQ(level, 3);
            EXPECT_EQ(eventId, 361);
            jank.push_back(text);
        });
    }
    void TearDown() override { JankLogSink::reset(); }

    static int send(FreqClientManager& target, int id, const Pairs& pairs, const int* onOff) {
        std::vector<int> tags, values;
        for (const auto& p : pairs) {
            tags.push_back(p.first);
            values.push_back(p.second);
        }
        return target.doPerfSetConfig(id, static_cast<int>(tags.size()), tags.data(), values.data(),
                                      onOff);
    }
    int client(int id, const Pairs& pairs) { return send(*manager, id, pairs, nullptr); }
    int event(int cmdId, const Pairs& pairs, int onOff) {
        return send(*manager, cmdId, pairs, &onOff);
    }
    int enableReporting() { return client(0, {{10000, 0x10000}}); }

    // The setConfig calls that reached the device since the last look.
    std::vector<std::string> takeWrites() {
        std::vector<std::string> writes;
        for (const SimCall& call : SimDevice::instance().record()) {
            if (call.op == SimCall::Op::SetConfig) {
                writes.push_back(call.toString());
            }
        }
        SimDevice::instance().clearRecord();
        return writes;
    }
    // The one write of the last request, as "setConfig tag:value ...".
    std::string takeWrite() {
        std::vector<std::string> writes = takeWrites();
        return writes.size() == 1 ? writes[0] : "(" + std::to_string(writes.size()) + " writes)";
    }

    std::string dump() {
        android::String8 out;
        manager->dumpFreqList(out);
        return std::string(out.c_str());
    }
    // One client's dumped values for tags 2, 5, 8, 17, 18, 19, 20.
    std::vector<int> dumped(const std::string& name) {
        std::istringstream in(dump());
        std::string line;
        std::vector<int> values;
        bool inSection = false;
        while (std::getline(in, line)) {
            if (line.find(" set freq is:") != std::string::npos) {
                inSection = line == name + " set freq is:";
            } else if (inSection) {
                values.push_back(std::stoi(line.substr(line.rfind('=') + 1)));
            }
        }
        return values;
    }

    // The jank records since the last look, without "#ARG1:<" and the time stamp.
    std::vector<std::string> takeReports() {
        std::vector<std::string> bodies;
        for (const std::string& text : jank) {
            EXPECT_EQ(text.rfind("#ARG1:<", 0), 0u) << text;
            EXPECT_GT(text.size(), 22u) << text;
            bodies.push_back(text.substr(std::min<size_t>(text.size(), 22)));
        }
        jank.clear();
        return bodies;
    }

    LogCapture log;
    std::unique_ptr<BriskPlat> plat;
    std::unique_ptr<FreqClientManager> manager;
    std::vector<std::string> jank;
};

const std::vector<int> kNotSet(7, -1);

TEST_F(FreqClientManagerTest, FreshManagerDumpsEveryLimitTagOfEveryClientAsNotSet) {
    std::string section =
        "tag=little cpu max,        value=-1\n"
        "tag=big cpu max,           value=-1\n"
        "tag=gpu max,               value=-1\n"
        "tag=ipa switch temp,       value=-1\n"
        "tag=ipa control temp,      value=-1\n"
        "tag=ipa sustainable power, value=-1\n"
        "tag=fork on big cluster,   value=-1\n";
    EXPECT_EQ(dump(), "DUSK set freq is:\n" + section + "FERN set freq is:\n" + section +
                          "MOSS set freq is:\n" + section);
    EXPECT_TRUE(takeWrites().empty()) << "nothing is read or written at construction";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 0);
}

TEST_F(FreqClientManagerTest, CombineRulesPreferTheLowerPositiveValueAndForkOff) {
    struct Case {
        int a, b, valid, fork;
    };
    const Case cases[] = {
        {5, 3, 3, 3},       {3, 5, 3, 5},  {5, 0, 5, 0},  {5, -1, 5, 5},
        {0, 5, 5, 0},       {0, 0, 0, 0},  {0, -1, 0, 0}, {-1, 0, 0, 0},
        {-1, -1, -1, -1},   {-1, 5, 5, 5}, {1, 1, 1, 1},  {INT_MAX, INT_MIN, INT_MAX, INT_MAX},
        {INT_MIN, 7, 7, 7},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(manager->getValidMinValue(c.a, c.b), c.valid) << c.a << ", " << c.b;
        EXPECT_EQ(manager->getTaskForkMinValue(c.a, c.b), c.fork) << c.a << ", " << c.b;
    }
    std::map<int, int> m;
    EXPECT_EQ(manager->getMinConfig(m), 0);
    m = {{1, 0}, {2, -1}};
    EXPECT_EQ(manager->getMinConfig(m), 0) << "no positive value: no limit";
    m = {{1, 5}, {2, 3}, {3, 0}, {4, INT_MAX}};
    EXPECT_EQ(manager->getMinConfig(m), 3);
    EXPECT_TRUE(manager->isFreqValValid(1, 1));
    EXPECT_TRUE(manager->isFreqValValid(5, 0)) << "a ceiling of 0 is no ceiling";
    EXPECT_TRUE(manager->isFreqValValid(-1, -7));
    EXPECT_FALSE(manager->isFreqValValid(2, 1));
}

TEST_F(FreqClientManagerTest, ClientCeilingsCombineToTheLowestPositiveRequest) {
    ASSERT_EQ(client(kDusk, {{2, 1800000}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1800000");
    ASSERT_EQ(client(kFern, {{2, 1200000}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1200000");
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1200000") << "DUSK lifting its limit leaves FERN's";
    EXPECT_EQ(dumped("DUSK"), (std::vector<int>{0, -1, -1, -1, -1, -1, -1}))
        << "the dump shows each client's raw request, not the combined value";
    EXPECT_EQ(dumped("FERN"), (std::vector<int>{1200000, -1, -1, -1, -1, -1, -1}));

    ASSERT_EQ(client(kMoss, {{2, 1500000}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1200000") << "a higher request does not loosen the limit";
    ASSERT_EQ(client(kFern, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1500000") << "DUSK's 0 does not hide MOSS's limit";
    ASSERT_EQ(client(kMoss, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:0") << "with nobody limiting, 0 is written";

    ASSERT_EQ(client(kDusk, {{19, 5000}, {17, 90}}), 0);
    ASSERT_EQ(client(kMoss, {{19, 3000}, {17, 95}}), 0);
    EXPECT_EQ(takeWrites(),
              (std::vector<std::string>{"setConfig 19:5000 17:90", "setConfig 19:3000 17:90"}))
        << "thermal limits combine like the ceilings";
}

TEST_F(FreqClientManagerTest, ForkOnBigClusterStaysOffWhileAnyClientTurnsItOff) {
    ASSERT_EQ(client(kDusk, {{20, 0}}), 0);
    ASSERT_EQ(client(kFern, {{20, 1}}), 0);
    ASSERT_EQ(client(kMoss, {{20, 1}}), 0);
    EXPECT_EQ(takeWrites(),
              (std::vector<std::string>{"setConfig 20:0", "setConfig 20:0", "setConfig 20:0"}));
    ASSERT_EQ(client(kDusk, {{20, 1}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 20:1") << "on once every client that set it wants it on";

    EXPECT_EQ(client(kFern, {{2, 1000000}, {20, 2}}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid config(2), tag is 20"));
    EXPECT_TRUE(takeWrites().empty()) << "a fork value other than 0 or 1 refuses the request";
    EXPECT_EQ(dumped("FERN"), (std::vector<int>{-1, -1, -1, -1, -1, -1, 1}))
        << "a refused request caches nothing";
}

TEST_F(FreqClientManagerTest, RequestIsWrittenWholeInOneCallInTheCallersOrder) {
    ASSERT_EQ(client(kFern, {{5, 1700000}}), 0);
    takeWrites();
    ASSERT_EQ(client(kDusk, {{99, 5}, {20, 1}, {5, 2000000}, {2, 1000000}, {5, 1500000}, {99, 0}}),
              0);
    EXPECT_EQ(takeWrite(), "setConfig 99:5 20:1 5:1700000 2:1000000 5:1500000 99:0")
        << "other tags pass unchanged; repeated tags are written each time, combined";
    EXPECT_EQ(dumped("DUSK"), (std::vector<int>{1000000, 1500000, -1, -1, -1, -1, 1}))
        << "the last raw value of a repeated tag is kept; tag 99 is not remembered";
    EXPECT_EQ(dumped("DUSK").size(), 7u);

    ASSERT_EQ(client(kDusk, {}), 0);
    EXPECT_EQ(takeWrite(), "setConfig") << "an empty request still reaches the platform";
    EXPECT_EQ(client(kDusk, {{2, INT_MAX}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:2147483647");
}

TEST_F(FreqClientManagerTest, NegativeValuesAndMalformedArraysAreRefusedBeforeAnyWrite) {
    EXPECT_EQ(client(kDusk, {{2, 1000000}, {5, -3}}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid config value(-3)"));
    EXPECT_EQ(client(kDusk, {{5, INT_MIN}}), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid config value(-2147483648)"));
    EXPECT_TRUE(takeWrites().empty());
    EXPECT_EQ(dumped("DUSK"), kNotSet);

    // The combined value of the entries handled before the refusal stays in force
    // for events.
    ASSERT_EQ(event(kEventA, {{2, 1500000}}, kOn), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1000000");

    const int tags[] = {2, 5};
    const int values[] = {1, 1};
    int on = kOn;
    log.clear();
    for (int id : {kDusk, -4, kEventB}) {
        EXPECT_EQ(manager->doPerfSetConfig(id, -1, tags, values, &on), -1) << id;
        EXPECT_EQ(manager->doPerfSetConfig(id, INT_MIN, tags, values, &on), -1) << id;
        EXPECT_EQ(manager->doPerfSetConfig(id, 2, nullptr, values, &on), -1) << id;
        EXPECT_EQ(manager->doPerfSetConfig(id, 2, tags, nullptr, &on), -1) << id;
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "invalid tagLen(-1)"), 3);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "null tags or configs, tagLen is 2"), 6);
    EXPECT_EQ(manager->doPerfSetConfig(kEventB, 2, tags, values, nullptr), -1)
        << "an event without its on/off flag";
    EXPECT_EQ(manager->doPerfSetConfig(0, 1, nullptr, values, nullptr), -1);
    EXPECT_EQ(manager->doPerfSetConfig(0, -1, nullptr, nullptr, nullptr), 0)
        << "the reporting switch reads nothing unless given exactly one entry";
    EXPECT_TRUE(takeWrites().empty());
}

TEST_F(FreqClientManagerTest, FailedWriteOrMissingBackEndKeepsTheClientsLastRequest) {
    ASSERT_EQ(enableReporting(), 0);
    ASSERT_EQ(client(kDusk, {{2, 1800000}}), 0);
    takeWrites();
    takeReports();

    SimDevice::instance().failNext(SimCall::Op::SetConfig, -5);
    EXPECT_EQ(client(kDusk, {{2, 1000000}}), -5) << "the back-end's result is passed on";
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doPerfSetConfig failed!"));
    EXPECT_TRUE(takeReports().empty()) << "a failed write is not reported";
    EXPECT_EQ(dumped("DUSK")[0], 1800000) << "the cached request is not replaced";
    ASSERT_EQ(client(kFern, {{2, 1900000}}), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 2:1800000") << "FERN combines with DUSK's 1800000";

    delete plat->mPerf;
    plat->mPerf = nullptr;
    log.clear();
    EXPECT_EQ(client(kMoss, {{2, 900000}}), -1);
    EXPECT_EQ(event(kEventA, {{2, 900000}}, kOn), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "doPerfSetConfig failed!"), 2);
    EXPECT_EQ(manager->readMaxFreq(), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "getConfig failed!"));
    EXPECT_EQ(dumped("MOSS"), kNotSet);

    std::unique_ptr<FreqClientManager> orphan(getFreqClient(nullptr));
    EXPECT_EQ(send(*orphan, kDusk, {{2, 1}}, nullptr), -1) << "no platform is a failure";
    int on = kOn;
    EXPECT_EQ(send(*orphan, kEventA, {{2, 1}}, &on), -1);
}

TEST_F(FreqClientManagerTest, UnknownClientIsWrittenUnderTheEventCeilingButNotRemembered) {
    ASSERT_EQ(event(kEventA, {{2, 900000}}, kOn), 0);
    takeWrites();
    EXPECT_EQ(client(-2, {{2, 1000000}, {17, 50}, {99, 1}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:900000 17:50 99:1");
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "invalid clientId is -2"), 3)
        << "once per limit tag and once when caching";
    EXPECT_EQ(dumped("DUSK"), kNotSet);
    EXPECT_EQ(dumped("FERN"), kNotSet);
    EXPECT_EQ(dumped("MOSS"), kNotSet);
}

TEST_F(FreqClientManagerTest, EventCeilingsCapClientRequestsAndClientsCapEvents) {
    ASSERT_EQ(client(kDusk, {{2, 1000000}}), 0);
    ASSERT_EQ(event(kEventA, {{2, 1400000}}, kOn), 0);
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    ASSERT_EQ(client(kDusk, {{2, 1200000}}), 0);
    EXPECT_EQ(takeWrites(),
              (std::vector<std::string>{"setConfig 2:1000000", "setConfig 2:1000000",
                                        "setConfig 2:1400000", "setConfig 2:1200000"}))
        << "the lower of the clients' and the events' ceilings is written";

    ASSERT_EQ(event(kEventB, {{2, 1300000}}, kOn), 0);
    ASSERT_EQ(event(kEventA, {{2, 1400000}}, kOff), 0);
    ASSERT_EQ(event(kEventB, {{2, 1300000}}, kOff), 0);
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    EXPECT_EQ(takeWrites(), (std::vector<std::string>{"setConfig 2:1200000", "setConfig 2:1200000",
                                                      "setConfig 2:1200000", "setConfig 2:0"}))
        << "events that went off no longer count";

    ASSERT_EQ(event(kEventC, {{1, 1500000}, {7, 500000}}, kOn), 0);
    ASSERT_EQ(client(kDusk, {{2, 1000000}, {8, 400000}}), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 2:1000000 8:400000")
        << "event floors are not applied to client requests";
}

TEST_F(FreqClientManagerTest, EventFloorsTakeTheHighestAndCeilingsTheLowestOfTheOthers) {
    ASSERT_EQ(event(kEventA, {{1, 1500000}, {5, 2000000}}, kOn), 0);
    ASSERT_EQ(event(kEventB, {{1, 1200000}, {5, 2200000}}, kOn), 0);
    ASSERT_EQ(event(kEventA, {{1, 1500000}, {5, 2000000}}, kOff), 0);
    ASSERT_EQ(event(kEventB, {{1, 1200000}, {5, 2200000}}, kOff), 0);
    EXPECT_EQ(takeWrites(), (std::vector<std::string>{
                                "setConfig 1:1500000 5:2000000", "setConfig 1:1500000 5:2000000",
                                "setConfig 1:1200000 5:2200000", "setConfig 1:0 5:0"}));

    ASSERT_EQ(event(kEventA, {{5, 1000000}}, kOn), 0);
    ASSERT_EQ(event(kEventA, {{5, 1500000}}, kOn), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 5:1500000")
        << "an event switched on again replaces its own value";

    ASSERT_EQ(event(kEventC, {{1, 1}, {2, 1}, {4, 1}, {7, 1}, {8, 1}}, kOn), 0);
    ASSERT_EQ(event(kEventC, {{1, 1}, {2, 1}, {4, 1}, {7, 1}, {8, 1}}, kOff), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 1:0 2:0 4:0 7:0 8:0");

    // A value other than on or off is computed as off but leaves the records alone.
    ASSERT_EQ(event(kEventA, {{5, 1500000}}, 1), 0);
    EXPECT_EQ(takeWrite(), "setConfig 5:0");
    ASSERT_EQ(client(kDusk, {{5, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 5:1500000") << "event A still holds its ceiling";
}

TEST_F(FreqClientManagerTest, FloorAboveItsCeilingIsRefusedAndNotRecorded) {
    ASSERT_EQ(event(kEventA, {{5, 1800000}}, kOn), 0);
    takeWrites();
    EXPECT_EQ(event(kEventB, {{4, 2000000}, {5, 2200000}}, kOn), -1);
    EXPECT_TRUE(log.has(ANDROID_LOG_INFO,
                        "freq is invalid(min > freq), cmdId is 12301, (l_cpu(0,0), b_cpu(2000000, "
                        "1800000), gpu(0, 0))"));
    EXPECT_TRUE(takeWrites().empty());
    ASSERT_EQ(event(kEventC, {{4, 1000000}}, kOn), 0);
    EXPECT_EQ(takeWrite(), "setConfig 4:1000000") << "the refused event's floor was not recorded";

    ASSERT_EQ(event(kEventB, {{4, 2000000}}, kOn), 0);
    ASSERT_EQ(event(kEventB, {{4, 2000000}, {5, 0}}, kOn), 0);
    EXPECT_EQ(takeWrites(),
              (std::vector<std::string>{"setConfig 4:2000000", "setConfig 4:2000000 5:0"}))
        << "an unnamed ceiling and a ceiling of 0 both count as no ceiling";

    ASSERT_EQ(client(kDusk, {{8, 500000}}), 0);
    EXPECT_EQ(event(kEventC, {{7, 600000}, {8, 700000}}, kOn), -1)
        << "the clients' combined ceiling counts against an event's floor";
    EXPECT_TRUE(log.has(ANDROID_LOG_INFO,
                        "freq is invalid(min > freq), cmdId is 12302, (l_cpu(0,0), b_cpu(0, 0), "
                        "gpu(600000, 500000))"));
    log.clear();
    EXPECT_EQ(event(kEventC, {{8, 700000}, {7, 600000}, {2, 900000}, {1, 1000000}}, kOn), -1);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{
                  "I freq is invalid(min > freq), cmdId is 12302, (l_cpu(1000000,900000), "
                  "b_cpu(0, 0), gpu(600000, 500000))"})
        << "one line for the first failing pair, carrying all six values";
}

TEST_F(FreqClientManagerTest, EventGoingOffIsClearedEvenWhenItsWriteIsRefused) {
    ASSERT_EQ(event(kEventA, {{2, 1000000}}, kOn), 0);
    ASSERT_EQ(event(kEventB, {{1, 1500000}}, kOn), 0);
    ASSERT_EQ(event(kEventC, {{2, 1200000}}, kOn), 0);
    takeWrites();
    EXPECT_EQ(event(kEventA, {{1, 5}, {2, 1000000}}, kOff), -1)
        << "floor 1500000 of B over ceiling 1200000 of C";
    EXPECT_TRUE(takeWrites().empty());
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:1200000") << "A's ceiling no longer counts";
}

TEST_F(FreqClientManagerTest, EventRequestsNameOnlyFrequencyTagsAndAreNotSignChecked) {
    for (int tag : {17, 3, 9, 0, -1, 10000}) {
        EXPECT_EQ(event(kEventA, {{2, 1000000}, {tag, 1}}, kOn), -1) << tag;
    }
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid tag 17, cmdId is 12300"));
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "invalid tag -1, cmdId is 12300"));
    EXPECT_TRUE(takeWrites().empty());
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:0") << "a refused event recorded nothing";

    ASSERT_EQ(event(kEventA, {}, kOn), 0);
    EXPECT_EQ(takeWrite(), "setConfig") << "an empty event still reaches the platform";

    ASSERT_EQ(client(kDusk, {{5, 1500000}}), 0);
    ASSERT_EQ(event(kEventA, {{2, -1}, {5, 0}, {8, INT_MIN}, {1, INT_MAX}}, kOn), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 2:-1 5:0 8:-2147483648 1:2147483647")
        << "an event's own ceiling is written as asked while on, over a client's limit";

    SimDevice::instance().failNext(SimCall::Op::SetConfig, -5);
    EXPECT_EQ(event(kEventB, {{8, 600000}}, kOn), -5);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doPerfSetConfig failed!"));
    ASSERT_EQ(client(kDusk, {{8, 0}}), 0);
    EXPECT_EQ(takeWrites().back(), "setConfig 8:600000")
        << "an event going on is recorded even when its write fails";
}

TEST_F(FreqClientManagerTest, ReportingRunsOnceSwitchedOnAndShowsWhatWasWritten) {
    ASSERT_EQ(client(kDusk, {{2, 1800000}}), 0);
    EXPECT_TRUE(jank.empty()) << "reporting starts switched off";
    for (const Pairs& notTheSwitch :
         {Pairs{{10000, 0x1}}, Pairs{{10000, 0x10000}, {2, 1}}, Pairs{{9999, 0x10000}}, Pairs{}}) {
        EXPECT_EQ(client(0, notTheSwitch), 0);
    }
    ASSERT_EQ(client(kDusk, {{2, 1800000}}), 0);
    EXPECT_TRUE(jank.empty()) << "only tag 10000 alone with bit 0x10000 switches reporting on";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 0);

    takeWrites();
    ASSERT_EQ(client(0, {{10000, 0x10001}}), 0);
    EXPECT_TRUE(takeWrites().empty()) << "the switch writes nothing";
    ASSERT_EQ(client(kDusk, {{2, 1800000}}), 0);
    EXPECT_EQ(takeReports(), std::vector<std::string>{"1,1800,,,4>"});
    ASSERT_EQ(client(kFern, {{5, 2000000}, {99, 1}}), 0);
    ASSERT_EQ(client(0, {{10000, 0}}), 0);
    ASSERT_EQ(client(kDusk, {{2, 2000000}}), 0);
    EXPECT_EQ(takeReports(), (std::vector<std::string>{"3,,2000,,6>", "3,-1,,,2>"}))
        << "reporting is never switched off again";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 1)
        << "the hardware maxima are read once";

    ASSERT_EQ(event(kEventA, {{2, 1000000}}, kOn), 0);
    EXPECT_TRUE(jank.empty()) << "events report nothing";
    ASSERT_EQ(client(kDusk, {{2, 1900000}}), 0);
    ASSERT_EQ(client(kFern, {{5, 0}}), 0);
    ASSERT_EQ(client(kDusk, {{2, 2000000}}), 0);
    EXPECT_EQ(takeReports(), (std::vector<std::string>{"3,1000,,,6>", "3,,-1,,4>", "2,1000,,,0>"}))
        << "the bits follow the raw requests, the fields the values written";
}

TEST_F(FreqClientManagerTest, FailedReadOfTheHardwareMaximaSkipsReportingUntilItWorks) {
    ASSERT_EQ(enableReporting(), 0);
    SimDevice::instance().failNext(SimCall::Op::GetConfig, -3);
    EXPECT_EQ(client(kDusk, {{2, 1800000}}), 0) << "the request itself succeeded";
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "getConfig failed!"));
    EXPECT_EQ(takeWrite(), "setConfig 2:1800000");
    EXPECT_EQ(dumped("DUSK")[0], 1800000);
    EXPECT_TRUE(jank.empty());

    SimDevice::instance().setValue(24, 1900000);
    ASSERT_EQ(client(kFern, {{5, 1800000}}), 0);
    EXPECT_EQ(takeReports(), std::vector<std::string>{"1,,1800,,2>"})
        << "the read is retried; DUSK's unreported request never set its bit";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 2);
    ASSERT_EQ(client(kMoss, {{5, 1900000}}), 0);
    EXPECT_EQ(takeReports(), std::vector<std::string>{"3,,1800,,2>"})
        << "the maxima come from the device: MOSS at the big maximum does not limit";
}

TEST_F(FreqClientManagerTest, ConcurrentClientsAndEventsAreSerialised) {
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int id : {kDusk, kFern, kMoss}) {
        threads.emplace_back([this, id, &failures] {
            for (int i = 0; i < kRounds; ++i) {
                failures[id] += client(id, {{2, 1000000 * id + i}, {17 + id % 2, i}}) != 0;
            }
        });
    }
    threads.emplace_back([this, &failures] {
        for (int i = 0; i < kRounds; ++i) {
            failures[0] +=
                event(kEventA, {{2, 500000 + i}, {1, 100}}, i % 2 == 0 ? kOn : kOff) != 0;
        }
    });
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(failures, std::vector<int>(4, 0));
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::SetConfig), 4 * kRounds);
    EXPECT_EQ(dumped("DUSK")[0], 1000000 + kRounds - 1);
    EXPECT_EQ(dumped("FERN")[0], 2000000 + kRounds - 1);
    EXPECT_EQ(dumped("MOSS")[0], 3000000 + kRounds - 1);
    takeWrites();
    ASSERT_EQ(client(kDusk, {{2, 0}}), 0);
    EXPECT_EQ(takeWrite(), "setConfig 2:" + std::to_string(2000000 + kRounds - 1))
        << "the event went off last and the clients' state is consistent";
}

}  // namespace
