// briskd and briskctl end to end: a real daemon on a temporary socket, driven by
// briskctl and by raw sockets that speak the wire format as documented.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/ServerHarness.h"
#include "support/TempConfig.h"

namespace {

const char kBriskd[] = BRISK_BINARY_DIR "/tools/briskd/briskd";
const char kBriskctl[] = BRISK_BINARY_DIR "/tools/briskctl/briskctl";
constexpr uid_t kNobody = 65534;
constexpr gid_t kNogroup = 65534;

// Request types and reply statuses of protocol version 1.
enum : uint16_t { kEvent = 1, kSet = 2, kGet = 3, kDump = 4, kVersion = 5 };
enum : int32_t { kOk = 0, kDenied = 1, kBad = 2, kBadVersion = 3, kTooLarge = 4, kUnknown = 5 };
enum : int32_t { kBusy = 6, kDumpBlocked = 7 };

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

void put32(Bytes& out, uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<uint8_t>(v >> shift));
    }
}

Bytes frame(uint16_t type, const Bytes& body, uint16_t version = 1) {
    Bytes out = {'B',
                 'R',
                 'S',
                 'K',
                 static_cast<uint8_t>(version),
                 static_cast<uint8_t>(version >> 8),
                 static_cast<uint8_t>(type),
                 static_cast<uint8_t>(type >> 8)};
    put32(out, static_cast<uint32_t>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes ints(std::initializer_list<int32_t> values) {
    Bytes out;
    for (int32_t v : values) {
        put32(out, static_cast<uint32_t>(v));
    }
    return out;
}

Bytes text(const std::string& s) {
    Bytes out;
    put32(out, static_cast<uint32_t>(s.size()));
    out.insert(out.end(), s.begin(), s.end());
    return out;
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

struct RawReply {
    uint16_t type = 0;
    int32_t status = -99;
    std::string message;
    int32_t result = -99;
    std::vector<int32_t> values;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

std::vector<std::string> splitLines(const std::string& all) {
    std::vector<std::string> lines;
    std::istringstream in(all);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// What arrives on `fd` until its end; "<no end>" when it does not end in time.
std::string readToEnd(int fd, int ms) {
    std::string all;
    char buffer[4096];
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0) {
            return "<no end>";
        }
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) {
            return all;
        }
        all.append(buffer, static_cast<size_t>(n));
    }
}

template <typename Pred>
bool eventually(Pred pred, int ms = 10000) {
    auto end = Clock::now() + std::chrono::milliseconds(ms);
    while (Clock::now() < end) {
        if (pred()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return pred();
}

// A connection that speaks the wire format by hand.
class RawClient {
public:
    explicit RawClient(const std::string& path) {
        mFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        if (connect(mFd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            close(mFd);
            mFd = -1;
        }
    }
    ~RawClient() {
        if (mFd >= 0) {
            close(mFd);
        }
    }
    bool connected() const { return mFd >= 0; }
    int fd() const { return mFd; }

    bool send(const Bytes& bytes, const std::vector<int>& fds = {}) {
        iovec iov{const_cast<uint8_t*>(bytes.data()), bytes.size()};
        msghdr message{};
        message.msg_iov = &iov;
        message.msg_iovlen = 1;
        std::vector<char> control(CMSG_SPACE(sizeof(int) * fds.size()));
        if (!fds.empty()) {
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            cmsghdr* c = CMSG_FIRSTHDR(&message);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
            memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
        }
        return sendmsg(mFd, &message, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    // Reads exactly `size` bytes; false on close or when nothing came in time.
    bool readExact(uint8_t* out, size_t size, int timeoutMs) {
        size_t got = 0;
        while (got < size) {
            pollfd p{mFd, POLLIN, 0};
            if (poll(&p, 1, timeoutMs) <= 0) {
                return false;
            }
            ssize_t n = recv(mFd, out + got, size - got, 0);
            if (n <= 0) {
                return false;
            }
            got += static_cast<size_t>(n);
        }
        return true;
    }

    bool receive(RawReply* reply, int timeoutMs = 10000) {
        uint8_t header[12];
        if (!readExact(header, sizeof(header), timeoutMs) || memcmp(header, "BRSK", 4) != 0) {
            return false;
        }
        reply->type = static_cast<uint16_t>(header[6] | (header[7] << 8));
        uint32_t size = get32(header + 8);
        Bytes body(size);
        if (size < 16 || !readExact(body.data(), size, timeoutMs)) {
            return false;
        }
        reply->status = static_cast<int32_t>(get32(&body[0]));
        uint32_t length = get32(&body[4]);
        reply->message.assign(reinterpret_cast<const char*>(&body[8]), length);
        reply->result = static_cast<int32_t>(get32(&body[8 + length]));
        uint32_t count = get32(&body[12 + length]);
        for (uint32_t i = 0; i < count; ++i) {
            reply->values.push_back(static_cast<int32_t>(get32(&body[16 + length + 4 * i])));
        }
        return true;
    }

    RawReply call(uint16_t type, const Bytes& body, const std::vector<int>& fds = {}) {
        RawReply reply;
        if (send(frame(type, body), fds)) {
            receive(&reply);
        }
        return reply;
    }

    // True when the daemon closes the connection within `ms` (replies still
    // queued are read and dropped on the way).
    bool closedWithin(int ms) {
        auto end = Clock::now() + std::chrono::milliseconds(ms);
        uint8_t buffer[4096];
        while (Clock::now() < end) {
            pollfd p{mFd, POLLIN, 0};
            if (poll(&p, 1, 50) > 0 && recv(mFd, buffer, sizeof(buffer), MSG_DONTWAIT) <= 0) {
                return true;
            }
        }
        return false;
    }

private:
    static uint32_t get32(const uint8_t* p) {
        return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
    }
    int mFd = -1;
};

struct CtlRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// A briskd child process on a socket in its own folder, with the record and the
// jank log in that folder. The folder is open to all, so that a child running
// as another user can reach the socket.
class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (access(kBriskd, X_OK) != 0 || access(kBriskctl, X_OK) != 0) {
            GTEST_SKIP() << "briskd and briskctl are not built (BRISK_BUILD_TOOLS=OFF)";
        }
        char pattern[] = "/tmp/briskd-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        mDir = pattern;
        chmod(mDir.c_str(), 0755);
        mSocket = mDir + "/run/briskd.sock";
        mRecord = mDir + "/record";
        mConfig = mDir + "/brisk_config_cust.xml";
        writeConfig(fullTestConfig());
    }

    void TearDown() override {
        if (mDir.empty()) {
            return;
        }
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
        if (HasFailure()) {
            printf("---- briskd log ----\n%s\n", readFile(mDir + "/briskd.log").c_str());
        }
        std::string command = "rm -rf '" + mDir + "'";
        ASSERT_EQ(system(command.c_str()), 0);
    }

    void writeConfig(const std::string& commands) {
        std::ofstream(mConfig) << "<?xml version=\"1.0\"?>\n<policy>\n"
                               << commands << "\n</policy>\n";
    }

    std::vector<std::string> daemonArgs(const std::vector<std::string>& extra) const {
        std::vector<std::string> args = {kBriskd,    "--socket",   mSocket,
                                         "--config", mConfig,      "--record",
                                         mRecord,    "--jank-log", mDir + "/jank"};
        args.insert(args.end(), extra.begin(), extra.end());
        return args;
    }

    // Runs briskd without waiting for it; stderr goes to the folder's log.
    pid_t spawn(const std::vector<std::string>& args) {
        std::vector<char*> argv;
        for (const std::string& arg : args) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        std::string log = mDir + "/briskd.log";
        pid_t pid = fork();
        if (pid == 0) {
            int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            dup2(fd, STDERR_FILENO);
            execv(argv[0], argv.data());
            _exit(127);
        }
        return pid;
    }

    // Starts the daemon and waits until it answers.
    void start(const std::vector<std::string>& extra = {}) {
        mPid = spawn(daemonArgs(extra));
        ASSERT_GT(mPid, 0);
        bool up = eventually(
            [this] {
                RawClient client(mSocket);
                return client.connected() && client.call(kVersion, {}).status == kOk;
            },
            20000);
        ASSERT_TRUE(up) << "briskd did not start answering on " << mSocket;
    }

    // Sends `sig` and returns the exit status (-1 when it did not exit in time).
    int stop(int sig = SIGTERM) {
        kill(mPid, sig);
        int status = 0;
        bool done = eventually([&] { return waitpid(mPid, &status, WNOHANG) == mPid; }, 20000);
        mPid = -1;
        return done && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Runs a program to its end; as `asNobody` it runs as uid 65534, gid 65534.
    CtlRun run(const std::vector<std::string>& args, bool asNobody = false) {
        static std::atomic<int> counter{0};
        int n = counter++;
        std::string outPath = mDir + "/out" + std::to_string(n);
        std::string errPath = mDir + "/err" + std::to_string(n);
        std::vector<char*> argv;
        for (const std::string& arg : args) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        pid_t pid = fork();
        if (pid == 0) {
            int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(out, STDOUT_FILENO);
            dup2(err, STDERR_FILENO);
            if (asNobody &&
                (setgroups(0, nullptr) != 0 || setgid(kNogroup) != 0 || setuid(kNobody) != 0)) {
                _exit(126);
            }
            execv(argv[0], argv.data());
            _exit(127);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        CtlRun result;
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = readFile(outPath);
        result.err = readFile(errPath);
        return result;
    }

    CtlRun ctl(std::vector<std::string> args, bool asNobody = false) {
        args.insert(args.begin(), {kBriskctl, "--socket", mSocket});
        return run(args, asNobody);
    }

    std::vector<std::string> record() const { return splitLines(readFile(mRecord)); }

    size_t countRecord(const std::string& prefix) const {
        size_t n = 0;
        for (const std::string& line : record()) {
            n += line.compare(0, prefix.size(), prefix) == 0;
        }
        return n;
    }

    bool recordHas(const std::string& line) const {
        for (const std::string& l : record()) {
            if (l == line) {
                return true;
            }
        }
        return false;
    }

    size_t daemonFdCount() const {
        size_t n = 0;
        DIR* dir = opendir(("/proc/" + std::to_string(mPid) + "/fd").c_str());
        while (dir != nullptr && readdir(dir) != nullptr) {
            ++n;
        }
        if (dir != nullptr) {
            closedir(dir);
        }
        return n;
    }

    std::string mDir;
    std::string mSocket;
    std::string mRecord;
    std::string mConfig;
    pid_t mPid = -1;
};

TEST_F(DaemonTest, EveryEntryPointReachesTheServiceThroughBriskctl) {
    start();
    CtlRun version = ctl({"version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, "version 1\n");

    // An on/off event: its frequency pair goes to setConfig, its platform item to doAction.
    CtlRun onOff = ctl({"event", "12300", "0"});
    EXPECT_EQ(onOff.exitCode, 0) << onOff.err;
    EXPECT_EQ(onOff.out, "result 0\n");
    EXPECT_TRUE(recordHas("setConfig 2:1200000"));
    EXPECT_EQ(countRecord("doAction cmd=12300 duration=0 len=1 payload=0 "), 1u);

    // A timed event with message and payload arrives as sent.
    EXPECT_EQ(ctl({"event", "100", "--msg", "io now", "7", "-8"}).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=2 payload=7,-8 "), 1u);
    // No values: null payload of length 0.
    EXPECT_EQ(ctl({"event", "100"}).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=0 payload=null "), 1u);

    // A command the configuration lacks: the service's result 2, exit status 1.
    CtlRun unknown = ctl({"event", "555"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.out, "result 2\n");

    // Client requests by name: the client's ceiling is written, and read back.
    EXPECT_EQ(ctl({"set", "DUSK", "gpu_max=600000"}).exitCode, 0);
    EXPECT_TRUE(recordHas("setConfig 8:600000"));
    CtlRun get = ctl({"get", "gpu_max", "22"});
    EXPECT_EQ(get.exitCode, 0);
    EXPECT_EQ(get.out, "result 0\ngpu_max 600000\n22 2000000\n");
    // Scheduling tags by number go to the scheduling manager.
    size_t schedCalls = countRecord("doSchedLevelAction ");
    EXPECT_EQ(ctl({"set", "fern", "40=1"}).exitCode, 0);
    EXPECT_EQ(countRecord("doSchedLevelAction "), schedCalls + 1);

    // The dump is written to briskctl's own standard output by the daemon.
    CtlRun logOn = ctl({"dump", "--logon"});
    EXPECT_EQ(logOn.exitCode, 0) << logOn.err;
    EXPECT_EQ(logOn.out, "brisk log is ON\n\n");
    CtlRun help = ctl({"dump", "--", "--help"});
    EXPECT_NE(help.out.find("--easgrouplist: print set eas group list"), std::string::npos);
    EXPECT_NE(ctl({"dump", "--freqlist"}).out.find("600000"), std::string::npos);

    // A probe start is boosted by the service's probe thread a little later.
    EXPECT_EQ(ctl({"event", "4116", "--msg", "pid=100|tid=123", "0"}).exitCode, 0);
    EXPECT_TRUE(eventually([this] { return recordHas("setProbeTarget 123 0"); }));

    // Usage errors never reach the daemon.
    size_t before = record().size();
    EXPECT_EQ(ctl({"set", "DUSK", "no_such_tag=1"}).exitCode, 2);
    EXPECT_EQ(ctl({"event", "12x"}).exitCode, 2);
    EXPECT_EQ(ctl({"get", "--help"}).exitCode, 0);
    EXPECT_EQ(record().size(), before);
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, ManyClientsAtOnceAreAllServed) {
    start({"--max-clients", "16"});
    constexpr int kThreads = 8;
    constexpr int kRequests = 25;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            RawClient client(mSocket);  // one connection, many requests
            for (int i = 0; i < kRequests; ++i) {
                int value = 100000 + t * 1000 + i;
                RawReply set = client.call(kSet, ints({1 + t % 3, 1, 99, value}));
                RawReply get = client.call(kGet, ints({1, 99}));
                good += set.status == kOk && set.result == 0 && get.status == kOk &&
                        get.result == 0 && get.values.size() == 1;
            }
        });
    }
    std::vector<CtlRun> ctlRuns(4);
    std::vector<std::thread> ctlThreads;
    for (int i = 0; i < 4; ++i) {
        ctlThreads.emplace_back([&, i] { ctlRuns[i] = ctl({"event", "100", std::to_string(i)}); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto& thread : ctlThreads) {
        thread.join();
    }
    EXPECT_EQ(good, kThreads * kRequests);
    for (const CtlRun& r : ctlRuns) {
        EXPECT_EQ(r.exitCode, 0) << r.err;
    }
    EXPECT_EQ(countRecord("setConfig 99:"), static_cast<size_t>(kThreads * kRequests));
    EXPECT_EQ(countRecord("doAction cmd=100 "), 4u);
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, PeerCredentialsDecideAndRefusalsChangeNothing) {
    std::ofstream(mDir + "/policy") << "# granted to nobody\n"
                                    << "fern  gid:65534   # by group\n\n"
                                    << "get uid:1,uid:65534\n";
    start({"--allow", "event=uid:65534", "--policy", mDir + "/policy"});
    size_t before = record().size();

    // Denied: another client's identity, reading values, the dump.
    CtlRun dusk = ctl({"set", "DUSK", "gpu_max=1"}, true);
    EXPECT_EQ(dusk.exitCode, 4);
    EXPECT_EQ(dusk.err, "briskctl: permission denied: uid 65534 may not act as DUSK\n");
    EXPECT_EQ(dusk.out, "");
    CtlRun moss = ctl({"set", "MOSS", "40=1"}, true);
    EXPECT_EQ(moss.exitCode, 4);
    EXPECT_NE(moss.err.find("permission denied"), std::string::npos);
    CtlRun dump = ctl({"dump", "--logon"}, true);
    EXPECT_EQ(dump.exitCode, 4);
    EXPECT_EQ(dump.out, "") << "a refused dump must write nothing";
    EXPECT_EQ(record().size(), before) << "a refused request reached the platform";

    // Granted by uid and by group; the version needs no right.
    EXPECT_EQ(ctl({"event", "100", "1"}, true).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=1 payload=1 "), 1u);
    EXPECT_EQ(ctl({"set", "FERN", "gpu_max=500000"}, true).exitCode, 0);
    EXPECT_TRUE(recordHas("setConfig 8:500000"));
    // Other client ids (0 is the report switch) need the event right.
    EXPECT_EQ(ctl({"set", "0", "10000=65536"}, true).exitCode, 0);
    EXPECT_EQ(ctl({"get", "gpu_max"}, true).out, "result 0\ngpu_max 500000\n");
    EXPECT_EQ(ctl({"version"}, true).exitCode, 0);
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(readFile(mDir + "/briskd.log").find("briskEvent cmdId="), std::string::npos)
        << "the refused --logon switched the verbose log on";
}

TEST_F(DaemonTest, MalformedRequestsGetErrorsAndLeaveNothingBehind) {
    start();
    RawClient warmUp(mSocket);
    ASSERT_EQ(warmUp.call(kVersion, {}).status, kOk);
    size_t baseFds = daemonFdCount();
    {
        // Requests that the daemon answers and keeps the connection for.
        RawClient client(mSocket);
        EXPECT_EQ(client.call(77, {}).status, kUnknown);
        EXPECT_EQ(client.call(kEvent, concat({ints({100}), text(""), ints({1000, 1, 2})})).status,
                  kBad)
            << "a payload count beyond the values sent must be refused";
        EXPECT_EQ(
            client.call(kEvent, concat({ints({100}), text(std::string("a\0b", 3)), ints({0})}))
                .status,
            kBad)
            << "a message with a NUL byte cannot be passed as a C string";
        EXPECT_EQ(
            client.call(kEvent, concat({ints({100}), text(std::string(4097, 'x')), ints({0})}))
                .status,
            kBad);
        EXPECT_EQ(client.call(kSet, concat({ints({1, 2, 8, 1}), Bytes{0}})).status, kBad);
        EXPECT_EQ(client.call(kGet, ints({1, 8, 9})).status, kBad) << "bytes left over";
        EXPECT_EQ(client.call(kDump, concat({ints({1}), text("--help")})).status, kBad)
            << "a dump without a descriptor";
        int pipes[2];
        ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
        EXPECT_EQ(
            client.call(kDump, concat({ints({1}), text("--help")}), {pipes[1], pipes[1], 0}).status,
            kBad)
            << "a dump with three descriptors";
        close(pipes[0]);
        close(pipes[1]);
        // A good dump: once the client closes its end, the pipe ends, so the daemon
        // has closed its copy.
        ASSERT_EQ(pipe2(pipes, O_CLOEXEC), 0);
        EXPECT_EQ(client.call(kDump, concat({ints({1}), text("--logoff")}), {pipes[1]}).status,
                  kOk);
        close(pipes[1]);
        EXPECT_EQ(readToEnd(pipes[0], 5000), "brisk log is OFF\n\n")
            << "the daemon kept its copy of the dump descriptor";
        close(pipes[0]);
        EXPECT_EQ(client.call(kVersion, {}).result, 1) << "the connection must still work";
    }
    // Requests after which the daemon answers and closes.
    auto answerThenClose = [this](const Bytes& bytes) {
        RawClient client(mSocket);
        RawReply reply;
        client.send(bytes);
        client.receive(&reply);
        EXPECT_TRUE(client.closedWithin(5000));
        return reply.status;
    };
    EXPECT_EQ(answerThenClose({'G', 'E', 'T', ' ', '/', ' ', 'H', 'T', 'T', 'P', '/', '1'}), kBad);
    EXPECT_EQ(answerThenClose(frame(kVersion, {}, 2)), kBadVersion);
    Bytes huge = frame(kGet, {});
    huge[8] = 0;
    huge[9] = 0;
    huge[10] = 0x10;  // a 1 MiB body announced, none sent
    EXPECT_EQ(answerThenClose(huge), kTooLarge);
    {
        RawClient truncated(mSocket);
        Bytes request = frame(kSet, ints({1, 1, 8, 5}));
        truncated.send(Bytes(request.begin(), request.begin() + 15));
    }
    {
        // Random bodies of every type: an answer each time, never a crash.
        std::mt19937 random(8);
        RawClient fuzz(mSocket);
        for (int i = 0; i < 300; ++i) {
            Bytes body(random() % 48);
            for (uint8_t& b : body) {
                b = static_cast<uint8_t>(random() % 4 == 0 ? random() : random() % 3);
            }
            RawReply reply = fuzz.call(static_cast<uint16_t>(1 + random() % 4), body);
            ASSERT_TRUE(reply.status == kOk || reply.status == kBad) << "fuzz request " << i;
        }
    }
    EXPECT_EQ(ctl({"version"}).exitCode, 0);
    EXPECT_TRUE(eventually([&] { return daemonFdCount() <= baseFds; }))
        << "descriptors leaked: " << daemonFdCount() << " open, " << baseFds << " before";
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, SilentStallingAndBlockedClientsAreCutOffWithoutStallingOthers) {
    start({"--timeout-ms", "2000"});
    RawClient silent(mSocket);
    RawClient halfHeader(mSocket);
    halfHeader.send({'B', 'R', 'S'});
    // Asks for a lot and never reads the answers.
    RawClient deaf(mSocket);
    Bytes bigGet;
    put32(bigGet, 4000);
    for (int i = 0; i < 4000; ++i) {
        put32(bigGet, 22);
    }
    Bytes request = frame(kGet, bigGet);
    fcntl(deaf.fd(), F_SETFL, O_NONBLOCK);
    for (int i = 0; i < 200 && send(deaf.fd(), request.data(), request.size(), MSG_NOSIGNAL) > 0;
         ++i) {
    }
    // Hands over a pipe that is already full and never read.
    int pipes[2];
    ASSERT_EQ(pipe2(pipes, O_NONBLOCK | O_CLOEXEC), 0);
    std::vector<char> filler(65536, 'x');
    while (write(pipes[1], filler.data(), filler.size()) > 0) {
    }
    fcntl(pipes[1], F_SETFL, 0);
    RawClient dumper(mSocket);
    ASSERT_TRUE(dumper.send(frame(kDump, concat({ints({1}), text("--help")})), {pipes[1]}));
    close(pipes[1]);

    auto begin = Clock::now();
    EXPECT_EQ(ctl({"version"}).exitCode, 0) << "another client was held up";
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));

    RawReply dumpReply;
    EXPECT_TRUE(dumper.receive(&dumpReply));
    EXPECT_EQ(dumpReply.status, kDumpBlocked);
    EXPECT_TRUE(silent.closedWithin(10000)) << "an idle client must be cut off";
    EXPECT_TRUE(halfHeader.closedWithin(10000)) << "a stalled request must be cut off";
    EXPECT_TRUE(deaf.closedWithin(10000)) << "a client that reads nothing must be cut off";
    close(pipes[0]);
    EXPECT_EQ(ctl({"version"}).exitCode, 0);
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, AFloodOfConnectionsIsCappedAndTheDaemonRecovers) {
    start({"--max-clients", "4", "--timeout-ms", "3000"});
    size_t baseFds = daemonFdCount();
    std::vector<std::unique_ptr<RawClient>> flood;
    for (int i = 0; i < 60; ++i) {
        flood.push_back(std::make_unique<RawClient>(mSocket));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    auto answeredBusy = [](RawClient& client, int ms) {
        pollfd p{client.fd(), POLLIN, 0};
        RawReply reply;
        return poll(&p, 1, ms) > 0 && client.receive(&reply, 100) && reply.status == kBusy;
    };
    int busy = 0;
    for (auto& client : flood) {
        busy += answeredBusy(*client, 0);
    }
    EXPECT_GE(busy, 56) << "connections beyond the limit must be refused at once";
    // A slot may have been held by the start-up check's connection for a moment:
    // connect until a newcomer is refused, so that every slot is surely taken.
    for (int i = 0; i < 5; ++i) {
        flood.push_back(std::make_unique<RawClient>(mSocket));
        if (answeredBusy(*flood.back(), 300)) {
            break;
        }
    }
    CtlRun refused = ctl({"version"});
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_NE(refused.err.find("too many clients"), std::string::npos);
    // The silent ones are cut off after the timeout; then the daemon answers again.
    EXPECT_TRUE(eventually([this] { return ctl({"version"}).exitCode == 0; }));
    flood.clear();
    EXPECT_TRUE(eventually([&] { return daemonFdCount() <= baseFds; }))
        << "descriptors leaked: " << daemonFdCount() << " open, " << baseFds << " before";
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, StartUpRefusesLiveDaemonsBadPathsAndBrokenConfigurations) {
    start();
    // A second daemon on the same socket is refused; the first goes on.
    CtlRun second = run(daemonArgs({}));
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.err.find("already listening"), std::string::npos) << second.err;
    EXPECT_EQ(ctl({"version"}).exitCode, 0);

    // A daemon killed outright leaves its socket file; the next one replaces it.
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    mPid = -1;
    struct stat st {};
    ASSERT_EQ(lstat(mSocket.c_str(), &st), 0);
    start();
    EXPECT_EQ(stop(), 0);

    // A file that is not a socket is never replaced.
    mkdir((mDir + "/run").c_str(), 0755);
    std::ofstream(mSocket) << "keep me";
    CtlRun notSocket = run(daemonArgs({}));
    EXPECT_EQ(notSocket.exitCode, 1);
    EXPECT_EQ(readFile(mSocket), "keep me");
    unlink(mSocket.c_str());

    // A configuration without the default groups: the service's own message, no socket.
    writeConfig(R"(<cmd id="4116" name="probe"><s><duration>5</duration></s></cmd>)");
    CtlRun broken = run(daemonArgs({}));
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_NE(broken.err.find("init default group sched level failed!"), std::string::npos);
    EXPECT_NE(lstat(mSocket.c_str(), &st), 0) << "a daemon that failed left its socket";
    EXPECT_EQ(run(daemonArgs({"--allow", "event=user:"})).exitCode, 1);
    std::ofstream(mDir + "/policy") << "event uid:5\nsteal uid:5\n";
    CtlRun badPolicy = run(daemonArgs({"--policy", mDir + "/policy"}));
    EXPECT_EQ(badPolicy.exitCode, 1);
    EXPECT_NE(badPolicy.err.find("policy:2: unknown right 'steal'"), std::string::npos);
    EXPECT_EQ(run(daemonArgs({"--backend", "kernel"})).exitCode, 2);
}

TEST_F(DaemonTest, SigtermFinishesRequestsInFlightReleasesBoostsAndRemovesTheSocket) {
    start({"--timeout-ms", "60000"});
    // Thread id 0 stays boosted until a stop comes: only the daemon's release at
    // shutdown can produce its unboost.
    ASSERT_EQ(ctl({"event", "4116", "--msg", "pid=7|tid=0", "0"}).exitCode, 0);
    RawClient idle(mSocket);
    RawClient inFlight(mSocket);
    Bytes request = frame(kEvent, concat({ints({100}), text(""), ints({1, 9})}));
    ASSERT_TRUE(inFlight.send(Bytes(request.begin(), request.begin() + 14)));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(recordHas("setProbeTarget 0 -1"));

    auto begin = Clock::now();
    kill(mPid, SIGTERM);
    EXPECT_TRUE(eventually([this] { return !RawClient(mSocket).connected(); }))
        << "still accepting after SIGTERM";
    ASSERT_TRUE(inFlight.send(Bytes(request.begin() + 14, request.end())));
    RawReply reply;
    EXPECT_TRUE(inFlight.receive(&reply)) << "the request in flight was not answered";
    EXPECT_EQ(reply.status, kOk);
    EXPECT_EQ(reply.result, 0);
    EXPECT_TRUE(idle.closedWithin(10000));
    EXPECT_EQ(stop(), 0);  // already signalled; collects the exit status
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10)) << "idle clients delayed shutdown";

    EXPECT_TRUE(recordHas("doAction cmd=100 duration=30 len=1 payload=9 pairs=10:1 name=io_boost"));
    EXPECT_TRUE(recordHas("setProbeTarget 0 -1")) << "a boost outlived the service";
    struct stat st {};
    EXPECT_NE(lstat(mSocket.c_str(), &st), 0) << "socket left behind";
    EXPECT_NE(lstat((mDir + "/run").c_str(), &st), 0) << "socket folder left behind";

    start();
    EXPECT_EQ(stop(SIGINT), 0);
    EXPECT_NE(lstat(mSocket.c_str(), &st), 0);
}

}  // namespace
