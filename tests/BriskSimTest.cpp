// brisk-sim as its users run it: the examples against their golden transcripts
// and timelines, the scenario language and its errors, the configuration checker
// on good and broken files. Random scenarios and configuration files are the
// fuzz targets' job (tests/fuzz/ScenarioFuzz.cpp, ConfigCheckerFuzz.cpp).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <tinyxml2.h>

#include "config/Vocabulary.h"
#include "tests/support/FakeKernelTree.h"
#include "tests/support/ProgramCommand.h"
#include "tools/protocol/JsonReader.h"

namespace {

const std::string kBinary = BRISK_BINARY_DIR "/tools/brisk-sim/brisk-sim";
const std::string kSource = BRISK_SOURCE_DIR;
const std::string kShippedConfig = kSource + "/etc/brisk_config_cust.xml";

struct SimRun {
    int status = -1;  // exit status; 128 + signal when killed
    std::string out;
    std::string err;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// A fresh folder for the files of one test, removed with them at the end.
class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/brisk-sim-test-XXXXXX";
        mPath = mkdtemp(pattern) != nullptr ? pattern : "/tmp/brisk-sim-test";
    }
    ~TempDir() { std::filesystem::remove_all(mPath); }
    std::string file(const std::string& name, const std::string& text) {
        writeFile(mPath + "/" + name, text);
        return mPath + "/" + name;
    }

private:
    std::string mPath;
};

// Runs brisk-sim with `args` and `input` on its standard input; kills it after
// 30 seconds (a hang is a failure, not a stuck test). With `terminal`, its
// standard output is a pseudo terminal of the test, and NO_COLOR is set to
// `noColor` when that is not null.
SimRun runSim(const std::vector<std::string>& args, const std::string& input = "",
              bool terminal = false, const char* noColor = nullptr) {
    TempDir dir;
    const std::string in = dir.file("in", input);
    const std::string out = dir.file("out", "");
    const std::string err = dir.file("err", "");
    std::vector<std::string> words{kBinary};
    words.insert(words.end(), args.begin(), args.end());
    const ProgramCommand command(words);
    const int master = terminal ? posix_openpt(O_RDWR | O_NOCTTY) : -1;
    if (terminal && (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)) {
        return SimRun{-1, "<no pseudo terminal>", ""};
    }
    const int slave = terminal ? open(ptsname(master), O_RDWR | O_NOCTTY) : -1;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(open(in.c_str(), O_RDONLY), 0);
        dup2(terminal ? slave : open(out.c_str(), O_WRONLY | O_TRUNC), 1);
        dup2(open(err.c_str(), O_WRONLY | O_TRUNC), 2);
        setenv("TERM", "xterm", 1);
        noColor != nullptr ? setenv("NO_COLOR", noColor, 1) : unsetenv("NO_COLOR");
        command.exec();
        _exit(127);
    }
    SimRun run;
    if (terminal) {
        close(slave);
        char buffer[4096];
        for (ssize_t n; (n = read(master, buffer, sizeof(buffer))) > 0;) {
            run.out.append(buffer, static_cast<size_t>(n));
        }
        close(master);
    }
    int status = 0;
    for (int waited = 0; waitpid(pid, &status, WNOHANG) == 0; waited += 5) {
        if (waited > 30000) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            break;
        }
        usleep(5000);
    }
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out += readFile(out);
    run.err = readFile(err);
    return run;
}

SimRun runScenario(const std::string& scenario) {
    return runSim({"--config", kShippedConfig, "-"}, scenario);
}

SimRun check(const std::string& xml, const std::vector<std::string>& more = {}) {
    TempDir dir;
    std::vector<std::string> args{"--check", "--config", dir.file("brisk_config_cust.xml", xml)};
    args.insert(args.end(), more.begin(), more.end());
    return runSim(args);
}

std::string policy(const std::string& commands) {
    return "<?xml version=\"1.0\"?>\n<policy>\n" + commands + "\n</policy>\n";
}

// A file of the two commands start-up needs (lines 3 and 4), so that a test
// config is about its own point, and `commands` from line 5 on.
std::string startUpAnd(const std::string& commands) {
    return policy("<c id=\"5376\"><s><hmp>0</hmp></s></c>\n" +
                  std::string("<c id=\"4116\"><s><duration>10</duration></s></c>\n") + commands);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A sanitizer's report means a crash, leak or undefined behaviour of the tool.
void expectClean(const SimRun& run, const std::string& what) {
    EXPECT_FALSE(contains(run.err, "Sanitizer") || contains(run.err, "runtime error"))
        << what << ": the tool must not crash, leak or misbehave:\n"
        << run.err;
    EXPECT_LT(run.status, 128) << what << ": killed by a signal or hung";
}

// The run ends with `status` and every one of `parts` is in its standard output
// (or in `stream`).
void expectRun(const SimRun& run, int status, const std::vector<std::string>& parts,
               std::string SimRun::*stream = &SimRun::out) {
    const std::string& text = run.*stream;
    expectClean(run, text);
    EXPECT_EQ(run.status, status) << run.out << run.err;
    for (const std::string& part : parts) {
        EXPECT_TRUE(contains(text, part)) << "missing \"" << part << "\" in:\n" << text;
    }
}

// The time field of jank records ("#ARG1:<20261115085603,...") changes with
// every run.
std::string maskJankTime(std::string text) {
    const std::string prefix = "#ARG1:<";
    for (size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix, at + 1)) {
        const size_t start = at + prefix.size();
        if (text.find_first_not_of("0123456789", start) == start + 14) {
            text.replace(start, 14, "YYYYMMDDhhmmss");
        }
    }
    return text;
}

