// Each entry point on its own, over the simulated device in its quiet mode, with
// the service's log filtered below error priority and with liblog's default
// logger, so that the log's share of each cost shows.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "bench/BenchConfig.h"
#include "bench/BenchLog.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/Registry.h"
#include "config/Vocabulary.h"
#include "platform/sim/SimDevice.h"
#include "server/BriskServer.h"

namespace {

using Case = std::function<int(BriskServer& server, long i)>;

const int kBegin[1] = {0};
const int kEnd[1] = {-1};
const int* onOff(long i) {
    return i % 2 == 0 ? kBegin : kEnd;
}

long deviceCalls() {
    SimDevice& device = SimDevice::instance();
    long total = 0;
    for (SimCall::Op op : {SimCall::Op::DoAction, SimCall::Op::SetConfig, SimCall::Op::GetConfig,
                           SimCall::Op::DoSchedLevelAction, SimCall::Op::SetProbeTarget}) {
        total += device.callCount(op);
    }
    return total;
}

int devNull() {
    static int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd;
}

// Runs `op` once per iteration with i = 0, 1, 2, ...; cases that alternate (a
// begin, then an end) are left as they were found by one more, untimed, call
// when the run stopped after a begin.
void runCase(benchmark::State& state, BriskServer& server, const Case& op, bool alternates) {
    long i = 0;
    int failed = 0;
    for (auto _ : state) {
        failed |= op(server, i) != 0;
        ++i;
    }
    if (alternates && i % 2 == 1) {
        op(server, i);
    }
    if (failed != 0) {
        state.SkipWithError("an entry point did not answer 0");
    }
}

struct Options {
    bool alternates = false;
    std::function<BriskServer*()> server = sharedServer;
    std::function<void(BriskServer&)> setUp;
    std::function<void(BriskServer&)> tearDown;
};

void addCase(const std::string& name, const std::string& meta, Case op, Options options = {}) {
    for (LogMode mode : {LogMode::Filtered, LogMode::Default}) {
        std::string fullName = "entry/" + name + "/log:" + logModeName(mode);
        auto* b = benchmark::RegisterBenchmark(fullName.c_str(), [=](benchmark::State& state) {
            BriskServer* server = options.server();
            if (server == nullptr) {
                state.SkipWithError("the server could not be started");
                return;
            }
            if (options.setUp) {
                options.setUp(*server);
            }
            applyLogMode(mode);
            long before = deviceCalls();
            long linesBefore = loggedLines();
            runCase(state, *server, op, options.alternates);
            long after = deviceCalls();
            long lines = loggedLines() - linesBefore;
            applyLogMode(LogMode::Filtered);
            if (options.tearDown) {
                options.tearDown(*server);
            }
            const double iterations = static_cast<double>(state.iterations());
            state.counters["device_calls"] = static_cast<double>(after - before) / iterations;
            state.counters["log_lines"] = static_cast<double>(lines) / iterations;
            state.SetLabel("kind=entry;" + meta);
        });
        microTiming(b);
    }
}

Options alternating() {
    Options options;
    options.alternates = true;
    return options;
}

// A stronger scene (4119, priority 200) held while the case runs.
Options underGovernorBase() {
    Options options = alternating();
    options.setUp = [](BriskServer& s) { s.briskEvent(benchcfg::kSceneGovBase, "", 1, kBegin); };
    options.tearDown = [](BriskServer& s) { s.briskEvent(benchcfg::kSceneGovBase, "", 1, kEnd); };
    return options;
}

void addEventCases() {
    addCase(
        "plain_event", "title=plain event reaching doAction;floor=mutex;target_ns=500",
        [](BriskServer& s, long) { return s.briskEvent(benchcfg::kTimedEvent, "", 1, kBegin); });
    addCase(
        "onoff_event",
        "title=on/off event, 2 freq pairs + 1 platform item (begin, end);floor=mutex;"
        "target_ns=1000",
        [](BriskServer& s, long i) { return s.briskEvent(benchcfg::kOnOffFirst, "", 1, onOff(i)); },
        alternating());
    addCase("sched_event", "title=scheduling event without duration;floor=mutex;target_ns=500",
            [](BriskServer& s, long i) {
                int cmd = i % 2 == 0 ? benchcfg::kSchedEventA : benchcfg::kSchedEventB;
                return s.briskEvent(cmd, "", 0, nullptr);
            });
    addCase(
        "scene", "title=scene begin, end (no other scene);floor=mutex;target_ns=1000",
        [](BriskServer& s, long i) { return s.briskEvent(benchcfg::kSceneLight, "", 1, onOff(i)); },
        alternating());
    addCase(
        "scene_under_stronger",
        "title=scene begin, end under a stronger scene;floor=mutex;target_ns=1000",
        [](BriskServer& s, long i) { return s.briskEvent(benchcfg::kSceneVideo, "", 1, onOff(i)); },
        underGovernorBase());
    addCase(
        "governor_scene", "title=governor scene begin, end beside 4119;floor=mutex;target_ns=1000",
        [](BriskServer& s, long i) {
            return s.briskEvent(benchcfg::kSceneGovGame, "", 1, onOff(i));
        },
        underGovernorBase());
    addCase("restart_notice", "title=restart notice, no scene applied;floor=mutex",
            [](BriskServer& s, long) {
                return s.briskEvent(benchcfg::kRestartNotice, "", 0, nullptr);
            });
    addCase(
        "scene_then_restart", "title=scene begin, then restart notice (per event);floor=mutex",
        [](BriskServer& s, long i) {
            return i % 2 == 0 ? s.briskEvent(benchcfg::kSceneLight, "", 1, kBegin)
                              : s.briskEvent(benchcfg::kRestartNotice, "", 0, nullptr);
        },
        alternating());
}

void addClientCases() {
    static const int kOneTag[1] = {2};
    static const int kOneValue[2][1] = {{1800000}, {1700000}};
    addCase(
        "client_freq_1tag", "title=client freq request, 1 limit tag;floor=mutex;target_ns=500",
        [](BriskServer& s, long i) { return s.briskSetConfig(1, 1, kOneTag, kOneValue[i % 2]); });

    static const int kSevenTags[7] = {2, 5, 8, 17, 18, 19, 20};
    static const int kSevenValues[2][7] = {{1800000, 2400000, 700000, 65000, 75000, 3000, 1},
                                           {1700000, 2300000, 650000, 64000, 74000, 2900, 0}};
    addCase("client_freq_7tags", "title=client freq request, 7 limit tags;floor=mutex",
            [](BriskServer& s, long i) {
                return s.briskSetConfig(2, 7, kSevenTags, kSevenValues[i % 2]);
            });

    Options reporting;
    reporting.server = reportingServer;
    addCase(
        "client_freq_1tag_reporting",
        "title=client freq request, 1 tag, limit reporting on;floor=mutex;target_ns=500",
        [](BriskServer& s, long i) { return s.briskSetConfig(1, 1, kOneTag, kOneValue[i % 2]); },
        reporting);

    static const int kStepTag[1] = {40};
    static const int kStepValue[2][1] = {{1}, {2}};
    addCase(
        "client_sched_step", "title=client sched request: step down, up;floor=mutex;target_ns=500",
        [](BriskServer& s, long i) { return s.briskSetConfig(3, 1, kStepTag, kStepValue[i % 2]); },
        alternating());
    static const int kResetValue[1] = {0};
    addCase("client_sched_reset", "title=client sched request: reset;floor=mutex;target_ns=500",
            [](BriskServer& s, long) { return s.briskSetConfig(3, 1, kStepTag, kResetValue); });
    static const int kGroupTag[1] = {42};
    // Group 3 (top-app) at level 10, then at 20: (group << 16) | (level + 20).
    static const int kGroupValue[2][1] = {{(3 << 16) | 30}, {(3 << 16) | 40}};
    addCase("client_sched_group",
            "title=client sched request: one group level;floor=mutex;target_ns=500",
            [](BriskServer& s, long i) {
                return s.briskSetConfig(1, 1, kGroupTag, kGroupValue[i % 2]);
            });

    static const int kGetTags[3] = {22, 24, 26};
    addCase("get_config", "title=briskGetConfig, 3 tags;floor=mutex", [](BriskServer& s, long) {
        int values[3];
        return s.briskGetConfig(3, kGetTags, values);
    });
    addCase("get_version", "title=briskGetVersion;floor=mutex",
            [](BriskServer& s, long) { return s.briskGetVersion() == 1 ? 0 : 1; });
}

void addProbeCase() {
    addCase(
        "probe_start_stop",
        "title=probe start, stop inside the boost delay (per event);floor=mutex;target_ns=500",
        [](BriskServer& s, long i) {
            return s.briskEvent(Vocabulary::kProbeCmdId, "pid=4242|tid=4243", 1, onOff(i));
        },
        alternating());
}

void addDumpCases() {
    struct Dump {
        const char* name;
        const char* title;
        std::vector<std::string> args;
    };
    static const std::vector<Dump> kDumps = {
        {"dump_help", "dump --help", {"--help"}},
        {"dump_freqlist", "dump --freqlist", {"--freqlist"}},
        {"dump_easgrouplist", "dump --easgrouplist", {"--easgrouplist"}},
        {"dump_invalid", "dump of an unknown option", {"--bogus"}},
    };
    for (const Dump& dump : kDumps) {
        std::vector<std::string> args = dump.args;
        addCase(dump.name,
                std::string("title=") + dump.title + " into /dev/null;floor=appendformat",
                [args](BriskServer& s, long) {
                    s.dumpBriskServerInfo(devNull(), args);
                    return 0;
                });
    }
    static const std::vector<std::string> kLogOn = {"--logon"};
    static const std::vector<std::string> kLogOff = {"--logoff"};
    addCase(
        "dump_logon_logoff", "title=dump --logon, --logoff into /dev/null;floor=appendformat",
        [](BriskServer& s, long i) {
            s.dumpBriskServerInfo(devNull(), i % 2 == 0 ? kLogOn : kLogOff);
            return 0;
        },
        alternating());
}

}  // namespace

void registerEntryPointBenchmarks() {
    addEventCases();
    addClientCases();
    addProbeCase();
    addDumpCases();
}
