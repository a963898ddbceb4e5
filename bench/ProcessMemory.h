#pragma once

#include <cstddef>

// Bytes the allocator has handed out and not taken back (mallinfo2).
size_t heapInUseBytes();
// Resident set size of the process in bytes (/proc/self/statm).
size_t residentBytes();
