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
#include "platform/JankLogSink.h"
#include "support/LogCapture.h"

namespace {

constexpr int kLittleHw = 2000000;
constexpr int kBigHw = 2600000;
constexpr int kGpuHw = 800000;

time_t exampleTime() {
    return 1794732963;
}  // 2026-11-15 08:56:03 UTC
time_t earlyInYear() {
    return 1767323045;
}  // 2026-01-02 03:04:05 UTC
time_t unrepresentable() {
    return std::numeric_limits<time_t>::max();
}

using Pairs = std::vector<std::pair<int, int>>;

struct JankRecord {
    int level;
    int eventId;
    std::string text;
};

class FreqInfoUploadTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
        FreqInfoUpload::setTimeSource(exampleTime);
        JankLogSink::setCallback([this](int level, int eventId, const std::string& text) {
            records.push_back({level, eventId, text});
        });
        upload.updateMaxFreqData(kLittleHw, kBigHw, kGpuHw);
    }
    void TearDown() override {
        JankLogSink::reset();
        FreqInfoUpload::setTimeSource(nullptr);
    }

    // A client request as the manager hands it on: the raw values, then the
    // values written (the raw ones unless given).
    static void request(FreqInfoUpload& target, int client, const Pairs& raw,
                        const Pairs& written) {
        std::vector<int> tags, values, writtenTags, writtenValues;
        for (const auto& p : raw) {
            tags.push_back(p.first);
            values.push_back(p.second);
        }
        for (const auto& p : written) {
            writtenTags.push_back(p.first);
            writtenValues.push_back(p.second);
        }
        target.updateOriginFreqData(client, static_cast<int>(tags.size()), tags.data(),
                                    values.data());
        target.updateFinalFreqData(client, static_cast<int>(writtenTags.size()), writtenTags.data(),
                                   writtenValues.data());
    }
    void request(int client, const Pairs& raw) { request(upload, client, raw, raw); }
    void request(int client, const Pairs& raw, const Pairs& written) {
        request(upload, client, raw, written);
    }

    // The records written since the last call, without their time stamp.
    std::vector<std::string> takeBodies() {
        std::vector<std::string> bodies;
        for (const JankRecord& record : records) {
            EXPECT_EQ(record.level, 3);
            EXPECT_EQ(record.eventId, 361);
            EXPECT_EQ(record.text.rfind("#ARG1:<20261115085603,", 0), 0u) << record.text;
            bodies.push_back(record.text.substr(22));
        }
        records.clear();
        return bodies;
    }

    LogCapture log;
    FreqInfoUpload upload;
    std::vector<JankRecord> records;
};

TEST_F(FreqInfoUploadTest, ReportsWhenLimitingStartsGoesOnAndEnds) {
    request(1, {{2, 1800000}});
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text, "#ARG1:<20261115085603,1,1800,,,4>")
        << "DUSK below the little maximum starts limiting (status 1, bit 4); unwritten fields stay "
           "empty";
    records.clear();

    request(3, {{8, 600000}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"3,,,600,5>"})
        << "a second limiting client adds its bit (MOSS 1) and limiting goes on";

    request(3, {{8, 0}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"3,,,-1,4>"})
        << "MOSS lifting its ceiling clears only its bit; a written 0 shows as -1";

    request(1, {{2, kLittleHw}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"2,-1,,,0>"})
        << "a ceiling equal to the hardware maximum does not limit: limiting ends once";

    request(1, {{2, kLittleHw}, {5, 0}});
    EXPECT_TRUE(records.empty()) << "with nobody limiting and limiting over, nothing is sent";

    request(2, {{5, 2500000}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"1,,2500,,2>"})
        << "a new limiting client starts a new report sequence with FERN's bit 2";
}

TEST_F(FreqInfoUploadTest, NothingLimitsWhileTheHardwareMaximaAreUnknown) {
    FreqInfoUpload fresh;
    request(fresh, 1, {{2, 1}, {5, 1}, {8, 1}}, {{2, 1}, {5, 1}, {8, 1}});
    EXPECT_FALSE(fresh.isFreqClientLimited(1)) << "maxima of -1 make every ceiling unlimited";
    EXPECT_TRUE(records.empty());

    fresh.updateMaxFreqData(kLittleHw, kBigHw, kGpuHw);
    EXPECT_TRUE(fresh.isFreqClientLimited(1)) << "the stored raw ceilings limit once maxima exist";
    request(fresh, 1, {{8, 799999}}, {{8, 799999}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"1,,,799,4>"});
}

TEST_F(FreqInfoUploadTest, OnlyACeilingFromOneUpToBelowItsMaximumLimits) {
    FreqInfoUpload::FreqClient client{kLittleHw, 0, -1};
    EXPECT_FALSE(upload.getClientStatus(client)) << "equal to the maximum, 0 and -1 never limit";
    client = {INT_MIN, INT_MAX, kGpuHw - 1};
    EXPECT_TRUE(upload.getClientStatus(client)) << "any one ceiling below its maximum limits";
    client = {kLittleHw + 1, 1, -1};
    EXPECT_TRUE(upload.getClientStatus(client)) << "a ceiling of 1 limits";
    for (int id : {0, 4, -1, INT_MIN}) {
        EXPECT_EQ(upload.getClientBitVal(id), -1) << id;
        EXPECT_FALSE(upload.isFreqClientLimited(id)) << id;
    }
}

