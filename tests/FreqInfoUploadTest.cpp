// Frequency-limit reporting: which clients limit the hardware and the jank-log
// records written when limiting starts, goes on and ends.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "freq/FreqInfoUpload.h"
#include "platform/sim/JankLogSink.h"
#include "tests/support/ServerHarness.h"

namespace {

constexpr int kLittleHw = 2000000;
constexpr int kBigHw = 2600000;
constexpr int kGpuHw = 800000;
const char* const kNoReport = "0 reports";

const std::string kStamp = "#ARG1:<20261115085603,";

using Pairs = std::vector<std::pair<int, int>>;

class FreqInfoUploadTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
        FreqInfoUpload::setTimeSource([] { return time_t{1794732963}; });  // kStamp, in UTC
        JankLogSink::setCallback([this](int level, int eventId, const std::string& text) {
            EXPECT_EQ(level, 3) << "the jank log's level of a frequency-limit record";
            EXPECT_EQ(eventId, 361) << "the jank log's id of a frequency-limit record";
            records.push_back(text);
        });
    }
    void TearDown() override {
        JankLogSink::reset();
        FreqInfoUpload::setTimeSource(nullptr);
    }

    // A client request as the manager hands it on: the raw values, then the values
    // written (the raw ones when none are given).
    void request(int client, const Pairs& raw, const Pairs& written = {}) {
        TagValues r(raw), w(written.empty() ? raw : written);
        upload.updateOriginFreqData(client, r.size(), r.tags.data(), r.values.data());
        upload.updateFinalFreqData(client, w.size(), w.tags.data(), w.values.data());
    }
    // The one record since the last look, without its time stamp.
    std::string takeBody() {
        std::string body =
            records.size() == 1 ? records[0] : std::to_string(records.size()) + " reports";
        records.clear();
        return body.rfind(kStamp, 0) == 0 ? body.substr(kStamp.size()) : body;
    }

    LogCapture log;
    FreqInfoUpload upload;
    std::vector<std::string> records;
};

TEST_F(FreqInfoUploadTest, ReportsWhenLimitingStartsGoesOnAndEndsAndEachBitFollowsItsClient) {
    request(3, {{8, 1}});
    EXPECT_EQ(takeBody(), kNoReport) << "nothing limits while the hardware maxima are unknown";
    upload.updateMaxFreqData(kLittleHw, kBigHw, kGpuHw);
    struct Step {
        int client;
        Pairs raw, written;
        std::string body;
        const char* rule;
    };
    const Step steps[] = {
        {1, {{2, 1800000}}, {}, "1,1800,,,4>", "DUSK (bit 4) starts alone; unwritten fields empty"},
        {3, {{8, 600000}}, {}, "3,,,600,5>", "a second limiting client adds its bit (MOSS 1)"},
        {3, {{8, kGpuHw}}, {}, "3,,,-1,4>", "a ceiling at its maximum does not limit"},
        {1, {{2, 0}}, {}, "2,-1,,,0>", "a ceiling of 0 does not limit; the last bit ends it"},
        {1, {{2, kLittleHw}, {5, 0}}, {}, kNoReport, "nothing is sent while nobody limits"},
        {2, {{5, 2500000}}, {}, "1,,2500,,2>", "FERN (bit 2) starts a new sequence"},
        {2, {{5, kBigHw}}, {{17, 5}}, kNoReport, "no ceiling written: no report, no refresh"},
        {1, {{2, 1}}, {{2, 1000}}, "3,1,,,6>", "FERN's bit survives its unreported request"},
        {1, {{2, -1}, {5, -1}, {8, -1}}, {}, kNoReport, "all three written as -1: nothing"},
        {9, {{2, 1000000}}, {}, "3,1000,,,6>", "an unknown client is reported, bits unchanged"},
        {2, {{5, 0}}, {}, "3,,-1,,4>", "FERN's own request refreshes its bit"},
        {1, {{2, kLittleHw}}, {}, "2,-1,,,0>", "the last limiting client lifts its limit"},
        {3, {{8, 700000}}, {}, "1,,,700,1>", "MOSS (bit 1) starts again"},
    };
    for (const Step& s : steps) {
        request(s.client, s.raw, s.written);
        EXPECT_EQ(takeBody(), s.body) << s.rule;
    }
    upload.updateMaxFreqData(kLittleHw, kBigHw, 600000);
    request(2, {{5, kBigHw}});
    EXPECT_EQ(takeBody(), "3,,-1,,1>") << "new maxima do not re-evaluate MOSS's bit";
    for (int id : {0, 4, -3}) {
        request(id, {{2, 1000}, {5, 1000}, {8, 1000}});
    }
    EXPECT_FALSE(upload.isFreqClientLimited(1) || upload.isFreqClientLimited(2) ||
                 upload.isFreqClientLimited(3))
        << "an unknown client's ceilings are kept for no client";
}

TEST_F(FreqInfoUploadTest, WrittenValuesAreNormalisedPerField) {
    upload.updateMaxFreqData(kLittleHw, kBigHw, kGpuHw);
    const int kNone = INT_MAX;  // left out of the record
    // clang-format off
    const int cases[][3] = {  // value, maximum, normalised value
        {1999, kLittleHw, 1}, {1800000, kLittleHw, 1800}, {kLittleHw, kLittleHw, -1},
        {kLittleHw + 1, kLittleHw, kNone}, {0, kLittleHw, -1}, {-1, kLittleHw, kNone},
        {0, -1, -1}, {-1, -1, -1}, {-5, -1, kNone}, {5, -1, kNone}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(upload.getNormalizedFreq(c[0], c[1]), c[2]) << c[0] << " of " << c[1];
    }
    request(1, {{2, 1800000}}, {{2, 1000000}, {5, 3000000}, {8, kGpuHw}, {2, 1500000}});
    EXPECT_EQ(takeBody(), "1,1500,,-1,4>")
        << "the last written little value wins; above the maximum leaves the field empty";
}

TEST_F(FreqInfoUploadTest, TimeStampIsZeroFilledAndFallsBackWhenLocalTimeFails) {
    upload.updateMaxFreqData(kLittleHw, kBigHw, kGpuHw);
    FreqInfoUpload::setTimeSource([] { return time_t{1767323045}; });  // 2026-01-02 03:04:05
    request(1, {{2, 1800000}});
    FreqInfoUpload::setTimeSource([] { return std::numeric_limits<time_t>::max(); });
    request(1, {{2, 1700000}});
    EXPECT_EQ(records, (std::vector<std::string>{"#ARG1:<20260102030405,1,1800,,,4>",
                                                 "#ARG1:<19000101000001,3,1700,,,4>"}))
        << "a time localtime_r cannot break down is replaced, and the record still sent";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "get local time failed!"), 1);
}

}  // namespace
