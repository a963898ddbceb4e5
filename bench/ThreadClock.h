#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// Ids of this process's threads whose name (comm) is `name`.
std::vector<pid_t> threadsNamed(const std::string& name);
// Ids of all of this process's threads.
std::vector<pid_t> allThreads();
// The name (comm) of thread `tid` of this process, empty when it is gone.
std::string threadName(pid_t tid);

// CPU time used so far by thread `tid` of this process, in ns; -1 when unreadable.
int64_t threadCpuNs(pid_t tid);

// CLOCK_MONOTONIC in ns.
int64_t monotonicNs();
