#include "freq/FreqInfoUpload.h"

#include <atomic>
#include <climits>
#include <iomanip>
#include <sstream>
#include <string>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/DeviceApi.h"
#include "server/BriskLog.h"

namespace {
// Arguments of the jank log that identify a frequency-limit record.
constexpr int kJankLevel = 3;
constexpr int kJankEventId = 361;

// Report statuses.
constexpr int kStatusStart = 1;
constexpr int kStatusEnd = 2;
constexpr int kStatusOngoing = 3;

// A normalised value that is left out of the record.
constexpr int kNoValue = INT_MAX;

std::atomic<FreqInfoUpload::TimeSource> gTimeSource{nullptr};
}  // namespace

FreqInfoUpload::FreqInfoUpload()
    : mLittleHwMax(-1), mBigHwMax(-1), mGpuHwMax(-1), mLimited(false), mReason(0) {
    init(mDuskClient);
    init(mFernClient);
    init(mMossClient);
}

FreqInfoUpload::~FreqInfoUpload() {}

void FreqInfoUpload::setTimeSource(TimeSource source) {
    gTimeSource.store(source);
}

void FreqInfoUpload::init(FreqClient& client) {
    client.littleCpuMax = -1;
    client.bigCpuMax = -1;
    client.gpuMax = -1;
}

void FreqInfoUpload::updateMaxFreqData(int littleHwMax, int bigHwMax, int gpuHwMax) {
    mLittleHwMax = littleHwMax;
    mBigHwMax = bigHwMax;
    mGpuHwMax = gpuHwMax;
}

FreqInfoUpload::FreqClient* FreqInfoUpload::clientRecord(int clientId) {
    switch (clientId) {
        case FREQ_CLIENT_DUSK:
            return &mDuskClient;
        case FREQ_CLIENT_FERN:
            return &mFernClient;
        case FREQ_CLIENT_MOSS:
            return &mMossClient;
        default:
            return nullptr;
    }
}

void FreqInfoUpload::updateOriginFreqData(int clientId, int tagLen, const int* tags,
                                          const int* configs) {
    FreqClient* client = clientRecord(clientId);
    if (tagLen < 1 || client == nullptr || tags == nullptr || configs == nullptr) {
        return;
    }
    for (int i = 0; i < tagLen; ++i) {
        if (Vocabulary::isFreqCeilingTag(tags[i])) {
            saveTags(*client, tags[i], configs[i]);
        }
    }
}

void FreqInfoUpload::saveTags(FreqClient& client, int tag, int value) {
    if (tag == BRISK_TAG_BIG_CPU_MAX) {
        client.bigCpuMax = value;
    } else if (tag == BRISK_TAG_LITTLE_CPU_MAX) {
        client.littleCpuMax = value;
    } else {
        client.gpuMax = value;
    }
}

void FreqInfoUpload::updateFreqClient(int clientId, int tag, int value) {
    FreqClient* client = clientRecord(clientId);
    if (client != nullptr) {
        saveTags(*client, tag, value);
    }
}

void FreqInfoUpload::updateFinalFreqData(int clientId, int tagLen, const int* tags,
                                         const int* configs) {
    int little = -1;
    int big = -1;
    int gpu = -1;
    if (tags != nullptr && configs != nullptr) {
        for (int i = 0; i < tagLen; ++i) {
            if (tags[i] == BRISK_TAG_LITTLE_CPU_MAX) {
                little = configs[i];
            } else if (tags[i] == BRISK_TAG_BIG_CPU_MAX) {
                big = configs[i];
            } else if (tags[i] == BRISK_TAG_GPU_MAX) {
                gpu = configs[i];
            }
        }
    }
    if (little == -1 && big == -1 && gpu == -1) {
        return;
    }
    updateReason(clientId);
    uploadFreqInfo(little, big, gpu);
}

void FreqInfoUpload::updateReason(int clientId) {
    int bit = getClientBitVal(clientId);
    if (bit == -1) {
        return;
    }
    if (isFreqClientLimited(clientId)) {
        mReason |= static_cast<uint32_t>(bit);
    } else {
        mReason &= ~static_cast<uint32_t>(bit);
    }
}

bool FreqInfoUpload::isFreqClientLimited(int clientId) {
    FreqClient* client = clientRecord(clientId);
    return client != nullptr && getClientStatus(*client);
}

bool FreqInfoUpload::getClientStatus(FreqClient& client) {
    return (client.littleCpuMax >= 1 && client.littleCpuMax < mLittleHwMax) ||
           (client.bigCpuMax >= 1 && client.bigCpuMax < mBigHwMax) ||
           (client.gpuMax >= 1 && client.gpuMax < mGpuHwMax);
}

int FreqInfoUpload::getClientBitVal(int clientId) {
    switch (clientId) {
        case FREQ_CLIENT_DUSK:
            return 4;
        case FREQ_CLIENT_FERN:
            return 2;
        case FREQ_CLIENT_MOSS:
            return 1;
        default:
            return -1;
    }
}

int FreqInfoUpload::getNormalizedFreq(int freq, int maxFreq) {
    if (freq >= 1) {
        if (freq < maxFreq) {
            return freq / 1000;
        }
        return freq == maxFreq ? -1 : kNoValue;
    }
    if (freq == 0 || freq == maxFreq) {
        return -1;
    }
    return kNoValue;
}

void FreqInfoUpload::uploadFreqInfo(int littleMax, int bigMax, int gpuMax) {
    int status;
    if (!mLimited) {
        if (mReason == 0) {
            return;
        }
        status = kStatusStart;
        mLimited = true;
    } else if (mReason == 0) {
        status = kStatusEnd;
        mLimited = false;
    } else {
        status = kStatusOngoing;
    }

    TimeSource source = gTimeSource.load();
    time_t now = source != nullptr ? source() : time(nullptr);
    struct tm local {};
    if (localtime_r(&now, &local) == nullptr) {
        BRISK_LOGE("get local time failed!");
        local = tm{};
        local.tm_year = 0;
        local.tm_mon = 0;
        local.tm_mday = 1;
        local.tm_hour = 0;
        local.tm_min = 0;
        local.tm_sec = 1;
    }

    std::ostringstream text;
    text << "#ARG1:<" << local.tm_year + 1900 << std::setfill('0') << std::setw(2)
         << local.tm_mon + 1 << std::setw(2) << local.tm_mday << std::setw(2) << local.tm_hour
         << std::setw(2) << local.tm_min << std::setw(2) << local.tm_sec << "," << status << ",";
    for (int value : {getNormalizedFreq(littleMax, mLittleHwMax),
                      getNormalizedFreq(bigMax, mBigHwMax), getNormalizedFreq(gpuMax, mGpuHwMax)}) {
        if (value != kNoValue) {
            text << value;
        }
        text << ",";
    }
    text << mReason << ">";
    __zqlog_jank_print(kJankLevel, kJankEventId, "%s", text.str().c_str());
}
