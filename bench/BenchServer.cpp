#include "bench/BenchServer.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "bench/BenchConfig.h"
#include "bench/BenchLog.h"
#include "bench/ThreadClock.h"
#include "platform/sim/CfgFileResolver.h"
#include "server/BriskServer.h"

namespace {
const char kProbeThreadName[] = "ProbeThread";

ConfigFile& entryConfigFile() {
    static ConfigFile file(entryPointConfig());
    return file;
}

pid_t gSharedProbeTid = 0;
}  // namespace

BriskServer* startServer(const std::string& configPath, pid_t* probeTid) {
    std::vector<pid_t> before;
    if (probeTid != nullptr) {
        before = allThreads();
    }
    CfgFileResolver::setFile(configPath);
    auto server = std::make_unique<BriskServer>();
    int r = server->init();
    CfgFileResolver::reset();
    if (r != 0) {
        benchMessage("brisk_bench: init failed with %d for %s", r, configPath.c_str());
        return nullptr;
    }
    if (probeTid != nullptr) {
        std::vector<pid_t> started;
        for (pid_t tid : allThreads()) {
            if (std::find(before.begin(), before.end(), tid) == before.end()) {
                started.push_back(tid);
            }
        }
        *probeTid = started.size() == 1 ? started[0] : 0;
        for (pid_t tid : started) {
            if (threadName(tid) == kProbeThreadName) {
                *probeTid = tid;
            }
        }
    }
    return server.release();
}

BriskServer* sharedServer() {
    static BriskServer* server = [] {
        if (!entryConfigFile().ok()) {
            benchMessage("brisk_bench: cannot write the configuration file");
            return static_cast<BriskServer*>(nullptr);
        }
        return startServer(entryConfigFile().path(), &gSharedProbeTid);
    }();
    return server;
}

pid_t sharedProbeTid() {
    sharedServer();
    return gSharedProbeTid;
}

bool sharedProbeThreadNamed() {
    pid_t tid = sharedProbeTid();
    return tid != 0 && threadName(tid) == kProbeThreadName;
}

BriskServer* reportingServer() {
    static BriskServer* server = [] {
        if (!entryConfigFile().ok()) {
            return static_cast<BriskServer*>(nullptr);
        }
        BriskServer* s = startServer(entryConfigFile().path());
        if (s != nullptr) {
            // Client 0, tag 10000 with bit 16 set: reporting on.
            const int value = 0x10000;
            s->briskEvent(benchcfg::kFreqReportSwitch, "", 1, &value);
        }
        return s;
    }();
    return server;
}