TEST_F(FreqInfoUploadTest, ABitIsRefreshedOnlyByItsOwnClientsReportedRequest) {
    request(1, {{2, 1800000}});
    records.clear();

    // DUSK lifts its ceiling but writes none of the reported tags: nothing refreshes.
    request(1, {{2, kLittleHw}}, {{17, 5}});
    EXPECT_TRUE(records.empty()) << "no ceiling written, no report";
    request(2, {{5, kBigHw}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"3,,-1,,4>"})
        << "DUSK's bit survives until DUSK itself makes a reported request";

    // New maxima do not re-evaluate bits either.
    request(3, {{8, 700000}});
    upload.updateMaxFreqData(kLittleHw, kBigHw, 600000);
    request(2, {{5, kBigHw}});
    EXPECT_EQ(takeBodies(), (std::vector<std::string>{"3,,,700,5>", "3,,-1,,5>"}));

    request(1, {{2, -1}, {5, -1}, {8, -1}});
    EXPECT_TRUE(records.empty()) << "all three written as -1 counts as nothing written";

    // An unknown client's written values are still reported, with the bits unchanged.
    request(9, {{2, 1000000}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"3,1000,,,5>"});
}

TEST_F(FreqInfoUploadTest, WrittenValuesAreNormalisedPerField) {
    EXPECT_EQ(upload.getNormalizedFreq(1999, 2000000), 1) << "integer division truncates";
    EXPECT_EQ(upload.getNormalizedFreq(1800000, 2000000), 1800);
    EXPECT_EQ(upload.getNormalizedFreq(2000000, 2000000), -1);
    EXPECT_EQ(upload.getNormalizedFreq(2000001, 2000000), INT_MAX);
    EXPECT_EQ(upload.getNormalizedFreq(INT_MAX, 2000000), INT_MAX);
    EXPECT_EQ(upload.getNormalizedFreq(0, 2000000), -1);
    EXPECT_EQ(upload.getNormalizedFreq(0, -1), -1);
    EXPECT_EQ(upload.getNormalizedFreq(-1, -1), -1);
    EXPECT_EQ(upload.getNormalizedFreq(-5, -1), INT_MAX);
    EXPECT_EQ(upload.getNormalizedFreq(-1, 2000000), INT_MAX);
    EXPECT_EQ(upload.getNormalizedFreq(INT_MIN, 2000000), INT_MAX);
    EXPECT_EQ(upload.getNormalizedFreq(5, -1), INT_MAX) << "unknown maximum: no value";

    request(1, {{2, 1800000}}, {{2, 1000000}, {5, 3000000}, {8, kGpuHw}, {2, 1500000}});
    EXPECT_EQ(takeBodies(), std::vector<std::string>{"1,1500,,-1,4>"})
        << "the last written little value wins; above the maximum leaves the field empty";
}

TEST_F(FreqInfoUploadTest, TimeStampIsZeroFilledAndFallsBackWhenLocalTimeFails) {
    FreqInfoUpload::setTimeSource(earlyInYear);
    request(1, {{2, 1800000}});
    FreqInfoUpload::setTimeSource(unrepresentable);
    request(1, {{2, 1700000}});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].text, "#ARG1:<20260102030405,1,1800,,,4>");
    EXPECT_EQ(records[1].text, "#ARG1:<19000101000001,3,1700,,,4>")
        << "a time localtime_r cannot break down is replaced, and the record still sent";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "get local time failed!"), 1);
}

TEST_F(FreqInfoUploadTest, UnknownClientsAndEmptyOrMissingArraysChangeNothing) {
    const int tags[] = {2};
    const int values[] = {1000};
    for (int id : {0, 4, -3}) {
        upload.updateOriginFreqData(id, 1, tags, values);
    }
    upload.updateOriginFreqData(1, 0, tags, values);
    upload.updateOriginFreqData(1, -1, tags, values);
    upload.updateOriginFreqData(1, 1, nullptr, values);
    upload.updateOriginFreqData(1, 1, tags, nullptr);
    for (int id : {1, 2, 3}) {
        EXPECT_FALSE(upload.isFreqClientLimited(id)) << id;
    }
    upload.updateFinalFreqData(1, 0, tags, values);
    upload.updateFinalFreqData(1, -5, tags, values);
    upload.updateFinalFreqData(1, 1, nullptr, values);
    upload.updateFinalFreqData(1, 1, tags, nullptr);
    upload.updateReason(0);
    upload.uploadFreqInfo(1000, 1000, 1000);
    EXPECT_TRUE(records.empty()) << "nobody limits and limiting never started";
}

}  // namespace
