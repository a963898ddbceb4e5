// Frequency limits: how client and event requests combine into what reaches the
// platform, what is refused, what the dump shows and when the reporting runs.
#include <gtest/gtest.h>
#include <utils/String8.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "freq/FreqClientManager.h"
#include "platform/BriskPlat.h"
#include "platform/sim/JankLogSink.h"
#include "platform/sim/SimDevice.h"
#include "tests/support/ServerHarness.h"

namespace {

constexpr int kDusk = 1;
constexpr int kFern = 2;
constexpr int kMoss = 3;
constexpr int kEventA = 12300;
constexpr int kEventB = 12301;
constexpr int kEventC = 12302;
constexpr int kOn = 0;
constexpr int kOff = -1;
const char* const kNoWrite = "0 writes";
const char* const kRefused = "(refused)";  // the request returns -1 and writes nothing

using Pairs = std::vector<std::pair<int, int>>;

// A request (an event's when id is a cmdId) and the one write it must cause.
struct Step {
    int id;
    Pairs pairs;
    std::string write;  // "tag:value ...", or kRefused
    const char* rule = "";
    int onOff = kOn;
};

class FreqClientManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimDevice::instance().reset();
        plat.reset(getPlat());
        manager.reset(getFreqClient(plat.get()));
        // Records without "#ARG1:<" and the time stamp, which FreqInfoUploadTest pins.
        JankLogSink::setCallback([this](int, int, const std::string& text) {
            reports.push_back(std::string(text).erase(0, 22));
        });
    }
    void TearDown() override { JankLogSink::reset(); }

    int request(int id, const Pairs& pairs, int onOff = kOn) {
        TagValues r(pairs);
        return manager->doPerfSetConfig(id, r.size(), r.tags.data(), r.values.data(), &onOff);
    }
    void run(const std::vector<Step>& steps) {
        for (size_t i = 0; i < steps.size(); ++i) {
            const Step& s = steps[i];
            bool refused = s.write == kRefused;
            EXPECT_EQ(request(s.id, s.pairs, s.onOff), refused ? -1 : 0)
                << "step " << i << ": " << s.rule;
            EXPECT_EQ(takeWrite(), refused ? kNoWrite : s.write) << "step " << i << ": " << s.rule;
        }
    }
    // The one setConfig since the last look, as "tag:value ...".
    std::string takeWrite() {
        std::vector<std::string> writes = recordLines(SimCall::Op::SetConfig);
        SimDevice::instance().clearRecord();
        return writes.size() == 1 ? writes[0].erase(0, 10)  // "setConfig 2:1 5:3"
                                  : std::to_string(writes.size()) + " writes";
    }
    std::string dump() {
        android::String8 out;
        manager->dumpFreqList(out);
        return std::string(out.c_str());
    }
    // One client's dumped values for tags 2, 5, 8, 17, 18, 19, 20.
    std::vector<int> dumped(const std::string& name) {
        std::string text = dump();
        std::istringstream in(text.substr(text.find(name + " set freq is:\n")));
        std::string line;
        std::vector<int> values;
        std::getline(in, line);
        while (std::getline(in, line) && line.rfind("tag=", 0) == 0) {
            values.push_back(std::stoi(line.substr(line.rfind('=') + 1)));
        }
        return values;
    }
    std::vector<std::string> takeReports() { return std::exchange(reports, {}); }

    LogCapture log;
    std::unique_ptr<BriskPlat> plat;
    std::unique_ptr<FreqClientManager> manager;
    std::vector<std::string> reports;
};

TEST_F(FreqClientManagerTest, CombineRulesPreferTheLowerPositiveValueAndForkOff) {
    // a, b, getValidMinValue(a, b), getTaskForkMinValue(a, b)
    const int cases[][4] = {{5, 3, 3, 3},  {3, 5, 3, 5},     {4, 4, 4, 4}, {5, 0, 5, 0},
                            {5, -1, 5, 5}, {0, 5, 5, 0},     {0, 0, 0, 0}, {0, -1, 0, 0},
                            {-1, 0, 0, 0}, {-1, -1, -1, -1}, {-1, 5, 5, 5}};
    for (const auto& c : cases) {
        EXPECT_EQ(manager->getValidMinValue(c[0], c[1]), c[2])
            << "lower positive wins, 0 beats not set: " << c[0] << ", " << c[1];
        EXPECT_EQ(manager->getTaskForkMinValue(c[0], c[1]), c[3])
            << "fork: off (0) wins, not set yields: " << c[0] << ", " << c[1];
    }
}

