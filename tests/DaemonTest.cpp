// briskd and briskctl end to end: a real daemon on a temporary socket, driven by
// briskctl and by raw sockets that speak the wire format as documented.
#include <sys/stat.h>

#include <climits>
#include <memory>
#include <random>
#include <tuple>

#include "tests/support/DaemonHarness.h"

namespace {

class DaemonTest : public DaemonHarness {};

TEST_F(DaemonTest, EveryEntryPointReachesTheServiceThroughBriskctl) {
    start();
    EXPECT_EQ(ctl({"version"}).out, "version 1\n");
    // An on/off event: its frequency pair goes to setConfig, its platform item to doAction.
    CtlRun onOff = ctl({"event", "12300", "0"});
    EXPECT_EQ(onOff.exitCode, 0) << onOff.err;
    EXPECT_EQ(onOff.out, "result 0: done\n");
    EXPECT_TRUE(recordHas("setConfig 2:1200000"));
    EXPECT_EQ(countRecord("doAction cmd=12300 duration=0 len=1 payload=0 "), 1u);
    // A timed event with message and payload arrives as sent; no values: null payload.
    EXPECT_EQ(ctl({"event", "100", "--msg", "io now", "7", "-8"}).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=2 payload=7,-8 "), 1u);
    EXPECT_EQ(ctl({"event", "100"}).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=0 payload=null "), 1u);

    // Client requests by name: the client's ceiling is written, and read back.
    EXPECT_EQ(ctl({"set", "DUSK", "gpu_max=600000"}).exitCode, 0);
    EXPECT_TRUE(recordHas("setConfig 8:600000"));
    EXPECT_EQ(ctl({"get", "gpu_max", "22"}).out, "result 0: done\ngpu_max 600000\n22 2000000\n");
    // Scheduling tags by number go to the scheduling manager.
    size_t schedCalls = countRecord("doSchedLevelAction ");
    EXPECT_EQ(ctl({"set", "fern", "40=1"}).exitCode, 0);
    EXPECT_EQ(countRecord("doSchedLevelAction "), schedCalls + 1);

    // The dump is written to briskctl's own standard output by the daemon.
    CtlRun logOn = ctl({"dump", "--logon"});
    EXPECT_EQ(logOn.exitCode, 0) << logOn.err;
    EXPECT_EQ(logOn.out, "brisk log is ON\n\n");
    EXPECT_NE(ctl({"dump", "--", "--help"}).out.find("--easgrouplist: print set eas group list"),
              std::string::npos);
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, PeerCredentialsDecideAndRefusalsChangeNothing) {
    std::ofstream(mDir + "/policy") << "# granted to nobody\n"
                                    << "fern  gid:65534   # by group\n\n"
                                    << "get uid:1,uid:65534\n";
    start({"--allow", "event=uid:65534", "--policy", mDir + "/policy"});
    size_t before = record().size();

    // Denied: another client's identity, the dump (a refused one writes nothing).
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"set", "MOSS", "40=1"}, {"dump", "--logon"}}) {
        CtlRun refused = ctl(args, true);
        EXPECT_EQ(refused.exitCode, 4) << args[1];
        EXPECT_NE(refused.err.find("permission denied"), std::string::npos) << refused.err;
        EXPECT_EQ(refused.out, "") << args[1];
    }
    EXPECT_EQ(ctl({"set", "DUSK", "gpu_max=1"}, true).err,
              "briskctl: permission denied: uid 65534 may not act as DUSK\n");
    EXPECT_EQ(record().size(), before) << "a refused request reached the platform";

