#include "bench/ProcessMemory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

size_t heapInUseBytes() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

size_t residentBytes() {
    std::ifstream statm("/proc/self/statm");
    size_t size = 0;
    size_t resident = 0;
    statm >> size >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}
