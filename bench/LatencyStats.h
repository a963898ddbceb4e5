#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct LatencySummary {
    double p50Ns = 0;
    double p99Ns = 0;
    double maxNs = 0;
    size_t count = 0;
};

// Percentiles of the samples (ns); reorders them.
LatencySummary summarize(std::vector<uint32_t>& samplesNs);