    // Granted by uid and by group; the version needs no right.
    EXPECT_EQ(ctl({"event", "100", "1"}, true).exitCode, 0);
    EXPECT_EQ(countRecord("doAction cmd=100 duration=30 len=1 payload=1 "), 1u);
    EXPECT_EQ(ctl({"set", "FERN", "gpu_max=500000"}, true).exitCode, 0);
    EXPECT_TRUE(recordHas("setConfig 8:500000"));
    // The report switch needs the event right; any other client id is the admin's:
    // the service would write a negative id's limits as they stand.
    EXPECT_EQ(ctl({"set", "0", "10000=65536"}, true).exitCode, 0);
    size_t granted = record().size();
    const std::vector<std::string> adminOnly[] = {
        {"set", "-1", "little_cpu_max=1", "big_cpu_max=1", "gpu_max=1", "22=1", "12345=7"},
        {"set", "0", "10000=65536", "gpu_max=1"},
        {"set", "0", "40=1"},
        {"set", "4", "gpu_max=1"},
    };
    for (const std::vector<std::string>& args : adminOnly) {
        CtlRun refused = ctl(args, true);
        EXPECT_EQ(refused.exitCode, 4) << args[1];
        EXPECT_EQ(refused.err,
                  "briskctl: permission denied: uid 65534 may not act as a client other than "
                  "DUSK, FERN and MOSS\n");
    }
    EXPECT_EQ(record().size(), granted) << "a client id of the admin's reached the platform";
    EXPECT_EQ(ctl({"get", "gpu_max"}, true).out, "result 0: done\ngpu_max 500000\n");
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
        const std::tuple<uint16_t, Bytes, int32_t, const char*> answered[] = {
            {77, {}, kUnknown, "an unknown request type"},
            {kEvent, concat({ints({100}), text(""), ints({1000, 1, 2})}), kBad,
             "a payload count beyond the values sent"},
            {kEvent, concat({ints({100}), text(std::string("a\0b", 3)), ints({0})}), kBad,
             "a message with a NUL byte cannot be passed as a C string"},
            {kEvent, concat({ints({100}), text(std::string(4097, 'x')), ints({0})}), kBad,
             "a message over its limit"},
            {kSet, concat({ints({1, 2, 8, 1}), Bytes{0}}), kBad, "a pair cut short"},
            {kGet, ints({1, 8, 9}), kBad, "bytes left over"},
            {kDump, concat({ints({1}), text("--help")}), kBad, "a dump without a descriptor"}};
        for (const auto& c : answered) {
            EXPECT_EQ(client.call(std::get<0>(c), std::get<1>(c)).status, std::get<2>(c))
                << std::get<3>(c);
        }
        EXPECT_EQ(client.call(kDump, concat({ints({1}), text("--help")}), {0, 0, 0}).status, kBad)
            << "a dump with three descriptors";
        // A good dump: once the client closes its end, the pipe ends, so the daemon
        // has closed its copy.
        int pipes[2];
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
    // A timeout well above what one briskctl takes under emulation, so that a
    // client held up behind a blocked one is told apart from a slow start.
    start({"--timeout-ms", "5000"});
    RawClient silent(mSocket);
    RawClient halfHeader(mSocket);
    halfHeader.send({'B', 'R', 'S'});
    // Asks for a lot and never reads the answers.
    RawClient deaf(mSocket);
    Bytes bigGet = ints({4000});
    for (int i = 0; i < 4000; ++i) {
        put32(bigGet, 22);
    }
    Bytes request = frame(kGet, bigGet);
    fcntl(deaf.fd(), F_SETFL, O_NONBLOCK);
    for (int i = 0; i < 200 && send(deaf.fd(), request.data(), request.size(), MSG_NOSIGNAL) > 0;
         ++i) {
    }
    // A non-blocking pipe filled to the brim.
    auto fullPipe = [](int fds[2]) {
        ASSERT_EQ(pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0);
        const std::vector<char> filler(65536, 'x');
        while (write(fds[1], filler.data(), filler.size()) > 0) {
        }
    };
    // Hands over a pipe that is already full and never read.
    int pipes[2];
    fullPipe(pipes);
    fcntl(pipes[1], F_SETFL, 0);
    RawClient dumper(mSocket);
    ASSERT_TRUE(dumper.send(frame(kDump, concat({ints({1}), text("--help")})), {pipes[1]}));
    close(pipes[1]);
    // A full pipe left non-blocking is waited for like a blocking one, and read
    // in time it takes the whole dump.
    int slow[2];
    fullPipe(slow);
    RawClient slowDumper(mSocket);
    ASSERT_TRUE(slowDumper.send(frame(kDump, concat({ints({1}), text("--logoff")})), {slow[1]}));
    close(slow[1]);
    pollfd early{slowDumper.fd(), POLLIN, 0};
    EXPECT_EQ(poll(&early, 1, 300), 0) << "the daemon gave up on a non-blocking pipe";
    fcntl(slow[0], F_SETFL, 0);
    const std::string slowText = readToEnd(slow[0], 5000);
    close(slow[0]);
    const size_t dumpAt = slowText.find_first_not_of('x');
    EXPECT_EQ(dumpAt == std::string::npos ? "" : slowText.substr(dumpAt), "brisk log is OFF\n\n");
    RawReply slowReply;
    EXPECT_TRUE(slowDumper.receive(&slowReply));
    EXPECT_EQ(slowReply.status, kOk) << slowReply.message;

