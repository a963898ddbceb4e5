#include "bench/CpuPlacement.h"

#include <sched.h>
#include <unistd.h>

bool pinToCpu(int cpu) {
    if (cpu < 0) {
        return true;
    }
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    return sched_setaffinity(0, sizeof(set), &set) == 0;
}

bool hasCpu(int cpu) {
    return cpu < sysconf(_SC_NPROCESSORS_ONLN);
}
