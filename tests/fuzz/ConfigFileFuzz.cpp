// The configuration file: the input is the whole file. A server starts on it,
// takes every kind of event for the ids the file names and for one id of every
// route, client requests from each client, reads and dumps, and is deleted. No
// file may crash it, make it read or write out of bounds, or leak.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <set>

#include "config/Vocabulary.h"
#include "platform/sim/SimDevice.h"
#include "tests/fuzz/FuzzHost.h"
#include "tests/support/TempConfig.h"
#include "tools/brisk-sim/SimServer.h"

using V = Vocabulary;

namespace {
// Ids looked at in one file, at most.
constexpr size_t kMostIds = 16;

const TempConfig& configFile() {
    static TempConfig config = [] {
        FuzzHost::quietOutputs();
        return TempConfig::withContent("");
    }();
    return config;
}

// One id of every route, and the ids written in the file as id="N" (the file
// decides which of them exist and what they do).
std::set<int> idsToSend(const std::string& text) {
    std::set<int> ids = {V::kMossSchedCondCmdId,    V::kMossSchedBaseCmdId,
                         V::kSceneFirstCmdId,       V::kGovernorBaseCmdId,
                         V::kGovernorFirstCmdId,    V::kSceneLastCmdId,
                         V::kOnOffFirstCmdId,       V::kClientRestartCmdId,
                         V::kFreqReportSwitchCmdId, 100};
    const std::string key = "id=";
    for (size_t at = text.find(key); at != std::string::npos && ids.size() < kMostIds;
         at = text.find(key, at + 1)) {
        size_t digits = at + key.size();
        if (digits < text.size() && (text[digits] == '"' || text[digits] == '\'')) {
            ++digits;
        }
        const long id = strtol(text.c_str() + digits, nullptr, 10);
        ids.insert(static_cast<int>(std::clamp<long>(id, INT_MIN, INT_MAX)));
    }
    return ids;
}

void drive(BriskServer& server, const std::set<int>& ids) {
    const int begin[1] = {V::kBegin};
    const int end[1] = {V::kEnd};
    for (int id : ids) {
        server.briskEvent(id, "", 1, begin);
        server.briskEvent(id, "", 0, nullptr);
        server.briskEvent(id, "", 1, end);
    }
    server.briskEvent(V::kProbeCmdId, "pid=7|tid=8", 1, begin);
    server.briskEvent(V::kProbeCmdId, "pid=7|tid=8", 1, end);

    const int freqTags[] = {BRISK_TAG_LITTLE_CPU_MAX, BRISK_TAG_BIG_CPU_MIN, BRISK_TAG_GPU_MAX};
    const int freqValues[] = {1200000, 1500000, 0};
    const int schedTags[] = {BRISK_TAG_SET_SCHED_LEVEL, BRISK_TAG_SET_GROUP_SCHED_LEVEL};
    const int schedValues[] = {BRISK_SCHED_LEVEL_STEP_DOWN, (3 << 16) | SCHED_LEVEL_WORD_OFFSET};
    for (int client = V::kFirstClient; client <= V::kLastClient; ++client) {
        server.briskSetConfig(client, 3, freqTags, freqValues);
        server.briskSetConfig(client, 2, schedTags, schedValues);
    }
    int read[3] = {};
    server.briskGetConfig(3, freqTags, read);
    server.dumpBriskServerInfo(FuzzHost::nullFd(), {"--freqlist"});
    server.dumpBriskServerInfo(FuzzHost::nullFd(), {"--easgrouplist"});
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const TempConfig& config = configFile();
    FuzzHost::writeFile(config.path(), data, size);
    SimDevice::instance().clearRecord();
    // A file that fails start-up still gets the calls: they must be refused.
    SimServer server;
    server.init();
    // Probe events only queue: the worker would boost on a timer, differently
    // from run to run.
    server.stopProbeWorker(false);
    drive(server, idsToSend(FuzzHost::text(data, size)));
    return 0;
}
