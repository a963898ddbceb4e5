#include "bench/ThreadClock.h"

#include <dirent.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

std::vector<pid_t> allThreads() {
    std::vector<pid_t> tids;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return tids;
    }
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') {
            tids.push_back(static_cast<pid_t>(atoi(entry->d_name)));
        }
    }
    closedir(dir);
    return tids;
}

std::string threadName(pid_t tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string line;
    std::getline(comm, line);
    return line;
}

std::vector<pid_t> threadsNamed(const std::string& name) {
    std::vector<pid_t> tids;
    for (pid_t tid : allThreads()) {
        if (threadName(tid) == name) {
            tids.push_back(tid);
        }
    }
    return tids;
}

int64_t threadCpuNs(pid_t tid) {
    // The kernel's per-thread CPU clock of a thread id (what pthread_getcpuclockid
    // builds for a pthread): ~tid << 3, per-thread flag 4, scheduler clock 2.
    clockid_t clock = static_cast<clockid_t>((~static_cast<unsigned>(tid) << 3) | 4 | 2);
    timespec ts{};
    if (clock_gettime(clock, &ts) != 0) {
        return -1;
    }
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

int64_t monotonicNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}
