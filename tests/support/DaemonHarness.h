#pragma once

// The daemon tests' harness: a briskd child process on a socket in a temporary
// folder, briskctl runs, and a raw client that speaks the wire format by hand
// (as docs/protocol.md documents it), independent of the protocol library.
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ProgramCommand.h"
#include "tests/support/ServerHarness.h"
#include "tools/protocol/JsonReader.h"

extern const char kBriskd[];
extern const char kBriskctl[];
constexpr uid_t kNobody = 65534;  // and its group, gid 65534
// As a program's standard output path: none, the descriptor closed.
constexpr const char* kNoStdout = "<closed>";

// Request types and reply statuses of protocol version 1.
enum : uint16_t { kEvent = 1, kSet = 2, kGet = 3, kDump = 4, kVersion = 5, kStatus = 6 };
enum : int32_t { kOk = 0, kBad = 2, kBadVersion = 3, kTooLarge = 4, kUnknown = 5, kBusy = 6 };
enum : int32_t { kDumpBlocked = 7 };

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

void put32(Bytes& out, uint32_t v);
Bytes frame(uint16_t type, const Bytes& body, uint16_t version = 1);
Bytes ints(std::initializer_list<int32_t> values);
Bytes text(const std::string& s);
Bytes concat(std::initializer_list<Bytes> parts);

struct RawReply {
    int32_t status = -99;
    std::string message;
    int32_t result = -99;
    std::vector<int32_t> values;
    std::string document;  // status and command list: the JSON text after the values
};

// The members `keys` of a status or command-list object, space-separated in that
// order (texts, whole numbers, true/false; missing, null or empty ones left out), and of each
// object of an array, "; "-separated: one comparable line for many fields.
std::string fields(const Json* object, std::initializer_list<const char*> keys);
std::string eachFields(const Json* array, std::initializer_list<const char*> keys);

std::string readFile(const std::string& path);
std::vector<std::string> splitLines(const std::string& all);
// What arrives on `fd` until its end; "<no end>" when it does not end in time.
std::string readToEnd(int fd, int ms);

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
        const size_t documentAt = 16 + length + 4 * count;
        if (body.size() >= documentAt + 4) {
            reply->document.assign(reinterpret_cast<const char*>(&body[documentAt + 4]),
                                   get32(&body[documentAt]));
        }
        return true;
    }

    // The reply is read even when sending failed: a daemon that refuses the
    // connection answers and closes without reading the request.
    RawReply call(uint16_t type, const Bytes& body, const std::vector<int>& fds = {}) {
        RawReply reply;
        send(frame(type, body), fds);
        receive(&reply);
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

// A child process that runs `body` as another user (uid and gid `uid`, no
// supplementary groups). The body hands its findings to report(); it may then
// hold on (keeping its connections open) in waitForRelease() until the parent
// destroys this object.
class ChildAs {
public:
    ChildAs(uid_t uid, const std::function<void(ChildAs&)>& body);
    ~ChildAs();
    ChildAs(const ChildAs&) = delete;
    ChildAs& operator=(const ChildAs&) = delete;

    // In the child: sends `text` to the parent, once.
    void report(const std::string& text) {
        (void)!write(mReport[1], text.data(), text.size());
        close(mReport[1]);
        mReport[1] = -1;
    }
    // In the child: returns when the parent lets go.
    void waitForRelease() {
        char byte;
        while (read(mRelease[0], &byte, 1) < 0 && errno == EINTR) {
        }
    }
    // In the parent: what the child reported (waits for it).
    std::string result() { return readToEnd(mReport[0], 60000); }
    pid_t pid() const { return mPid; }

private:
    pid_t mPid = -1;
    int mReport[2] = {-1, -1};
    int mRelease[2] = {-1, -1};
};

struct CtlRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// A briskd child process on a socket in its own folder, with the record and the
// jank log in that folder. The folder is open to all, so that a child running
// as another user can reach the socket.
class DaemonHarness : public ::testing::Test {
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

    // Runs a program without waiting for it (as `asNobody`: as uid and gid 65534):
    // standard output to `outPath` (kNoStdout: closed), standard error to `errPath`.
    static pid_t launch(const std::vector<std::string>& args, const std::string& outPath,
                        const std::string& errPath, bool asNobody = false) {
        const ProgramCommand command(args);
        pid_t pid = fork();
        if (pid == 0) {
            int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            if (outPath == kNoStdout) {
                close(STDOUT_FILENO);
            } else {
                dup2(open(outPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644), STDOUT_FILENO);
            }
            dup2(err, STDERR_FILENO);
            if (asNobody &&
                (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
                _exit(126);
            }
            command.exec();
            _exit(127);
        }
        return pid;
    }

    // Runs briskd without waiting for it; its output goes to the folder's log.
    pid_t spawn(const std::vector<std::string>& args) {
        return launch(args, mDir + "/briskd.log", mDir + "/briskd.log");
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
    // Its standard output goes to `stdoutPath` when one is given (kNoStdout: none).
    CtlRun run(const std::vector<std::string>& args, bool asNobody = false,
               const std::string& stdoutPath = std::string()) {
        static std::atomic<int> counter{0};
        int n = counter++;
        std::string outPath = stdoutPath.empty() ? mDir + "/out" + std::to_string(n) : stdoutPath;
        std::string errPath = mDir + "/err" + std::to_string(n);
        pid_t pid = launch(args, outPath, errPath, asNobody);
        int status = 0;
        waitpid(pid, &status, 0);
        CtlRun result;
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.out = stdoutPath.empty() ? readFile(outPath) : std::string();
        result.err = readFile(errPath);
        return result;
    }

    CtlRun ctl(std::vector<std::string> args, bool asNobody = false,
               const std::string& stdoutPath = std::string()) {
        args.insert(args.begin(), {kBriskctl, "--socket", mSocket});
        return run(args, asNobody, stdoutPath);
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
        const std::vector<std::string> lines = record();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    // The JSON of `briskctl args... --json`, which must exit with `exitCode`.
    Json json(std::vector<std::string> args, int exitCode = 0) {
        args.push_back("--json");
        CtlRun run = ctl(args);
        EXPECT_EQ(run.exitCode, exitCode) << run.err;
        Json document;
        std::string error;
        EXPECT_TRUE(parseJson(run.out, &document, &error)) << error << "\n" << run.out;
        return document;
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
