#pragma once

// Where the two sides of a round trip run: left to the scheduler (-1), or each
// pinned to one CPU. On some machines (virtual ones especially) waking a thread
// on another, idle CPU costs far more than on the same CPU, so the two pinned
// placements bound what the scheduler may choose.
struct Placement {
    int daemonCpu;
    int clientCpu;
    const char* path;
};

// Pins the calling thread (and what it starts or execs later) to `cpu`; true for
// -1 (nothing to do) and on success.
bool pinToCpu(int cpu);

// Whether this machine has CPU `cpu` online.
bool hasCpu(int cpu);
