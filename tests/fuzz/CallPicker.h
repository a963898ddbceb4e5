#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

// Draws the arguments of entry-point calls from fuzz bytes. Most draws come from
// the numbers the service gives meaning to (command ids and the edges of their
// ranges, client ids, tags, levels, begin and end), the rest are arbitrary, so
// that both the rules and everything around them are reached.
class CallPicker {
public:
    explicit CallPicker(FuzzedDataProvider& in) : mIn(in) {}

    int cmdId();
    int clientId();
    int tag();
    int value();
    // A probe message ("pid=..|tid=.." with fuzzed numbers) or any short text.
    std::string message();
    // 0 to `most` values.
    std::vector<int> values(size_t most);
    std::vector<int> tags(size_t most);
    // The arguments of a dump: the known options, their near misses, any text.
    std::vector<std::string> dumpArgs();
    // A length for an array of `size` elements: never above it, maybe below, maybe
    // negative when `allowNegative`.
    int length(size_t size, bool allowNegative);

private:
    // One of `known` most of the time, else an arbitrary int.
    int pick(const std::vector<int>& known);

    FuzzedDataProvider& mIn;
};
