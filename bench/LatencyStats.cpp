#include "bench/LatencyStats.h"

#include <algorithm>

namespace {
double percentile(std::vector<uint32_t>& samples, double fraction) {
    size_t index = static_cast<size_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), samples.begin() + static_cast<long>(index), samples.end());
    return samples[index];
}
}  // namespace

LatencySummary summarize(std::vector<uint32_t>& samplesNs) {
    LatencySummary summary;
    summary.count = samplesNs.size();
    if (samplesNs.empty()) {
        return summary;
    }
    summary.maxNs = *std::max_element(samplesNs.begin(), samplesNs.end());
    summary.p50Ns = percentile(samplesNs, 0.50);
    summary.p99Ns = percentile(samplesNs, 0.99);
    return summary;
}
