// The daemon: round trips of briskGetVersion, an event and a client request
// through briskd's socket, from 1 and from 4 client processes at once, against the
// same calls made in-process.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchConfig.h"
#include "bench/BenchServer.h"
#include "bench/BenchSettings.h"
#include "bench/CpuPlacement.h"
#include "bench/LatencyStats.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"
#include "server/BriskServer.h"
#include "tools/protocol/FrameChannel.h"
#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

#ifndef BRISK_BRISKD_PATH
#define BRISK_BRISKD_PATH ""
#endif

namespace {

constexpr int kTimeoutMs = 5000;

enum class Call { Version, Event, SetConfig };

const char* callName(Call call) {
    switch (call) {
        case Call::Version:
            return "version";
        case Call::Event:
            return "event";
        default:
            return "client_request";
    }
}

const char* callTitle(Call call) {
    switch (call) {
        case Call::Version:
            return "briskGetVersion";
        case Call::Event:
            return "plain event";
        default:
            return "client freq request, 1 tag";
    }
}

Request makeRequest(Call call, long k) {
    Request request;
    switch (call) {
        case Call::Version:
            request.type = RequestType::Version;
            break;
        case Call::Event:
            request.type = RequestType::Event;
            request.cmdId = benchcfg::kTimedEvent;
            request.values = {0};
            break;
        case Call::SetConfig:
            request.type = RequestType::SetConfig;
            request.clientId = 1;
            request.tags = {2};
            request.values = {k % 2 == 0 ? 1800000 : 1700000};
            break;
    }
    return request;
}

int expectedResult(Call call) {
    return call == Call::Version ? 1 : 0;
}

const Placement kFree = {-1, -1, "briskd socket"};
const Placement kSameCpu = {0, 0, "briskd socket, client and daemon on one CPU"};
const Placement kOtherCpu = {0, 1, "briskd socket, client and daemon on two CPUs"};

std::string briskdPath() {
    const std::string& path = benchSettings().briskd;
    return path.empty() ? BRISK_BRISKD_PATH : path;
}

int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return -1;
    }
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// One request and its reply on a connected socket; false unless the reply is Ok
// with the expected result.
bool roundTrip(FrameChannel& channel, const Request& request, int expected) {
    if (!channel.writeFrame(static_cast<uint16_t>(request.type), request.encodeBody())) {
        return false;
    }
    FrameHeader header;
    std::vector<uint8_t> body;
    if (channel.readFrame(&header, &body, nullptr, Protocol::kMaxReplyBodySize) !=
        FrameChannel::ReadResult::Frame) {
        return false;
    }
    Reply reply;
    return Reply::decodeBody(body, &reply) && reply.status == Status::Ok &&
           reply.result == expected;
}

// briskd on the simulated device, on a socket in a temporary folder, over the
// entry-point configuration, pinned to `cpu` unless it is -1; stopped with SIGTERM
// by the destructor.
class Daemon {
public:
    explicit Daemon(int cpu) {
        char dirTemplate[] = "/tmp/brisk-bench-daemon-XXXXXX";
        if (mkdtemp(dirTemplate) == nullptr) {
            return;
        }
        mDir = dirTemplate;
        mSocket = mDir + "/briskd.sock";
        mConfig = std::make_unique<ConfigFile>(entryPointConfig());
        std::string binary = briskdPath();
        if (binary.empty() || access(binary.c_str(), X_OK) != 0 || !mConfig->ok()) {
            return;
        }
        mPid = fork();
        if (mPid == 0) {
            // Gone with the benchmark, however it ends.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (!pinToCpu(cpu)) {
                _exit(126);
            }
            // Standard error is already /dev/null; the daemon's log goes there.
            execl(binary.c_str(), binary.c_str(), "--config", mConfig->path().c_str(), "--socket",
                  mSocket.c_str(), "--backend", "sim", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 500 && mPid > 0; ++i) {
            int fd = connectTo(mSocket);
            if (fd >= 0) {
                close(fd);
                mReady = true;
                break;
            }
            usleep(10 * 1000);
        }
    }

    ~Daemon() {
        if (mPid > 0) {
            // SIGTERM, and SIGKILL if it has not ended within five seconds.
            kill(mPid, SIGTERM);
            int status = 0;
            bool ended = false;
            for (int i = 0; i < 500 && !ended; ++i) {
                ended = waitpid(mPid, &status, WNOHANG) == mPid;
                if (!ended) {
                    usleep(10 * 1000);
                }
            }
            if (!ended) {
                kill(mPid, SIGKILL);
                waitpid(mPid, &status, 0);
            }
        }
        unlink(mSocket.c_str());
        if (!mDir.empty()) {
            rmdir(mDir.c_str());
        }
    }

    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    bool ready() const { return mReady; }
    const std::string& socketPath() const { return mSocket; }

private:
    std::string mDir;
    std::string mSocket;
    std::unique_ptr<ConfigFile> mConfig;
    pid_t mPid = -1;
    bool mReady = false;
};