std::vector<std::string> exampleNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kSource + "/etc/examples")) {
        if (entry.path().extension() == ".scenario") {
            names.push_back(entry.path().stem());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Every suite runs the built program; a build without the host programs
// (BRISK_BUILD_TOOLS=OFF) has nothing to test here.
class BriskSimBinary : public ::testing::Test {
protected:
    void SetUp() override {
        if (access(kBinary.c_str(), X_OK) != 0) {
            GTEST_SKIP() << kBinary << " is not built";
        }
    }
};
class BriskSimExamples : public BriskSimBinary {};
class BriskSimScenario : public BriskSimBinary {};
class BriskSimCheck : public BriskSimBinary {};

// ---- the shipped files ----

// Nodes the transcript shows the device set to: frequency and thermal limits
// written with setConfig, group levels with doSchedLevelAction.
std::set<std::string> nodesSetIn(const std::string& transcript) {
    std::set<std::string> nodes;
    std::istringstream in(transcript);
    for (std::string line; std::getline(in, line);) {
        const bool config = line.compare(0, 15, "plat setConfig ") == 0;
        const bool levels = line.compare(0, 24, "plat doSchedLevelAction ") == 0;
        if (!config && !levels) {
            continue;
        }
        std::istringstream words(line.substr(config ? 15 : 24));
        for (std::string pair; words >> pair;) {
            const int tag = std::stoi(pair.substr(0, pair.find(':')));
            const bool drawn =
                levels || Vocabulary::freqDomainOf(tag) >= 0 ||
                (tag >= BRISK_TAG_IPA_ON_TEMP && tag <= BRISK_TAG_IPA_SUSTAINABLE_POWER);
            if (drawn && Vocabulary::nameForTag(tag) != nullptr) {
                nodes.insert(Vocabulary::nameForTag(tag));
            }
        }
    }
    return nodes;
}

// Each example runs to its end with the transcript of its golden file and draws
// its timeline. BRISK_UPDATE_GOLDEN=1 rewrites the golden files instead.
TEST_F(BriskSimExamples, EveryExampleReplaysToItsGoldenTranscriptAndDrawsItsTimeline) {
    const std::vector<std::string> names = exampleNames();
    ASSERT_GE(names.size(), 4u) << "etc/examples holds the example scenarios";
    const bool renderer = system("command -v rsvg-convert >/dev/null 2>&1") == 0;
    TempDir dir;
    for (const std::string& name : names) {
        const std::string svg = dir.file(name + ".svg", "");
        SimRun run = runSim({"--config", kShippedConfig, "--timeline", svg,
                             kSource + "/etc/examples/" + name + ".scenario"});
        expectClean(run, name);
        ASSERT_EQ(run.status, 0) << name << " must run to its end:\n" << run.err;
        const std::string golden = kSource + "/tests/golden/" + name + ".transcript";
        if (getenv("BRISK_UPDATE_GOLDEN") != nullptr) {
            writeFile(golden, maskJankTime(run.out));
        }
        EXPECT_EQ(maskJankTime(run.out), readFile(golden))
            << name << ": the transcript differs from tests/golden/" << name << ".transcript";

        tinyxml2::XMLDocument doc;
        ASSERT_EQ(doc.LoadFile(svg.c_str()), tinyxml2::XML_SUCCESS)
            << name << ": the SVG must be well-formed XML: " << doc.ErrorStr();
        std::set<std::string> series;
        size_t count = 0;
        for (const tinyxml2::XMLElement* g = doc.RootElement()->FirstChildElement("g");
             g != nullptr; g = g->NextSiblingElement("g")) {
            if (g->Attribute("class", "series") != nullptr) {
                series.insert(g->Attribute("data-node"));
                ++count;
            }
        }
        EXPECT_EQ(series, nodesSetIn(run.out)) << name << ": one series per node that changed";
        EXPECT_EQ(count, series.size()) << name << ": no node drawn twice";
        const std::string text = readFile(svg);
        EXPECT_FALSE(contains(text, "<script") || contains(text, "href") ||
                     contains(text, "<image"))
            << name << ": the picture is self-contained";
        ASSERT_TRUE(renderer) << "rsvg-convert (librsvg2-bin, scripts/setup.sh) renders the SVG";
        const std::string png = dir.file(name + ".png", "");
        ASSERT_EQ(system(("rsvg-convert -o " + png + " " + svg).c_str()), 0) << name;
        EXPECT_EQ(readFile(png).compare(0, 4, "\x89PNG"), 0) << name << ": a PNG";
        EXPECT_GT(readFile(png).size(), 10000u) << name << ": the PNG shows something";
    }
    // A page of its own when the picture's name ends in .html.
    const std::string html = dir.file("tour.html", "");
    ASSERT_EQ(runSim({"--config", kShippedConfig, "--timeline", html,
                      kSource + "/etc/examples/tour.scenario"})
                  .status,
              0);
    const std::string text = readFile(html);
    EXPECT_EQ(text.compare(0, 15, "<!DOCTYPE html>"), 0);
    EXPECT_TRUE(contains(text, "<svg xmlns=") && !contains(text, "<script")) << "inline SVG";
}

// ---- the scenario language ----

TEST_F(BriskSimScenario, EntryPointsPrintTheirCallsAndResults) {
    SimRun run = runScenario(
        "\n# a comment line\n   # an indented one\nevent 100\r\ninit\nevent 100\nevent 100 7 -8\n"
        "event 100 len=3 7\nevent 100 len=0 7\nevent 4116 msg=pid=100\n"
        "set MOSS 2=1500000 big_cpu_max=2000000\ndevice 30=5 little_cpu_min=77\n"
        "get 30 little_cpu_min 2 31\nfail getConfig 9\nget 2\nfail setConfig -7 2\n"
        "set DUSK gpu_max=1\nset DUSK gpu_max=1\nset DUSK gpu_max=1\ndump fd=-1 --help\n"
        "dump --logon\ndump \"\"\ndump \"--log\"on\ndump \"--logon \"\ndump \"\" "
        "\"\"\ndump\nversion\n");
    expectClean(run, "entry points");
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string failedSet =
        "log I setConfig clientId=1, tagLen=1, tags[0]=8, configs[0]=1\nplat setConfig 8:1\n";
    EXPECT_EQ(run.out,
              // Comments and blank lines are skipped, a CR dropped.
              "> event 100\n= 1\n> init\nplat initialize\n= 0\n"
              // payload null without values, zero-padded up to len
              "> event 100\nplat doAction cmd=100 duration=30 len=0 payload=null pairs=10:1 "
              "name=io_boost\n= 0\n"
              "> event 100 7 -8\nplat doAction cmd=100 duration=30 len=2 payload=7,-8 pairs=10:1 "
              "name=io_boost\n= 0\n"
              "> event 100 len=3 7\nplat doAction cmd=100 duration=30 len=3 payload=7,0,0 "
              "pairs=10:1 name=io_boost\n= 0\n"
              "> event 100 len=0 7\nplat doAction cmd=100 duration=30 len=0 payload= pairs=10:1 "
              "name=io_boost\n= 0\n"
              "> event 4116 msg=pid=100\nlog E brisk: get msg info failed!\n"
              "log E briskEvent do probe handle failed!\n= 1\n"
              "> set MOSS 2=1500000 big_cpu_max=2000000\n"
              "log I setConfig clientId=3, tagLen=2, tags[0]=2, configs[0]=1500000\n"
              "log I setConfig clientId=3, tagLen=2, tags[1]=5, configs[1]=2000000\n"
              "plat setConfig 2:1500000 5:2000000\n= 0\n"
              // get shows values only on success
              "> device 30=5 little_cpu_min=77\n> get 30 little_cpu_min 2 31\n"
              "plat getConfig 30 1 2 31\n= 0 30:5 1:77 2:1500000 31:-1\n> fail getConfig 9\n"
              "> get 2\nplat getConfig 2\nlog E briskGetConfig doPerfGetConfig failed!\n= 3\n"
              // fail COUNT=2 fails the next two setConfig calls
              "> fail setConfig -7 2\n> set DUSK gpu_max=1\n" +
                  failedSet +
                  "log E doPerfSetConfig failed!\nlog E briskSetConfig failed!\n= 3\n"
                  "> set DUSK gpu_max=1\n" +
                  failedSet +
                  "log E doPerfSetConfig failed!\nlog E briskSetConfig failed!\n= 3\n"
                  "> set DUSK gpu_max=1\n" +
                  failedSet +
                  "= 0\n"
                  // fd=-1 writes nothing; a dump prints one | line per piece, no = line.
                  // "" is one empty argument, quoted and plain parts join into one
                  // token, a quoted blank belongs to the token.
                  "> dump fd=-1 --help\nlog W invalid dump FD, -1\n"
                  "> dump --logon\n| brisk log is ON\n| \n> dump \"\"\n| invalid parameter!\n| \n"
                  "> dump \"--log\"on\n| brisk log is ON\n| \n"
                  "> dump \"--logon \"\n| invalid parameter!\n| \n"
                  "> dump \"\" \"\"\nlog W there is too many dump parameter!\n"
                  "> dump\nlog W dump parameter is NULL!\n> version\n= 1\n");
}

TEST_F(BriskSimScenario, LinesItCannotUnderstandStopTheRunWithTheirNumber) {
    struct Case {
        const char* line;
        const char* reason;
    };
    const Case cases[] = {
        {"evnt 100", "unknown command \"evnt\""},
        {"init now", "init takes no arguments"},
        {"version 2", "version takes no arguments"},
        {"device", "device needs at least one TAG=VALUE"},
        {"device 2", "expected TAG=VALUE, got \"2\""},
        {"device cpu=1", "unknown tag \"cpu\""},
        {"device 2=12x", "value \"12x\" is not a decimal int32"},
        {"set DUSK 2=2147483648", "value \"2147483648\" is not a decimal int32"},
        {"set", "set needs a client"},
        {"set BOB 2=1", "unknown client \"BOB\""},
        {"get 2 tag_x", "unknown tag \"tag_x\""},
        {"fail", "fail needs OP CODE [COUNT]"},
        {"fail doAction", "fail needs OP CODE [COUNT]"},
        {"fail reboot 1", "unknown operation \"reboot\""},
        {"fail doAction 1 -1", "count must be 0 or more"},
        {"event", "event needs a command id"},
        {"event 0x100", "command id \"0x100\" is not a decimal int32"},
        {"event 100 msg=a msg=b", "msg= given twice"},
        {"event 100 len=1 len=1", "len= given twice"},
        {"event 100 len=-1", "len \"-1\" is not a number from 0 to 4294967295"},
        {"event 100 len=4294967296", "is not a number from 0 to 4294967295"},
        {"event 100 len=1025 7", "len 1025 with payload values is above 1024"},
        {"event 100 on", "payload value \"on\" is not a decimal int32"},
        {"sleep", "sleep needs one number of milliseconds"},
        {"sleep -1", "sleep needs one number of milliseconds"},
        {"sleep 60001", "sleep needs one number of milliseconds"},
        {"dump \"--help", "the quote opened at column 6 is not closed"},
        {"get \"a\\b\"", "unknown escape \\b inside quotes"},
        {"get \"a \\\"b\\\\c\"", "unknown tag \"a \"b\\c\""},
    };
    for (const Case& c : cases) {
        // Line 4: comments and blank lines count.
        SimRun run = runScenario(std::string("version\n# note\n\n") + c.line + "\nversion\n");
        // It exits with 1, naming the line and the reason.
        expectRun(run, 1, {"<stdin>, line 4: ", c.reason}, &SimRun::err);
        EXPECT_EQ(run.out, "> version\n= 1\n")
            << c.line << ": the run stops before the line, which is not echoed";
    }
}

TEST_F(BriskSimScenario, InitRunsOnceButMayRunAgainAfterItFailed) {
    expectRun(runScenario("init\ninit\n"), 1, {"line 2: init has already built the service"},
              &SimRun::err);
    // A failed init exits with 3, after the whole transcript.
    SimRun failed = runScenario("fail initialize 7\ninit\nevent 12300 0\nversion\n");
    expectRun(failed, 3,
              {"> init\nplat initialize\nlog E initialize failed!\n= 7\n", "> version\n= 1\n"});
    EXPECT_TRUE(contains(failed.err, "line 2: init answered 7: the service did not start"))
        << failed.err;
    expectRun(runScenario("fail initialize 7\ninit\ninit\n"), 0,
              {"log E initialize failed!\n= 7\n> init\nplat initialize\n= 0\n"});
}

TEST_F(BriskSimScenario, UsageErrorsAndUnreadableFilesExitWithTwoAndOneLine) {
    TempDir dir;
    const std::string scenario = dir.file("s.scenario", "version\n");
    const std::vector<std::string> hint{"(try brisk-sim --help)\n"};
    const std::vector<std::string> unreadable{"cannot read the ", ": No such file or directory"};
    const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
        {{"--verbose"}, hint},
        {{"--config"}, hint},
        {{"--config", kShippedConfig, "--config", kShippedConfig}, hint},
        {{scenario, scenario}, hint},
        {{"--check", scenario}, hint},
        {{"--check", "--timeline", "x.svg"}, hint},
        {{"--timeline", "x.png", scenario}, hint},
        {{"--device", "d", scenario}, hint},
        {{"--check", "--format", "xml"}, hint},
        {{"--config", dir.file(std::string(120, 'x'), readFile(kShippedConfig)), scenario}, hint},
        {{"--config", "/nonexistent/brisk.xml", scenario}, unreadable},
        {{"--check", "--config", "/nonexistent/brisk.xml"}, unreadable},
        {{"/nonexistent/x.scenario"}, unreadable},
        {{"--check", "--device", "/nonexistent/device"}, unreadable},
    };
    for (const auto& c : cases) {
        SimRun run = runSim(c.first);
        expectRun(run, 2, c.second, &SimRun::err);
        // One line, not the whole usage.
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    expectRun(runSim({"--help"}), 0, {"brisk-sim --check [--config FILE]"});
    EXPECT_EQ(runSim({"--config", kShippedConfig, scenario}).out, "> version\n= 1\n")
        << "SCENARIO may be a file";
}

TEST_F(BriskSimScenario, EndsCleanlyWhateverTheProbeThreadIsDoing) {
    // A boost held for 256 ms, a waiting thread, and tid 0, which never times out
    // and keeps the probe thread polling: the run still ends at once, without a
    // leak or a use of what the server freed.
    SimRun run = runScenario(
        "init\nevent 4116 msg=pid=1|tid=5 0\nsleep 30\nevent 4116 msg=pid=1|tid=0 0\n"
        "sleep 30\nevent 4116 msg=pid=1|tid=6 0\n");
    expectRun(run, 0, {"plat setProbeTarget 5 0\n"});
    EXPECT_FALSE(contains(run.out, "plat setProbeTarget 0 ")) << "tid 0 never reaches the platform";
}

TEST_F(BriskSimScenario, NamesCommandsAndClientsAsTheConfigurationDoes) {
    // A command name is its id, begin and end the payloads 0 and -1; client
    // names in any letter case.
    expectRun(runScenario("init\nevent app_launch begin\nevent app_launch end\n"
                          "set dusk big_cpu_max=1800000\nset Fern 40=1\n"),
              0,
              {"> event app_launch begin\nplat setConfig 1:1400000",
               "plat doAction cmd=12300 duration=0 len=1 payload=0 ",
               "plat doAction cmd=12300 duration=0 len=1 payload=-1 ",
               "> set dusk big_cpu_max=1800000\nlog I setConfig clientId=1",
               "> set Fern 40=1\nlog I setConfig clientId=2"});
    expectRun(runScenario("event app_lunch 0\n"), 1,
              {"line 1: command id \"app_lunch\" is not a decimal int32 nor a command name of "
               "the configuration"},
              &SimRun::err);
}

// ---- the configuration checker ----

TEST_F(BriskSimCheck, ListsWhatTheServiceDoesWithEachCommand) {
    SimRun run = check(startUpAnd(R"(
  <c id="4120" name="cam"><s><priority>250</priority></s></c>
  <c id="4121" name="builtin"><s><lamp>on</lamp></s></c>
  <c id="4230" name="gov"><s><priority>120</priority></s></c>
  <c id="12300" name="launch"><s><little_cpu_min>1</little_cpu_min><fan>on</fan></s></c>
  <c id="12301" name="timed"><s><duration>500</duration><little_cpu_min>0</little_cpu_min></s></c>
  <c id="100" name="act"><s><duration>30</duration></s></c>
  <c id="200" name="lvl"><s><hmp>10</hmp></s></c>
  <c id="102" name="off"><s><duration>-1</duration></s></c>
  <c id="103" name="bare"/>)"));
    expectRun(run, 0,
              {
                  "-> defaults: the hmp group at 0",
                  "-> probe: each boosted thread gets step 1",
                  "-> scene, priority 250\n",
                  "-> scene, priority 70 (built-in)",
                  "-> governor scene, priority 120",
                  "-> on/off: frequencies little_cpu_min 1; platform items fan",
                  "-> on/off, timed: the whole step goes to the platform (duration 500)",
                  "-> platform action, duration 30",
                  "-> scheduling event: hmp 10",
                  "-> ignored: duration -1",
                  "-> ignored: no step",
                  "step 1: duration 0; little_cpu_min(1)=1 fan(10)=on",
                  "11 commands",
              });
}

TEST_F(BriskSimCheck, FindsWhatStopsStartUp) {
    expectRun(check(policy("<c id=\"100\"><s><duration>5</duration></s></c>")), 1,
              {"error 5376: the default groups command is missing",
               "error 4116: the probe command is missing"});

    std::string manyAttributes = "<policy>\n<c id=\"1\"";
    for (int i = 0; i < 65; ++i) {
        manyAttributes += " a" + std::to_string(i) + "=''";
    }
    std::string deep = "<policy>";
    for (int i = 0; i < 2000; ++i) {
        deep += "<c id=\"1\">";
    }
    const std::pair<std::string, std::string> unloadable[] = {
        {manyAttributes + "/></policy>", "the element at line 2 has more than 64 attributes"},
        {"<policy>\n<c id=\"1\">\n<s></c></policy>",
         "no well-formed XML: <s> opened at line 3 is never closed (a missing or misspelt </s>)"},
        {deep, "elements are nested too deep at line 1"},
        {"<policy><c id=1/></policy>", "an attribute of <c> at line 1 is malformed"},
        {"", "the file holds no XML element"},
        {"<config><c id=\"1\"/></config>",
         "no top-level <policy> element (its first element is <config>)"},
        {"<policy>  </policy>", "holds no command"},
    };
    for (const auto& c : unloadable) {
        expectRun(check(c.first), 1, {"error -: the service cannot load this file: ", c.second});
    }

    const std::pair<std::string, std::string> badDefaults[] = {
        {"<s><boost>0</boost><vip>0</vip></s>", "2 level pairs"},
        {"<s><boost>0</boost></s>", "a single default pair must be hmp (tag 50), not boost(51)=0"},
        {"<s><hmp>0</hmp><vip>0</vip><top_app>0</top_app><root>0</root><foreground>0</foreground>"
         "<system_background>0</system_background><key_background>0</key_background>"
         "<background>0</background></s>",
         "eight default pairs must be the EAS groups 51..58, not hmp(50)=0"},
        {"<s><duration>5</duration><hmp>0</hmp></s>", "goes to the platform as a timed action"},
        {"", "the defaults have no step"},
    };
    for (const auto& c : badDefaults) {
        expectRun(check(policy("<c id=\"5376\">" + c.first +
                               "</c><c id=\"4116\"><s><duration>1</duration></s></c>")),
                  1, {"error 5376 (line 3): ", c.second});
    }
}

TEST_F(BriskSimCheck, FindsWhatTheServiceRefusesAtRunTime) {
    std::string many;
    for (int i = 0; i < 44; ++i) {
        many += "<big_cpu_max>2000000</big_cpu_max>";
    }
    SimRun run = check(startUpAnd(R"(
  <c id="4122" name="nothing"><s><lamp>on</lamp></s></c>
  <c id="4123" name="range"><s><priority>501</priority></s></c>
  <c id="4118" name="overridden"><s><priority>0</priority></s></c>
  <c id="4232" name="govtag"><s><tag_101>300</tag_101></s></c>
  <c id="4352" name="last"><s><priority>50</priority></s></c>
  <c id="12300" name="zero"><s><little_cpu_max>0</little_cpu_max></s></c>
  <c id="12301" name="thermal"><s><ipa_on_temp>60000</ipa_on_temp></s></c>
  <c id="12302" name="many"><s>)" +
                                  many + R"(</s></c>
  <c id="12303" name="crossed"><s><gpu_min>700000</gpu_min><gpu_max>500000</gpu_max></s></c>
  <c id="12304" name="empty"><s/></c>
  <c id="300" name="nine"><s><boost>0</boost><vip>0</vip><top_app>0</top_app><root>0</root>
    <foreground>0</foreground><system_background>0</system_background>
    <key_background>0</key_background><background>0</background><boost>0</boost></s></c>
  <c id="301" name="freq"><s><little_cpu_max>5</little_cpu_max></s></c>
  <c id="302" name="eas"><s><top_app>10</top_app></s></c>
  <c id="20224" name="restart"><s><duration>1</duration></s></c>
  <c id="30000" name="high"><s><duration>1</duration></s></c>)"));
    expectRun(
        run, 1,
        {
            "error 4122 (line 6): scene without a usable priority",
            "warning 4123 (line 7): priority 501 is outside 1..500 and is not stored",
            "error 4123 (line 7): scene without a usable priority",
            "warning 4118 (line 8): priority 0 is outside 1..500 and is not stored; the built-in "
            "100 "
            "is used",
            "error 4232 (line 9): scene without a usable priority: every begin and end is refused "
            "with "
            "-1 (\"invalid special scene priority\"); a governor scene reads a parameter named "
            "priority",
            "error 4352 (line 10): the priority of scene 4352 is never loaded at start-up",
            "error 12300 (line 11): little_cpu_max(2)=0: on/off values must be 1 or more",
            "error 12301 (line 12): ipa_on_temp(17)=60000: the frequency path takes only tags 1, "
            "2, 4, "
            "5, 7, 8",
            "error 12302 (line 13): 44 frequency pairs: at most 43 fit in one step",
            "error 12303 (line 14): floor 700000 above ceiling 500000 (tags 7, 8; the ceiling at "
            "line 14)",
            "warning 12304 (line 15): the on/off step has no pairs",
            "error 300 (line 16): 9 level pairs: a scheduling event (duration 0) takes 1 to 8",
            "error 301 (line 19): little_cpu_max(2)=5 is no scheduling group",
            "warning 302 (line 20): top_app is stored but never reaches the platform: the defaults "
            "choose the hmp group",
            "warning 20224 (line 21): never read",
            "warning 30000 (line 22): never dispatched",
        });
}

TEST_F(BriskSimCheck, FindsWhatTheLoaderDropsWithoutAWord) {
    SimRun run = check(startUpAnd(R"(
  <c name="noid"><s><duration>1</duration></s></c>
  <c id="abc"><s><duration>1</duration></s></c>
  <c id="99999999999"><s><duration>1</duration></s></c>
  <c id="100x"><s><duration>5</duration></s></c>
  <c id="100"><s><duration>6</duration></s></c>
  <c id="101"><s><duration>1</duration></s><s><duration>2</duration></s>
    <s><duration>3</duration></s><s><duration>4</duration></s></c>
  <c id="102"><s><duration>1</duration><led></led></s><s><duration>2</duration></s></c>
  <c id="103"><s><duration>1.5</duration></s><s><big_cpu_max>2e6</big_cpu_max></s></c>
  <c id="104"><s><duration>1</duration><litle_cpu_max>5</litle_cpu_max><Boost>1</Boost><zz>1</zz></s></c>)") +
                       "<policy><c id=\"105\"/></policy>\n");
    expectRun(
        run, 1,
        {
            "error - (line 6): <c> has no id attribute: the loader skips this command",
            "error - (line 7): <c> has id \"abc\", not an int32 number",
            "error - (line 8): <c> has id \"99999999999\", not an int32 number",
            "warning 100 (line 9): id \"100x\" is read as 100",
            "error 100 (line 10): id 100 is defined again (first at line 9): the loader keeps the "
            "first",
            "warning 101 (line 12): 4 steps: the loader reads the first three",
            "error 102 (line 13): step 1 is dropped: parameter led is empty",
            "warning 102 (line 13): step 1 is dropped, so step 2 is the one the service reads",
            "error 103 (line 14): step 1 is dropped: duration \"1.5\" is not a decimal int32",
            "error 103 (line 14): step 2 is dropped: big_cpu_max \"2e6\" is not a decimal int32",
            "error 104 (line 15): litle_cpu_max is no parameter of the configuration language; did "
            "you mean little_cpu_max? As written, the platform gets it as a platform item",
            "Boost is no parameter of the configuration language; did you mean boost?",
            "warning - (line 17): a second <policy> element is ignored",
            // The first definition is the one listed.
            "100 unknown (line 9)\n  step 1: duration 5;",
            "  step 4: ignored (only three steps are read)",
            "103 unknown (line 14)\n  step 1: dropped\n  step 2: dropped\n  -> ignored: no step",
        });
    EXPECT_FALSE(contains(run.out, "zz is")) << "a name close to none of the language's is taken "
                                                "as a platform item without a word";
}

// ---- the checker against the device ----

TEST_F(BriskSimCheck, CatchesEachAuthorMistakeAtItsElement) {
    const std::pair<std::string, std::string> cases[] = {
        {"<c id=\"12300\"><s>\n<little_cpu_max>1200</little_cpu_max></s></c>",
         "warning 12300 (line 6): little_cpu_max 1200 is below a thousandth of the little "
         "cluster's hardware maximum, 2000000 kHz on the simulated device: it looks like MHz; the "
         "configuration takes kHz (1200000)"},
        {"<c id=\"12300\"><s>\n<big_cpu_max>9000000</big_cpu_max></s></c>",
         "error 12300 (line 6): big_cpu_max 9000000 is above the big cluster's hardware maximum, "
         "2600000 kHz on the simulated device\n"},
        {"<c id=\"4122\"><s><priority>300</priority>\n<gpu_min>600000000</gpu_min></s></c>",
         "error 4122 (line 6): gpu_min 600000000 is above the GPU's hardware maximum, 800000 kHz "
         "on the simulated device: it looks like Hz; the configuration takes kHz (600000)"},
        {"<c id=\"12300\"><s>\n<little_cpu_max>1400000</little_cpu_max>\n"
         "<little_cpu_max>1500000</little_cpu_max></s></c>",
         "warning 12300 (line 7): little_cpu_max is given 2 times in this step (lines 6, 7): the "
         "last one, \"1500000\" at line 7, is used"},
        {"<c id=\"12300\">\n<little_cpu_max>1500000</little_cpu_max></c>",
         "error 12300 (line 6): <little_cpu_max> holds a value but no parameters: it is taken as "
         "step 1, an empty one (is the <step> element around it missing?)"},
        {"<c id=\"300\">\n<s><top_app>10</top_app>\n<ipa_on_temp>1</ipa_on_temp></s></c>",
         "error 300 (line 7): ipa_on_temp(17)=1 is no scheduling group"},
    };
    for (const auto& c : cases) {
        // An error fails the check; warnings alone do not.
        expectRun(check(startUpAnd(c.first)), c.second.rfind("error", 0) == 0 ? 1 : 0, {c.second});
    }
    // A likely misspelling is an error, which --lenient makes a warning.
    const std::string misspelt =
        "<c id=\"12300\"><s>\n<litle_cpu_max>1500000</litle_cpu_max></s></c>";
    expectRun(check(startUpAnd(misspelt)), 1, {"error 12300 (line 6): litle_cpu_max is no param"});
    expectRun(check(startUpAnd(misspelt), {"--lenient"}), 0,
              {"warning 12300 (line 6): litle_cpu_max is no param"});
}

TEST_F(BriskSimCheck, SaysOfADroppedStepOnlyWhyAndPutsCausesFirst) {
    SimRun run = check(policy(
        "<c id=\"5376\"><s><hmp>0</hmp></s></c>\n<c id=\"4116\">\n<s>\n<duration>1.5</duration>\n"
        "<litle_cpu_max>9000000</litle_cpu_max></s></c>"));
    const std::string cause =
        "error 4116 (line 6): step 1 is dropped: duration \"1.5\" is not a decimal int32";
    const std::string consequence = "warning 4116 (line 4): the probe command has no usable step";
    expectRun(run, 1, {cause, consequence});
    EXPECT_LT(run.out.find(cause), run.out.find(consequence)) << "the cause comes first";
    EXPECT_FALSE(contains(run.out, "litle_cpu_max is") || contains(run.out, "9000000 is"))
        << "nothing else is said of a step that is dropped:\n"
        << run.out;
}

TEST_F(BriskSimCheck, KnowsTheDeviceFromADeviceFile) {
    // The shipped configuration has no error and names only items the device declares.
    expectRun(
        runSim({"--check", "--config", kShippedConfig, "--device",
                kSource + "/etc/examples/simulated.device"}),
        0,
        {"problems: none", "\n0 errors,", "5376 default_groups", "-> defaults: eight EAS groups"});

    TempDir dir;
    const std::string small =
        dir.file("phone.device", "# a phone\nlittle 1800000\nbig 2400000  # kHz\nitem fan lamp\n");
    expectRun(check(startUpAnd("<c id=\"12300\"><s>\n<fann>1</fann>\n<lamp>1</lamp>\n"
                               "<big_cpu_max>2500000</big_cpu_max>\n<gpu_max>9</gpu_max></s></c>"),
                    {"--device", small}),
              1,
              {"error 12300 (line 6): fann is neither a parameter of the configuration language "
               "nor a platform item of " +
                   small + " (did you mean fan?)",
               "error 12300 (line 8): big_cpu_max 2500000 is above the big cluster's hardware "
               "maximum, 2400000 kHz on " +
                   small,
               "2 errors, 0 warnings"});  // lamp is declared; the GPU's maximum is not known

    const std::pair<std::string, std::string> broken[] = {
        {"little 1.8GHz\n", "line 1: little needs one hardware maximum"},
        {"big 1\nbig 2\n", "line 2: big is given twice"},
        {"cpu 5\n", "line 1: unknown word \"cpu\" (known: little, big, gpu, item)"},
    };
    for (const auto& c : broken) {
        expectRun(runSim({"--check", "--config", kShippedConfig, "--device",
                          dir.file("bad.device", c.first)}),
                  2, {"bad.device, " + c.second}, &SimRun::err);
    }
}

TEST_F(BriskSimCheck, KnowsTheDeviceFromTheLinuxBackEndsDescriptionAndKernelTree) {
    FakeKernelTree tree;
    tree.buildBigLittle();  // up to 1800000 and 2400000 kHz, a GPU up to 800000000 Hz
    const std::string description = tree.writeDescription(
        "<backend>\n<item name=\"touch_boost\" file=\"/sys/touch\"/>\n</backend>\n");
    const std::string config = startUpAnd(
        "<c id=\"12300\"><s>\n<touch_bost>1</touch_bost>\n<big_cpu_max>2500000</big_cpu_max>\n"
        "<gpu_max>800000</gpu_max>\n<uclamp_min>512</uclamp_min></s></c>");
    const std::string misspelt =
        "error 12300 (line 6): touch_bost is neither a parameter of the configuration language "
        "nor a platform item of ";
    // The description names the platform items; without a kernel root no hardware is known.
    expectRun(
        check(config, {"--device", description}), 1,
        {"hardware maxima (kHz) unknown; platform items 2",
         misspelt + "the back-end description " + description + " (did you mean touch_boost?)",
         "1 error, 0 warnings"});

    // The kernel tree gives the maxima that the back-end's discovery finds there.
    expectRun(check(config, {"--device", description, "--device", tree.root()}), 1,
              {"hardware maxima (kHz) little 1800000, big 2400000, gpu 800000",
               "error 12300 (line 7): big_cpu_max 2500000 is above the big cluster's "
               "hardware maximum, 2400000 kHz on the back-end description " +
                   description + " on the machine at " + tree.root(),
               "2 errors, 0 warnings"});
    // Without a description the back-end writes no platform item.
    expectRun(check(config, {"--device", tree.root()}), 1,
              {misspelt + "the machine at " + tree.root() + " (no back-end description)\n"});

    // What the back-end's reader or discovery refuses, the checker refuses in its words.
    TempDir dir;
    const std::pair<std::vector<std::string>, std::string> refused[] = {
        {{"--device", dir.file("fan.xml", "<backend>\n<fan/></backend>")},
         ":2: unknown element <fan>"},
        {{"--device",
          dir.file("big.xml", "<backend>\n<cluster name=\"big\" policies=\"policy9\"/></backend>"),
          "--device", tree.root()},
         ":2: cpufreq policy policy9 is not usable in " + tree.root()},
        {{"--device", tree.root(), "--device", tree.root()}, "--device names two kernel roots"},
    };
    for (const auto& c : refused) {
        expectRun(check(config, c.first), 2, {c.second}, &SimRun::err);
    }
}

TEST_F(BriskSimCheck, ReportsInJsonForEditorsAndCi) {
    SimRun run = check(policy("<c id=\"5376\"><s><hmp>0</hmp></s></c>\n<c id=\"12300\"><s>\n"
                              "<gpu_max>0</gpu_max></s></c>\n<c id=\"100\"><s>\n"
                              "<duration>1\xff</duration></s></c>"),
                       {"--format", "json"});
    // A byte that is no UTF-8 is U+FFFD.
    expectRun(run, 1, {"duration \\\"1\\ufffd\\\" is not a decimal int32"});
    Json report;
    std::string error;
    ASSERT_TRUE(parseJson(run.out, &report, &error)) << error << "\n" << run.out;
    EXPECT_EQ(report.numberOr("errors", -1), 3);
    EXPECT_EQ(report.numberOr("warnings", -1), 0);
    const Json* findings = report.get("findings");
    ASSERT_TRUE(findings != nullptr && findings->items.size() == 3) << run.out;
    const Json& missing = findings->items[0];
    EXPECT_EQ(missing.get("command")->number, 4116);
    EXPECT_EQ(missing.numberOr("line", -1), 0) << "a command that is missing has no line";
    EXPECT_EQ(missing.textOr("code", ""), "probe-missing");
    const Json& value = findings->items[1];
    EXPECT_TRUE(contains(value.textOr("file", ""), "brisk_config_cust.xml"));
    EXPECT_EQ(value.numberOr("line", -1), 5);
    EXPECT_EQ(value.get("command")->number, 12300);
    EXPECT_EQ(value.textOr("severity", "") + " " + value.textOr("code", ""), "error onoff-value");
    EXPECT_EQ(value.textOr("message", "").rfind("gpu_max(8)=0: on/off values must be", 0), 0u);

    SimRun unreadable = check("<policy>", {"--format", "json"});
    ASSERT_TRUE(parseJson(unreadable.out, &report, &error)) << unreadable.out;
    EXPECT_EQ(report.get("findings")->items[0].get("command")->type, Json::Type::Null);
}

TEST_F(BriskSimCheck, ColoursSeveritiesOnATerminalUnlessNoColorIsSet) {
    TempDir dir;
    const std::vector<std::string> args{"--check", "--config",
                                        dir.file("c.xml", startUpAnd("<c id=\"12300\"><s/></c>"))};
    const std::string warning = "\033[1;33mwarning\033[0m 12300";
    EXPECT_TRUE(contains(runSim(args, "", true).out, warning)) << runSim(args, "", true).out;
    EXPECT_TRUE(contains(runSim(args, "", true, "").out, warning))
        << "an empty NO_COLOR is not set";
    EXPECT_FALSE(contains(runSim(args, "", true, "1").out, "\033[")) << "NO_COLOR=1: no colour";
    EXPECT_FALSE(contains(runSim(args).out, "\033[")) << "no colour into a file";
}

}  // namespace