    auto begin = Clock::now();
    EXPECT_EQ(ctl({"version"}).exitCode, 0) << "another client was held up";
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(3000));

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

TEST_F(DaemonTest, ClientsAreAllServedAndNeverTurnedAwayBelowTheLimit) {
    // Each client closes before it connects again, so it never holds more than
    // one connection: the limit is never reached, whether or not the daemon's
    // thread for the closed connection has ended yet.
    start({"--max-clients", "1"});
    int refused = 0;
    for (int i = 0; i < 300; ++i) {
        RawClient client(mSocket);
        refused += client.call(kVersion, {}).status != kOk;
    }
    EXPECT_EQ(refused, 0) << "of 300 connections one after another, with a limit of 1";
    EXPECT_EQ(stop(), 0);

    // Many clients at once, each connecting again and again: every set and get
    // is served and reaches the service.
    start();
    std::atomic<int> failed{0};
    std::vector<std::thread> clients;
    for (int t = 0; t < 16; ++t) {
        clients.emplace_back([&, t] {
            for (int i = 0; i < 40; ++i) {
                RawClient client(mSocket);
                RawReply set = client.call(kSet, ints({1 + t % 3, 1, 99, 100000 + t * 100 + i}));
                RawReply get = client.call(kGet, ints({1, 99}));
                failed += set.status != kOk || set.result != 0 || get.status != kOk ||
                          get.result != 0 || get.values.size() != 1;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(failed, 0) << "of 16 clients connecting 40 times each, with a limit of 32";
    EXPECT_EQ(countRecord("setConfig 99:"), 640u);
    EXPECT_EQ(stop(), 0);
}

// Holds `count` connections that each asked for the version; reports each answer.
std::function<void(ChildAs&)> holdConnections(const std::string& socket, int count) {
    return [socket, count](ChildAs& self) {
        std::vector<std::unique_ptr<RawClient>> held;
        std::string answers;
        for (int i = 0; i < count; ++i) {
            held.push_back(std::make_unique<RawClient>(socket));
            RawReply reply = held.back()->call(kVersion, {});
            answers += reply.status == kOk ? "ok" : reply.message;
            answers += "\n";
        }
        self.report(answers);
        self.waitForRelease();
    };
}

TEST_F(DaemonTest, OneUserCannotTakeEveryConnectionAndRootKeepsAReserve) {
    start({"--max-clients", "6", "--max-per-uid", "3", "--reserved", "2", "--timeout-ms", "60000"});
    auto first = std::make_unique<ChildAs>(40001, holdConnections(mSocket, 4));
    EXPECT_EQ(first->result(),
              "ok\nok\nok\ntoo many connections from uid 40001 (limit 3); try again later\n");
    {
        ChildAs second(40002, holdConnections(mSocket, 2));
        EXPECT_EQ(second.result(),
                  "ok\ntoo many clients (the last 2 of 6 connections are kept for root and the "
                  "daemon's user); try again later\n");
        RawClient root1(mSocket);
        RawClient root2(mSocket);
        EXPECT_EQ(root1.call(kVersion, {}).status, kOk) << "root was kept out";
        EXPECT_EQ(root2.call(kVersion, {}).status, kOk) << "root was kept out";
        RawClient root3(mSocket);
        RawReply full = root3.call(kVersion, {});
        EXPECT_EQ(full.status, kBusy);
        EXPECT_EQ(full.message, "too many clients (limit 6); try again later");
    }
    // Once the first user's clients have left, another user gets their places,
    // even before the daemon's threads for them have ended.
    first.reset();
    ChildAs third(40002, holdConnections(mSocket, 3));
    EXPECT_EQ(third.result(), "ok\nok\nok\n");
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonTest, ARequestFloodIsAnsweredBusyWhileOthersAreServed) {
    start({"--rate", "10", "--uid-rate", "15"});
    auto begin = Clock::now();
    ChildAs flood(40003, [this](ChildAs& self) {
        RawClient first(mSocket);
        RawClient second(mSocket);
        auto firstRefusal = [](RawClient& client) {
            for (int i = 0; i < 1000; ++i) {
                RawReply reply = client.call(kVersion, {});
                if (reply.status != kOk) {
                    return std::to_string(reply.status) + " " + reply.message + "\n";
                }
            }
            return std::string("never refused\n");
        };
        // A connection over its own rate; then another of the same user over the
        // user's rate, which the first has used up.
        std::string report = firstRefusal(first);
        report += firstRefusal(second);
        // Refused requests go on being answered, and the connection stays open.
        int answered = 0;
        for (int i = 0; i < 300; ++i) {
            RawReply reply = first.call(kVersion, {});
            answered += reply.status == kOk || reply.status == kBusy;
        }
        self.report(report + std::to_string(answered));
    });
    EXPECT_EQ(flood.result(),
              "6 busy, retry later: this connection sends more than 10 values a second\n"
              "6 busy, retry later: uid 40003 sends more than 15 values a second\n300");
    ChildAs other(40004, holdConnections(mSocket, 1));
    EXPECT_EQ(other.result(), "ok\n") << "another user was starved";
    EXPECT_EQ(ctl({"version"}).exitCode, 0);
    EXPECT_EQ(stop(), 0);
    // The refusals are logged once a second at most.
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin);
    std::string log = readFile(mDir + "/briskd.log");
    size_t lines = 0;
    for (size_t at = 0; (at = log.find("over the request rate", at)) != std::string::npos; ++at) {
        ++lines;
    }
    EXPECT_GE(lines, 1u);
    EXPECT_LE(lines, static_cast<size_t>(seconds.count()) + 1);
}

TEST_F(DaemonTest, ProbeEventsNameOnlyThreadsOfTheCallersOwnProcess) {
    start({"--allow", "event=uid:40005"});
    ChildAs child(40005, [this](ChildAs& self) {
        RawClient client(mSocket);
        std::string report;
        for (pid_t tid : {getppid(), 0, INT_MAX, getpid()}) {
            std::string msg = "pid=" + std::to_string(getpid()) + "|tid=" + std::to_string(tid);
            RawReply reply = client.call(kEvent, concat({ints({4116}), text(msg), ints({1, 0})}));
            report += std::to_string(reply.status) + " " + reply.message + "\n";
        }
        self.report(report);
        self.waitForRelease();  // the thread lives until its boost has been seen
    });
    const std::string self = std::to_string(getpid());
    const std::string childPid = std::to_string(child.pid());
    EXPECT_EQ(child.result(),
              "1 permission denied: uid 40005 may not boost threads of other processes: thread " +
                  self + " is not a thread of pid " + childPid +
                  "\n"
                  "2 probe: thread id 0 names no thread\n"
                  "2 probe: thread id 2147483647 names no thread\n"
                  "0 \n");
    EXPECT_TRUE(eventually([&] { return recordHas("setProbeTarget " + childPid + " 0"); }));
    // Root may name another process's thread, but no thread 0 either.
    EXPECT_EQ(ctl({"event", "4116", "--msg", "pid=1|tid=" + childPid, "0"}).exitCode, 0);
    CtlRun zero = ctl({"event", "4116", "--msg", "pid=1|tid=0", "0"});
    EXPECT_EQ(zero.exitCode, 5);
    EXPECT_EQ(zero.err, "briskctl: probe: thread id 0 names no thread\n");
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(countRecord("setProbeTarget " + self + " "), 0u);
    EXPECT_EQ(countRecord("setProbeTarget 0 "), 0u);
    EXPECT_EQ(countRecord("setProbeTarget 2147483647 "), 0u);
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
    EXPECT_NE(
        broken.err.find("check the configuration with 'brisk-sim --check --config " + mConfig),
        std::string::npos)
        << "the daemon says where to look: " << broken.err;
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
    RawClient idle(mSocket);
    RawClient inFlight(mSocket);
    Bytes request = frame(kEvent, concat({ints({100}), text(""), ints({1, 9})}));
    ASSERT_TRUE(inFlight.send(Bytes(request.begin(), request.begin() + 14)));
    // A boost of this process's thread, held for a quarter of a second unless a
    // stop comes first: the daemon's release at shutdown is that stop.
    const std::string self = std::to_string(getpid());
    ASSERT_EQ(ctl({"event", "4116", "--msg", "pid=1|tid=" + self, "0"}).exitCode, 0);
    ASSERT_TRUE(eventually([&] { return recordHas("setProbeTarget " + self + " 0"); }));

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
    EXPECT_TRUE(recordHas("setProbeTarget " + self + " -1")) << "a boost outlived the service";
    struct stat st {};
    EXPECT_NE(lstat(mSocket.c_str(), &st), 0) << "socket left behind";
    EXPECT_NE(lstat((mDir + "/run").c_str(), &st), 0) << "socket folder left behind";

    start();
    EXPECT_EQ(stop(SIGINT), 0);
    EXPECT_NE(lstat(mSocket.c_str(), &st), 0);
}

}  // namespace
