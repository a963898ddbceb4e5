#pragma once

#include <cstdint>
#include <ctime>

// Tracks which frequency clients hold a CPU or GPU ceiling below the hardware
// maximum and writes one jank-log record ("#ARG1:<...>") for every change of the
// applied ceilings while any client limits, or when the last one stops.
//
// Only the three ceiling tags take part (little CPU 2, big CPU 5, GPU 8). The
// object has no lock: its owner, FreqClientManager, calls it with its own mutex
// held.
class FreqInfoUpload {
public:
    // A client's last requested ceilings, -1 where none was requested.
    struct FreqClient {
        int32_t littleCpuMax;
        int32_t bigCpuMax;
        int32_t gpuMax;
    };

    FreqInfoUpload();
    virtual ~FreqInfoUpload();

    void init(FreqClient& client);
    void updateMaxFreqData(int littleHwMax, int bigHwMax, int gpuHwMax);
    // Records a client's raw request (tags 2, 5, 8 only); reports nothing.
    void updateOriginFreqData(int clientId, int tagLen, const int* tags, const int* configs);
    void saveTags(FreqClient& client, int tag, int value);
    void updateFreqClient(int clientId, int tag, int value);
    // Takes the values that were written to the platform and reports them when one
    // of tags 2, 5, 8 was written.
    void updateFinalFreqData(int clientId, int tagLen, const int* tags, const int* configs);
    void updateReason(int clientId);
    bool isFreqClientLimited(int clientId);
    bool getClientStatus(FreqClient& client);
    int getClientBitVal(int clientId);
    int getNormalizedFreq(int freq, int maxFreq);
    void uploadFreqInfo(int littleMax, int bigMax, int gpuMax);

    // Test seam: the wall clock that stamps the records. Null (the default) means
    // time(nullptr). A source returning a time that localtime_r cannot break down
    // (for example the largest time_t) exercises the fixed fallback stamp.
    using TimeSource = time_t (*)();
    static void setTimeSource(TimeSource source);

private:
    // The record of client 1, 2 or 3; null for any other id.
    FreqClient* clientRecord(int clientId);

    FreqClient mDuskClient;
    FreqClient mFernClient;
    FreqClient mMossClient;
    int32_t mLittleHwMax;
    int32_t mBigHwMax;
    int32_t mGpuHwMax;
    bool mLimited;     // between a "limiting starts" and a "limiting ends" record
    uint32_t mReason;  // bit per limiting client: DUSK 4, FERN 2, MOSS 1
};
