// briskd and briskctl as an operator uses them: a status that shows what the
// service holds, answers that say what they mean, names instead of numbers, a
// policy re-read on SIGHUP, readiness told to systemd, --check-config.
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/DaemonHarness.h"

namespace {

class DaemonOperatorTest : public DaemonHarness {
protected:
    std::string log() const { return readFile(mDir + "/briskd.log"); }
};

// The element of `array` whose member `key` is the number `value`.
const Json* withNumber(const Json* array, const std::string& key, double value) {
    for (size_t i = 0; array != nullptr && i < array->items.size(); ++i) {
        if (array->items[i].numberOr(key, -12345) == value) {
            return &array->items[i];
        }
    }
    return nullptr;
}

TEST_F(DaemonOperatorTest, StatusShowsWhatTheServiceHoldsFieldByField) {
    start();
    // A realistic history: DUSK caps the little cores, an on/off action begins
    // by name, two scenes of equal priority begin (the first stays applied),
    // reporting is switched on, and a thread starts work.
    ASSERT_EQ(ctl({"set", "dusk", "little_cpu_max=1500000"}).exitCode, 0);
    ASSERT_EQ(ctl({"event", "game", "begin"}).exitCode, 0);
    ASSERT_EQ(ctl({"event", "video", "begin"}).exitCode, 0);
    ASSERT_EQ(ctl({"event", "4123", "0"}).exitCode, 0);
    ASSERT_EQ(ctl({"set", "0", "10000=65536"}).exitCode, 0);
    const std::string self = std::to_string(getpid());
    RawClient raw(mSocket);
    ASSERT_EQ(
        raw.call(kEvent, concat({ints({4116}), text("pid=1|tid=" + self), ints({1, 0})})).result,
        0);
    RawReply rawStatus = raw.call(kStatus, {});
    ASSERT_EQ(rawStatus.status, kOk);
    Json early;
    ASSERT_TRUE(parseJson(rawStatus.document, &early, nullptr)) << rawStatus.document;
    const Json* threads = early.get("threads");
    ASSERT_NE(threads, nullptr);
    auto listed = [&](const char* list) {
        const Json* tids = threads->get(list);
        return tids != nullptr &&
               std::any_of(tids->items.begin(), tids->items.end(),
                           [&](const Json& tid) { return tid.number == getpid(); });
    };
    const bool seen = listed("boosted") || listed("waiting");
    EXPECT_TRUE(seen) << "the probed thread is waiting or boosted:\n" << rawStatus.document;

    Json status = json({"status"});
    EXPECT_EQ(fields(&status, {"format"}), "1");
    EXPECT_EQ(fields(status.get("daemon"), {"pid", "socket", "configuration"}),
              std::to_string(mPid) + " " + mSocket + " " + mConfig);
    EXPECT_EQ(fields(status.get("service"), {"initialised", "limit_reporting", "verbose_log"}),
              "true true false")
        << "limit reporting is switched on by client 0, tag 10000";
    EXPECT_EQ(fields(status.get("backend"), {"name"}), "sim");
    // The little ceiling: the device's value in force, held by DUSK and by the
    // game's event ceiling (1200000, the lower, is what the device got).
    const Json* node = withNumber(status.get("backend")->get("nodes"), "tag", 2);
    ASSERT_NE(node, nullptr) << "no node for tag 2";
    EXPECT_EQ(fields(node, {"name", "value"}), "little_cpu_max 1200000");
    EXPECT_EQ(eachFields(node->get("holders"), {"kind", "client", "command", "name", "value"}),
              "client DUSK 1500000; event 12300 game 1200000");

    const Json* frequency = status.get("frequency");
    ASSERT_NE(frequency, nullptr);
    const Json* dusk = withNumber(frequency->get("clients"), "id", 1);
    ASSERT_NE(dusk, nullptr);
    EXPECT_EQ(fields(dusk, {"client"}) + ": " + eachFields(dusk->get("limits"), {"value"}),
              "DUSK: 1500000");
    EXPECT_EQ(fields(withNumber(frequency->get("events"), "command", 12300), {"tag_name"}),
              "little_cpu_max");
    const Json* scenes = status.get("scenes");
    ASSERT_NE(scenes, nullptr);
    EXPECT_EQ(fields(scenes->get("applied"), {"command", "priority"}), "4118 150");
    EXPECT_EQ(eachFields(scenes->get("waiting"), {"name"}), "camera");
    EXPECT_EQ(eachFields(status.get("actions"), {"command"}), "12300");
    ASSERT_EQ(status.get("scheduling")->items.size(), 9u);
    EXPECT_EQ(fields(withNumber(status.get("scheduling"), "tag", 53), {"name"}), "top_app");

    // The same on one screen for people.
    CtlRun human = ctl({"status"});
    EXPECT_EQ(human.exitCode, 0) << human.err;
    for (const char* line : {"back-end        sim", "limit reporting on",
                             "scene           4118 video (priority 150); waiting: 4123 camera",
                             "on/off actions  12300 game", "DUSK 1500000, event 12300 game"}) {
        EXPECT_NE(human.out.find(line), std::string::npos) << line << " in\n" << human.out;
    }

    // Ended, the action holds nothing; the status needs the get right.
    ASSERT_EQ(ctl({"event", "GAME", "end"}).exitCode, 0);
    status = json({"status"});
    EXPECT_EQ(eachFields(status.get("actions"), {"command"}), "");
    EXPECT_EQ(eachFields(withNumber(status.get("backend")->get("nodes"), "tag", 2)->get("holders"),
                         {"client"}),
              "DUSK");
    CtlRun refused = ctl({"status"}, true);
    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_NE(refused.err.find("may not read values"), std::string::npos) << refused.err;
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonOperatorTest, AnswersSayWhatTheyMean) {
    start();
    const std::pair<std::vector<std::string>, std::string> answers[] = {
        {{"event", "12300", "begin"}, "result 0: done\n"},
        {{"event", "555"}, "result 2: the configuration has no command 555\n"},
        {{"event", "12300", "1"}, "result -1: invalid parameters\n"},
        {{"set", "DUSK", "gpu_max=-5"},
         "result 3: the request was refused (a value out of range, or the device failed)\n"},
    };
    for (const auto& answer : answers) {
        CtlRun run = ctl(answer.first);
        EXPECT_EQ(run.out, answer.second) << answer.first[1];
        EXPECT_EQ(run.exitCode, answer.second == "result 0: done\n" ? 0 : 1);
    }
    Json get = json({"get", "gpu_max", "22"});
    EXPECT_EQ(fields(&get, {"result", "meaning"}), "0 done");
    EXPECT_EQ(eachFields(get.get("values"), {"value"}), "-1; 2000000");
    EXPECT_EQ(json({"event", "555"}, 1).numberOr("result", 0), 2);
    EXPECT_EQ(json({"version"}).numberOr("version", 0), 1);

    // Ids the service never dispatches, names, typos, bad numbers, requests over
    // the protocol's limits: refused (exit status 2) before anything is sent.
    const size_t before = record().size();
    std::vector<std::string> set = {"set", "DUSK"}, gets = {"get"}, event = {"event", "100"};
    for (int i = 0; i < 5000; ++i) {
        set.push_back("gpu_max=1");
        gets.push_back("22");
        event.push_back("0");
    }
    const std::pair<std::vector<std::string>, std::string> usageErrors[] = {
        {set,
         "5000 pairs make a request body of 40008 bytes, over the protocol's limit of 16384 "
         "bytes; nothing was sent"},
        {gets, "5000 tags make a request body of 20004 bytes, over the protocol's limit of 16384"},
        {event, "5000 values make a request body of 20012 bytes, over the protocol's limit of"},
        {{"event", "100", "--msg", std::string(4097, 'x')}, "limit of 4096 bytes; nothing was"},
        {{"dump", std::string(4097, 'x')}, "argument 1 is 4097 bytes long, over the protocol's"},
        {{"dump"}, "one OPTION"},
        {{"dump", "--freqlist", "--easgrouplist"}, "one OPTION"},
        {{"event", "30000", "0"}, "above 20225"},
        {{"event", "30000", "0"}, "--force"},
        {{"event", "gmae", "begin"}, "did you mean game?"},
        {{"get", "gpu_mx"}, "did you mean gpu_max?"},
        {{"event", "12x"}, "12x"},
        {{"set", "DUSK", "no_such_tag=1"}, "no_such_tag"}};
    for (const auto& usage : usageErrors) {
        CtlRun refused = ctl(usage.first);
        EXPECT_EQ(refused.exitCode, 2) << usage.first.back();
        EXPECT_NE(refused.err.find(usage.second), std::string::npos) << refused.err;
    }
    EXPECT_EQ(ctl({"get", "--help"}).exitCode, 0);
    EXPECT_EQ(record().size(), before) << "refused requests reached the device";
    EXPECT_EQ(ctl({"event", "30000", "--force", "0"}).out, "result 0: done\n");

    CtlRun commands = ctl({"commands"});
    EXPECT_NE(commands.out.find("12300   game"), std::string::npos) << commands.out;
    Json list = json({"commands"});
    EXPECT_EQ(fields(withNumber(list.get("commands"), "id", 12300), {"route"}), "on/off");
    EXPECT_EQ(fields(withNumber(list.get("commands"), "id", 4118), {"route"}), "scene");

    // Dumps take exactly one option, from briskctl as from a raw client.
    RawReply none = RawClient(mSocket).call(kDump, ints({0}), {STDOUT_FILENO});
    EXPECT_EQ(none.status, kBad);
    EXPECT_NE(none.message.find("exactly one option"), std::string::npos) << none.message;
    // An answer or dump that never reaches the output is an error.
    for (const char* output : {"/dev/full", kNoStdout}) {
        const std::string why = output == kNoStdout ? "Bad file descriptor" : "No space left";
        for (const std::vector<std::string>& args :
             {std::vector<std::string>{"get", "gpu_max"}, {"--help"}, {"dump", "--freqlist"}}) {
            CtlRun lost = ctl(args, false, output);
            EXPECT_EQ(lost.exitCode, 5) << args[0] << " to " << output;
            EXPECT_NE(lost.err.find(why), std::string::npos) << lost.err;
        }
    }
    Json dump = json({"dump", "--logon"});
    EXPECT_EQ(dump.textOr("text", ""), "brisk log is ON\n\n");

    // A service message that ends in its own newline leaves no blank line.
    EXPECT_EQ(ctl({"dump", std::string(600, 'x')}).exitCode, 5);
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(log().find("\n\n"), std::string::npos) << log();
    EXPECT_NE(log().find("configuration " + mConfig + "; policy none"), std::string::npos) << log();
}

TEST_F(DaemonOperatorTest, ProgramsTellTheirVersionAndOptionErrorsInOneLine) {
    const std::string release = std::string(" ") + BRISK_RELEASE;
    EXPECT_EQ(run({kBriskd, "--version"}).out.find("briskd" + release), 0u);
    EXPECT_EQ(run({kBriskctl, "--version"}).out.find("briskctl" + release), 0u);
    for (const std::vector<std::string>& args : {std::vector<std::string>{kBriskd, "--bogus"},
                                                 {kBriskd, "--socket"},
                                                 {kBriskctl, "--bogus", "version"},
                                                 {kBriskctl, "--timeout-ms"}}) {
        CtlRun bad = run(args);
        EXPECT_EQ(bad.exitCode, 2) << args[1];
        EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1) << bad.err;
        EXPECT_NE(bad.err.find("(try "), std::string::npos) << bad.err;
    }
    // BRISK_SOCKET names the default socket of both.
    setenv("BRISK_SOCKET", mSocket.c_str(), 1);
    mPid = spawn({kBriskd, "--config", mConfig});
    bool up = eventually([this] { return run({kBriskctl, "version"}).exitCode == 0; }, 20000);
    unsetenv("BRISK_SOCKET");
    EXPECT_TRUE(up) << "briskctl and briskd did not meet on $BRISK_SOCKET";
    EXPECT_EQ(stop(), 0);
}

