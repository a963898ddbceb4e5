#include "tests/fuzz/CallPicker.h"

#include <climits>

#include "config/Vocabulary.h"

using V = Vocabulary;

namespace {
// Every configured id of the entry-point target's configuration and the edges of
// every range of the router, route by route.
const std::vector<int> kCmdIds = {
    // scheduling events, probe, scenes (with the governor scenes' own range)
    V::kMossSchedCondCmdId, V::kMossSchedBaseCmdId, V::kProbeCmdId, V::kSceneFirstCmdId,
    V::kGovernorBaseCmdId, 4122, 4123, 4124, V::kGovernorFirstCmdId - 1, V::kGovernorFirstCmdId,
    4230, 4231, 4232, V::kSceneLastCmdId - 1, V::kSceneLastCmdId, V::kSceneLastCmdId + 1,
    // default groups, on/off events, notifications
    V::kDefaultGroupCmdId, V::kOnOffFirstCmdId - 1, V::kOnOffFirstCmdId, 12300, 12301, 12302, 12303,
    12304, V::kOnOffLastCmdId, V::kOnOffLastCmdId + 1, V::kClientRestartCmdId,
    V::kFreqReportSwitchCmdId,
    // plain timed and scheduling events, and ids nothing configures
    100, 101, 102, 103, 0, -1};

const std::vector<int> kClientIds = {
    V::kReportSwitchClient, FREQ_CLIENT_DUSK, FREQ_CLIENT_FERN, FREQ_CLIENT_MOSS, 4, -1,
    V::kOnOffFirstCmdId};

const std::vector<int> kTags = {
    // frequency floors and ceilings, thermal limits, fork, hardware maxima
    BRISK_TAG_LITTLE_CPU_MIN, BRISK_TAG_LITTLE_CPU_MAX, BRISK_TAG_BIG_CPU_MIN,
    BRISK_TAG_BIG_CPU_MAX, BRISK_TAG_GPU_MIN, BRISK_TAG_GPU_MAX, BRISK_TAG_IPA_ON_TEMP,
    BRISK_TAG_IPA_CONTROL_TEMP, BRISK_TAG_IPA_SUSTAINABLE_POWER, BRISK_TAG_FORK_ON_BIG_CLUSTER,
    BRISK_TAG_LITTLE_CPU_HW_MAX, BRISK_TAG_BIG_CPU_HW_MAX, BRISK_TAG_GPU_HW_MAX,
    // the report switch, scheduling levels and groups, platform items, priority
    BRISK_TAG_FREQ_INFO_UPLOAD, BRISK_TAG_SET_SCHED_LEVEL, BRISK_TAG_SET_GROUP_SCHED_LEVEL,
    BRISK_TAG_GROUP_HMP, BRISK_TAG_GROUP_BOOST, BRISK_TAG_GROUP_BACKGROUND, V::kPlatformItemTag,
    V::kPriorityTag, 0, -1};

const std::vector<int> kValues = {
    // begin and end, the ladder's steps and levels and their edges
    V::kBegin, V::kEnd, 1, 2, -20, -10, 10, 20, 30, 40, 41,
    // group-level words (group 3, and group 9 which does not exist), frequencies, the switch
    (3 << 16) | (10 + SCHED_LEVEL_WORD_OFFSET), (9 << 16) | SCHED_LEVEL_WORD_OFFSET, 1200000,
    2600000, 65536, INT_MIN, INT_MAX};

const std::vector<std::string> kDumpOptions = {"--help", "--logon", "--logoff", "--freqlist",
                                               "--easgrouplist"};
}  // namespace

int CallPicker::pick(const std::vector<int>& known) {
    if (mIn.ConsumeIntegralInRange<int>(0, 7) == 0) {
        return mIn.ConsumeIntegral<int>();
    }
    return known[mIn.ConsumeIntegralInRange<size_t>(0, known.size() - 1)];
}

int CallPicker::cmdId() {
    return pick(kCmdIds);
}

int CallPicker::clientId() {
    return pick(kClientIds);
}

int CallPicker::tag() {
    return pick(kTags);
}

int CallPicker::value() {
    return pick(kValues);
}

std::string CallPicker::message() {
    if (mIn.ConsumeBool()) {
        return "pid=" + std::to_string(mIn.ConsumeIntegralInRange<int>(-1, 64)) +
               "|tid=" + std::to_string(mIn.ConsumeIntegralInRange<int>(-1, 64));
    }
    return mIn.ConsumeRandomLengthString(64);
}

std::vector<int> CallPicker::values(size_t most) {
    std::vector<int> out(mIn.ConsumeIntegralInRange<size_t>(0, most));
    for (int& v : out) {
        v = value();
    }
    return out;
}

std::vector<int> CallPicker::tags(size_t most) {
    std::vector<int> out(mIn.ConsumeIntegralInRange<size_t>(0, most));
    for (int& t : out) {
        t = tag();
    }
    return out;
}

std::vector<std::string> CallPicker::dumpArgs() {
    std::vector<std::string> out(mIn.ConsumeIntegralInRange<size_t>(0, 2));
    for (std::string& arg : out) {
        if (mIn.ConsumeBool()) {
            arg = kDumpOptions[mIn.ConsumeIntegralInRange<size_t>(0, kDumpOptions.size() - 1)];
        } else {
            arg = mIn.ConsumeRandomLengthString(600);
        }
    }
    return out;
}

int CallPicker::length(size_t size, bool allowNegative) {
    const int low = allowNegative ? -1 : 0;
    return mIn.ConsumeIntegralInRange<int>(low, static_cast<int>(size));
}