Daemon* daemonInstance(int cpu) {
    static std::map<int, std::unique_ptr<Daemon>> daemons;
    std::unique_ptr<Daemon>& daemon = daemons[cpu];
    if (!daemon) {
        daemon = std::make_unique<Daemon>(cpu);
    }
    return daemon->ready() ? daemon.get() : nullptr;
}

// In a child process: `calls` round trips of `call` on one connection (a new
// connection per call when `reconnect`), after a short warm-up; the latencies in
// ns go to `out` as uint32 values. Exit status 0 when every reply was right.
[[noreturn]] void clientProcess(const std::string& socketPath, Call call, long calls,
                                bool reconnect, int cpu, int goFd, int out) {
    if (!pinToCpu(cpu)) {
        _exit(126);
    }
    char go;
    // The parent closes its end once every client is forked: all start together.
    while (read(goFd, &go, 1) < 0 && errno == EINTR) {
    }
    close(goFd);
    std::vector<uint32_t> samples;
    samples.reserve(static_cast<size_t>(calls));
    int fd = reconnect ? -1 : connectTo(socketPath);
    bool ok = reconnect || fd >= 0;
    const int expected = expectedResult(call);
    for (long k = -calls / 10; ok && k < calls; ++k) {
        Request request = makeRequest(call, k);
        int64_t start = monotonicNs();
        if (reconnect) {
            fd = connectTo(socketPath);
            if (fd < 0) {
                ok = false;
                break;
            }
        }
        FrameChannel channel(fd, kTimeoutMs);
        ok = roundTrip(channel, request, expected);
        if (reconnect) {
            close(fd);
        }
        int64_t end = monotonicNs();
        if (k >= 0) {
            samples.push_back(static_cast<uint32_t>(end - start));
        }
    }
    if (!reconnect && fd >= 0) {
        close(fd);
    }
    const char* data = reinterpret_cast<const char*>(samples.data());
    size_t left = samples.size() * sizeof(uint32_t);
    while (ok && left > 0) {
        ssize_t n = write(out, data, left);
        if (n <= 0) {
            ok = false;
            break;
        }
        data += n;
        left -= static_cast<size_t>(n);
    }
    close(out);
    _exit(ok ? 0 : 1);
}

// Runs `clients` client processes at once; false when any of them failed.
bool runClients(const std::string& socketPath, Call call, int clients, long calls, bool reconnect,
                int cpu, std::vector<uint32_t>* samples, double* seconds) {
    int go[2];
    if (pipe2(go, O_CLOEXEC) != 0) {
        return false;
    }
    std::vector<pid_t> pids;
    std::vector<int> outs;
    for (int c = 0; c < clients; ++c) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) {
            break;
        }
        pid_t pid = fork();
        if (pid == 0) {
            close(go[1]);
            close(out[0]);
            clientProcess(socketPath, call, calls, reconnect, cpu, go[0], out[1]);
        }
        close(out[1]);
        if (pid < 0) {
            close(out[0]);
            break;
        }
        pids.push_back(pid);
        outs.push_back(out[0]);
    }
    close(go[0]);
    int64_t start = monotonicNs();
    close(go[1]);
    bool ok = static_cast<int>(pids.size()) == clients;
    for (size_t c = 0; c < pids.size(); ++c) {
        std::vector<uint32_t> mine(static_cast<size_t>(calls));
        char* data = reinterpret_cast<char*>(mine.data());
        size_t want = mine.size() * sizeof(uint32_t);
        size_t got = 0;
        while (got < want) {
            ssize_t n = read(outs[c], data + got, want - got);
            if (n <= 0) {
                break;
            }
            got += static_cast<size_t>(n);
        }
        close(outs[c]);
        int status = 0;
        waitpid(pids[c], &status, 0);
        if (got != want || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            ok = false;
            continue;
        }
        samples->insert(samples->end(), mine.begin(), mine.end());
    }
    *seconds = static_cast<double>(monotonicNs() - start) / 1e9;
    return ok;
}