// How ceilings combine across the clients, and that the dump shows each client's
// raw request, are in the golden transcript thermal-limits.
TEST_F(FreqClientManagerTest, ClientRequestIsWrittenWholeInItsOrderWithLimitTagsCombined) {
    run({
        {kDusk, {{19, 5000}, {17, 90}}, "19:5000 17:90"},
        {kMoss, {{19, 3000}, {17, 95}}, "19:3000 17:90", "thermal limits combine like ceilings"},
        {kDusk, {{20, 0}}, "20:0"},
        {kFern, {{20, 1}}, "20:0", "fork stays off while any client turns it off"},
        {kDusk, {{20, 1}}, "20:1", "fork on once every client that set it wants it on"},
        {kFern, {{5, 17}}, "5:17"},
        {kDusk,
         {{99, 5}, {20, 1}, {5, 20}, {2, 10}, {5, 15}},
         "99:5 20:1 5:17 2:10 5:15",
         "other tags pass unchanged; a repeated tag is written each time, combined"},
        {kDusk, {}, "", "an empty request still reaches the platform"},
    });
    EXPECT_EQ(dumped("DUSK"), (std::vector<int>{10, 15, -1, 90, -1, 5000, 1}))
        << "the last raw value of a repeated tag is kept; tag 99 is not remembered";
}

TEST_F(FreqClientManagerTest, RefusedRequestsNameTheirFaultAndUnknownClientsAreNotRemembered) {
    const std::string fresh = dump();
    const Step refusals[] = {
        // each rule is the message that names the fault
        {kDusk, {{2, 1000000}, {5, -1}}, kRefused, "invalid config value(-1)"},
        {kFern, {{2, 1000000}, {20, 2}}, kRefused, "invalid config(2), tag is 20"},
        {kEventA, {{2, 1000000}, {17, 1}}, kRefused, "invalid tag 17, cmdId is 12300"},
        {kEventA, {{3, 1}}, kRefused, "invalid tag 3, cmdId is 12300"},
        {kEventA, {{-1, 1}}, kRefused, "invalid tag -1, cmdId is 12300"},
    };
    for (const Step& refusal : refusals) {
        run({refusal});
        EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, refusal.rule)) << refusal.rule;
    }
    run({
        {kEventB, {{2, 1500000}}, "2:1000000", "combined values before a refusal stay in force"},
        {-2, {{2, 1600000}, {17, 50}, {99, 1}}, "2:1500000 17:50 99:1", "unknown id: capped"},
    });
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "invalid clientId is -2"), 3)
        << "once per limit tag and once when caching";
    EXPECT_EQ(dump(), fresh) << "refused requests and unknown clients are not remembered";
    run({{kDusk, {{2, 0}}, "2:1500000", "the refused event recorded no ceiling"}});

    const int tags[] = {2, 5};
    int on = kOn;
    for (int id : {kDusk, kEventC}) {
        EXPECT_EQ(manager->doPerfSetConfig(id, -1, tags, tags, &on), -1) << id;
        EXPECT_EQ(manager->doPerfSetConfig(id, 2, nullptr, tags, &on), -1) << id;
    }
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "invalid tagLen(-1)"), 2);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "null tags or configs, tagLen is 2"), 2);
    EXPECT_EQ(manager->doPerfSetConfig(kEventC, 2, tags, tags, nullptr), -1) << "no on/off flag";
    EXPECT_EQ(takeWrite(), kNoWrite);
}

TEST_F(FreqClientManagerTest, FailedOrMissingBackEndKeepsTheLastAcceptedRequests) {
    ASSERT_EQ(request(0, {{10000, 0x10000}}), 0);
    run({{kDusk, {{2, 1800000}}, "2:1800000"}});
    takeReports();
    SimDevice::instance().failNext(SimCall::Op::SetConfig, -5, 2);
    EXPECT_EQ(request(kDusk, {{2, 1000000}}), -5) << "the back-end's result is passed on";
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doPerfSetConfig failed!"));
    EXPECT_TRUE(takeReports().empty()) << "a failed write is not reported";
    EXPECT_EQ(request(kEventA, {{8, 600000}}), -5);
    takeWrite();
    run({
        {kFern, {{2, 1900000}}, "2:1800000", "DUSK's failed request left its last accepted one"},
        {kDusk, {{8, 0}}, "8:600000", "an event going on is recorded even when its write fails"},
    });

    delete plat->mPerf;
    plat->mPerf = nullptr;
    log.clear();
    EXPECT_EQ(request(kMoss, {{2, 900000}}), -1);
    EXPECT_EQ(request(kEventB, {{2, 900000}}), -1);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "doPerfSetConfig failed!"), 2) << "no back-end";
}