TEST_F(DaemonOperatorTest, CheckConfigGivesTheVerdictOfConfigurationAndPolicy) {
    const std::string policy = mDir + "/policy";
    std::ofstream(policy) << "get uid:1234\n";
    CtlRun good = run({kBriskd, "--check-config", "--config", mConfig, "--policy", policy});
    EXPECT_EQ(good.exitCode, 0) << good.out << good.err;
    EXPECT_NE(good.out.find("configuration " + mConfig + ": 20 commands, usable"),
              std::string::npos)
        << good.out;

    std::ofstream(policy) << "gte uid:1234\n";
    writeConfig("<cmd id=\"4116\" name=\"probe\"><s><duration>5</duration></s></cmd>");
    CtlRun bad = run({kBriskd, "--check-config", "--config", mConfig, "--policy", policy});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_NE(bad.out.find("no command 5376"), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find(policy + ":1: unknown right 'gte'"), std::string::npos) << bad.out;
    std::ofstream(mConfig) << "<policy><cmd id=";
    EXPECT_EQ(run({kBriskd, "--check-config", "--config", mConfig}).exitCode, 1);
}

TEST_F(DaemonOperatorTest, SighupRereadsThePolicyAndReadinessReachesSystemd) {
    // systemd's side of sd_notify: a datagram socket named by NOTIFY_SOCKET.
    const std::string notifyPath = mDir + "/notify";
    int notify = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, notifyPath.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(notify, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    auto nextNotice = [notify]() {
        pollfd p{notify, POLLIN, 0};
        char buffer[512] = {0};
        if (poll(&p, 1, 20000) != 1 || recv(notify, buffer, sizeof(buffer) - 1, 0) <= 0) {
            return std::string("<nothing>");
        }
        return std::string(buffer);
    };

    const std::string policy = mDir + "/policy";
    std::ofstream(policy) << "# nobody may read\n";
    setenv("NOTIFY_SOCKET", notifyPath.c_str(), 1);
    start({"--policy", policy});
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(nextNotice().find("READY=1"), 0u) << "readiness once it serves";
    // Writes the policy, sends SIGHUP: the notices, the exit status of a get as nobody.
    auto reload = [&](const std::string& text) {
        std::ofstream(policy) << text;
        kill(mPid, SIGHUP);
        std::string notices = nextNotice();
        notices += " " + nextNotice().substr(0, 7);
        return notices + " " + std::to_string(ctl({"get", "gpu_max"}, true).exitCode);
    };
    EXPECT_EQ(ctl({"get", "gpu_max"}, true).exitCode, 4);
    EXPECT_EQ(reload("get uid:65534\n"), "RELOADING=1 READY=1 0") << "the new policy is in force";
    // A policy that cannot be read leaves the one in force; a good one takes back.
    EXPECT_EQ(reload("get user:no-such-user-here\n"), "RELOADING=1 READY=1 0");
    EXPECT_EQ(reload("\n"), "RELOADING=1 READY=1 4") << "the grant was taken back";
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(nextNotice(), "STOPPING=1");
    close(notify);
    EXPECT_NE(log().find("the configuration is read only at start-up"), std::string::npos);
    EXPECT_NE(log().find("no such user: no-such-user-here; the policy in force stays"),
              std::string::npos)
        << log();
}

}  // namespace