void setCounters(benchmark::State& state, std::vector<uint32_t>& samples, double seconds) {
    LatencySummary summary = summarize(samples);
    state.counters["p50_ns"] = summary.p50Ns;
    state.counters["p99_ns"] = summary.p99Ns;
    state.counters["max_ns"] = summary.maxNs;
    state.counters["calls_per_s"] = static_cast<double>(summary.count) / seconds;
}

std::string label(Call call, const char* path, int clients) {
    std::string text = std::string("kind=daemon;title=") + callTitle(call) + ";path=" + path +
                       ";clients=" + std::to_string(clients);
    if (std::string(path).rfind("briskd socket", 0) == 0 &&
        std::string(path).find("new connection") == std::string::npos) {
        text += ";target_p50_ns=50000";
    }
    return text;
}

void inProcess(benchmark::State& state, Call call) {
    BriskServer* server = sharedServer();
    if (server == nullptr) {
        state.SkipWithError("the server could not be started");
        return;
    }
    const long calls = benchSettings().quick ? 2000 : 20000;
    std::vector<uint32_t> samples;
    samples.reserve(static_cast<size_t>(calls));
    const int payload[1] = {0};
    const int tags[1] = {2};
    int failed = 0;
    double seconds = 0;
    for (auto _ : state) {
        int64_t begin = monotonicNs();
        for (long k = 0; k < calls; ++k) {
            const int value[1] = {k % 2 == 0 ? 1800000 : 1700000};
            int64_t start = monotonicNs();
            int r = 0;
            switch (call) {
                case Call::Version:
                    r = server->briskGetVersion() == 1 ? 0 : 1;
                    break;
                case Call::Event:
                    r = server->briskEvent(benchcfg::kTimedEvent, "", 1, payload);
                    break;
                case Call::SetConfig:
                    r = server->briskSetConfig(1, 1, tags, value);
                    break;
            }
            samples.push_back(static_cast<uint32_t>(monotonicNs() - start));
            failed |= r;
        }
        seconds = static_cast<double>(monotonicNs() - begin) / 1e9;
        state.SetIterationTime(seconds);
    }
    if (failed != 0) {
        state.SkipWithError("a call did not answer as expected");
        return;
    }
    setCounters(state, samples, seconds);
    state.SetLabel(label(call, "in-process", 1));
}

void throughDaemon(benchmark::State& state, Call call, int clients, bool reconnect,
                   const Placement& placement) {
    if (!hasCpu(placement.clientCpu)) {
        state.SkipWithError("this placement needs two CPUs");
        return;
    }
    Daemon* daemon = daemonInstance(placement.daemonCpu);
    if (daemon == nullptr) {
        state.SkipWithError("briskd could not be started (was it built?)");
        return;
    }
    const long calls = benchSettings().quick ? 500 : (reconnect ? 2000 : 5000);
    std::vector<uint32_t> samples;
    double seconds = 0;
    bool ok = true;
    for (auto _ : state) {
        ok = runClients(daemon->socketPath(), call, clients, calls, reconnect, placement.clientCpu,
                        &samples, &seconds);
        state.SetIterationTime(seconds);
    }
    if (!ok) {
        state.SkipWithError("a client process failed or got a wrong reply");
        return;
    }
    setCounters(state, samples, seconds);
    std::string path = placement.path;
    state.SetLabel(
        label(call, (reconnect ? path + ", new connection per call" : path).c_str(), clients));
}

}  // namespace

void registerDaemonBenchmarks() {
    for (Call call : {Call::Version, Call::Event, Call::SetConfig}) {
        std::string name = std::string("daemon/") + callName(call);
        benchmark::RegisterBenchmark((name + "/in_process").c_str(),
                                     [call](benchmark::State& state) { inProcess(state, call); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
        for (int clients : {1, 4}) {
            benchmark::RegisterBenchmark(
                (name + "/socket/clients:" + std::to_string(clients)).c_str(),
                [call, clients](benchmark::State& state) {
                    throughDaemon(state, call, clients, false, kFree);
                })
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
        for (const Placement* placement : {&kSameCpu, &kOtherCpu}) {
            std::string where = placement == &kSameCpu ? "one_cpu" : "two_cpus";
            benchmark::RegisterBenchmark((name + "/socket_" + where + "/clients:1").c_str(),
                                         [call, placement](benchmark::State& state) {
                                             throughDaemon(state, call, 1, false, *placement);
                                         })
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::RegisterBenchmark(
        "daemon/version/socket_reconnect/clients:1",
        [](benchmark::State& state) { throughDaemon(state, Call::Version, 1, true, kFree); })
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}