TEST_F(FreqClientManagerTest, EventsCombineWithEachOtherAndWithTheClients) {
    run({
        {kDusk, {{2, 1000000}}, "2:1000000"},
        {kEventA, {{2, 1400000}}, "2:1000000", "the clients' combined ceiling caps an event"},
        {kDusk, {{2, 0}}, "2:1400000", "an event's ceiling caps a client lifting its limit"},
        {kDusk, {{2, 1200000}}, "2:1200000", "the lower of client and event ceilings"},
        {kEventA, {{2, 1400000}}, "2:1200000", "", kOff},
        {kDusk, {{2, 0}}, "2:0", "an event that went off no longer counts"},

        {kEventA, {{1, 1500000}, {5, 2000000}}, "1:1500000 5:2000000"},
        {kEventB, {{1, 1200000}, {5, 2200000}}, "1:1500000 5:2000000"},
        {kEventC, {{1, 1000000}, {5, 2400000}}, "1:1500000 5:2000000", "highest floor, lowest cap"},
        {kEventA, {{1, 1500000}, {5, 2000000}}, "1:1200000 5:2200000", "the others' stay", kOff},
        {kEventB, {{1, 1200000}, {5, 2200000}}, "1:1000000 5:2400000", "", kOff},
        {kEventC, {{1, 1000000}, {5, 2400000}}, "1:0 5:0", "the last event off writes 0", kOff},
        {kEventA, {{5, 1000000}}, "5:1000000"},
        {kEventA, {{5, 1500000}}, "5:1500000", "an event switched on again replaces its value"},
        {kEventA, {{5, 1500000}}, "5:0", "a flag other than on or off is computed as off", 1},
        {kDusk, {{5, 0}}, "5:1500000", "... but leaves the event's records alone"},

        {kEventC, {{1, 1500000}, {7, 500000}}, "1:1500000 7:500000"},
        {kDusk, {{2, 1000000}, {8, 400000}}, "2:1000000 8:400000", "event floors spare clients"},
        {kEventB, {{2, -1}, {8, 0}}, "2:-1 8:0", "an event's own ceiling is written as asked"},
        {kEventB, {}, "", "an empty event still reaches the platform"},
    });
}

TEST_F(FreqClientManagerTest, FloorAboveItsCeilingIsRefusedButAnEventGoingOffIsCleared) {
    run({
        {kEventA, {{5, 1800000}}, "5:1800000"},
        {kEventB, {{4, 2000000}, {5, 2200000}}, kRefused, "floor over another event's ceiling"},
        {kEventC, {{4, 1000000}}, "4:1000000", "the refused floor was not recorded"},
        {kEventB, {{4, 2000000}}, "4:2000000", "an unnamed ceiling counts as none"},
        {kEventB, {{4, 2000000}, {5, 0}}, "4:2000000 5:0", "a ceiling of 0 counts as none"},
        {kDusk, {{8, 500000}}, "8:500000"},
    });
    log.clear();
    EXPECT_EQ(request(kEventC, {{8, 700000}, {7, 600000}, {2, 900000}, {1, 1000000}}), -1)
        << "the clients' combined ceiling counts against an event's floor";
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{
                  "I freq is invalid(min > freq), cmdId is 12302, (l_cpu(1000000,900000), "
                  "b_cpu(0, 0), gpu(600000, 500000))"})
        << "one line for the first failing pair, carrying all six values";

    run({
        // an event going off is cleared even when the check refuses its write
        {kEventA, {{2, 1000000}}, "2:1000000"},
        {kEventB, {{1, 1500000}}, "1:1500000"},
        {kEventC, {{2, 1200000}}, "2:1000000"},
        {kEventA, {{1, 5}, {2, 1000000}}, kRefused, "B's floor over C's ceiling", kOff},
        {kDusk, {{2, 0}}, "2:1200000", "A's ceiling no longer counts"},
    });
}

TEST_F(FreqClientManagerTest, ReportingIsSwitchedOnOnceAndReadsTheHardwareMaximaLazily) {
    for (const Pairs& notTheSwitch :
         {Pairs{{10000, 0x1}}, Pairs{{10000, 0x10000}, {2, 1}}, Pairs{{9999, 0x10000}}, Pairs{}}) {
        EXPECT_EQ(request(0, notTheSwitch), 0);
    }
    run({
        {kDusk, {{2, 1800000}}, "2:1800000"},
        {0, {{10000, 0x10001}}, kNoWrite, "the switch writes nothing"},
    });
    EXPECT_TRUE(takeReports().empty()) << "only tag 10000 alone with bit 0x10000 switches it on";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 0)
        << "the hardware maxima are read only once reporting is on";

    SimDevice::instance().failNext(SimCall::Op::GetConfig, -3);
    run({{kDusk, {{2, 1700000}}, "2:1700000", "a failed read of the maxima fails no request"}});
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "getConfig failed!"));
    EXPECT_EQ(dumped("DUSK")[0], 1700000);
    SimDevice::instance().setValue(24, 1900000);
    ASSERT_EQ(request(kFern, {{5, 1800000}}), 0);
    ASSERT_EQ(request(kMoss, {{5, 1900000}}), 0);
    EXPECT_EQ(takeReports(), (std::vector<std::string>{"1,,1800,,2>", "3,,1800,,2>"}))
        << "the read is retried; DUSK's unreported request set no bit; MOSS at the device's big "
           "maximum sets none";
    ASSERT_EQ(request(0, {{10000, 0}}), 0);
    ASSERT_EQ(request(kEventA, {{2, 1000000}}), 0);
    ASSERT_EQ(request(kDusk, {{2, 1900000}}), 0);
    EXPECT_EQ(takeReports(), std::vector<std::string>{"3,1000,,,6>"})
        << "events report nothing and the switch never goes off; DUSK's bit follows its raw "
           "request, the field the value written under the event";
    EXPECT_EQ(SimDevice::instance().callCount(SimCall::Op::GetConfig), 2)
        << "the maxima are read until a read succeeds, then never again";
}

}  // namespace
