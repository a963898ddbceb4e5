// The floor of a daemon round trip: 16 bytes to another process over a Unix
// stream socket pair and 16 bytes back, with no work in between, on one CPU and
// across two.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "bench/BenchSettings.h"
#include "bench/CpuPlacement.h"
#include "bench/LatencyStats.h"
#include "bench/Registry.h"
#include "bench/ThreadClock.h"

namespace {

constexpr size_t kMessage = 16;

bool exact(ssize_t (*io)(int, void*, size_t), int fd, char* data, size_t size) {
    size_t done = 0;
    while (done < size) {
        ssize_t n = io(fd, data + done, size - done);
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

ssize_t readSome(int fd, void* data, size_t size) {
    return read(fd, data, size);
}
ssize_t writeSome(int fd, void* data, size_t size) {
    return write(fd, data, size);
}

[[noreturn]] void echo(int fd, int cpu) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (!pinToCpu(cpu)) {
        _exit(126);
    }
    char message[kMessage];
    while (exact(readSome, fd, message, kMessage) && exact(writeSome, fd, message, kMessage)) {
    }
    _exit(0);
}

[[noreturn]] void ping(int fd, int cpu, long calls, int out) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (!pinToCpu(cpu)) {
        _exit(126);
    }
    std::vector<uint32_t> samples;
    samples.reserve(static_cast<size_t>(calls));
    char message[kMessage] = {};
    bool ok = true;
    for (long k = -calls / 10; ok && k < calls; ++k) {
        int64_t start = monotonicNs();
        ok = exact(writeSome, fd, message, kMessage) && exact(readSome, fd, message, kMessage);
        if (k >= 0) {
            samples.push_back(static_cast<uint32_t>(monotonicNs() - start));
        }
    }
    ok = ok && exact(writeSome, out, reinterpret_cast<char*>(samples.data()),
                     samples.size() * sizeof(uint32_t));
    _exit(ok ? 0 : 1);
}

void socketPairFloor(benchmark::State& state, int echoCpu, int pingCpu, const char* path) {
    if (!hasCpu(echoCpu) || !hasCpu(pingCpu)) {
        state.SkipWithError("this placement needs two CPUs");
        return;
    }
    const long calls = benchSettings().quick ? 500 : 5000;
    std::vector<uint32_t> samples(static_cast<size_t>(calls));
    bool ok = false;
    double seconds = 0;
    for (auto _ : state) {
        int pair[2];
        int out[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
            break;
        }
        if (pipe2(out, O_CLOEXEC) != 0) {
            close(pair[0]);
            close(pair[1]);
            break;
        }
        int64_t start = monotonicNs();
        pid_t echoPid = fork();
        if (echoPid == 0) {
            close(pair[0]);
            echo(pair[1], echoCpu);
        }
        pid_t pingPid = fork();
        if (pingPid == 0) {
            close(pair[1]);
            close(out[0]);
            ping(pair[0], pingCpu, calls, out[1]);
        }
        close(pair[0]);
        close(pair[1]);
        close(out[1]);
        ok = echoPid > 0 && pingPid > 0 &&
             exact(readSome, out[0], reinterpret_cast<char*>(samples.data()),
                   samples.size() * sizeof(uint32_t));
        close(out[0]);
        int status = 0;
        if (pingPid > 0) {
            waitpid(pingPid, &status, 0);
            ok = ok && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        if (echoPid > 0) {
            waitpid(echoPid, &status, 0);
        }
        seconds = static_cast<double>(monotonicNs() - start) / 1e9;
        state.SetIterationTime(seconds);
    }
    if (!ok) {
        state.SkipWithError("the ping-pong processes failed");
        return;
    }
    LatencySummary summary = summarize(samples);
    state.counters["p50_ns"] = summary.p50Ns;
    state.counters["p99_ns"] = summary.p99Ns;
    state.counters["max_ns"] = summary.maxNs;
    state.SetLabel(std::string("kind=daemon;title=socket pair round trip, no work (floor);path=") +
                   path + ";clients=1");
}

}  // namespace

void registerIpcFloorBenchmarks() {
    benchmark::RegisterBenchmark(
        "daemon/floor_socketpair/one_cpu",
        [](benchmark::State& state) { socketPairFloor(state, 0, 0, "two processes on one CPU"); })
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(
        "daemon/floor_socketpair/two_cpus",
        [](benchmark::State& state) { socketPairFloor(state, 0, 1, "two processes on two CPUs"); })
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}
