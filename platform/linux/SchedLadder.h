#pragma once

#include <string>
#include <vector>

// One rung of the ladder: what a scheduling level does to a group. Percentages
// are in hundredths (5000 = 50.00 %); -1 leaves that value to the rungs around.
struct Rung {
    int level = 0;
    int uclampMin = -1;
    int uclampMax = -1;
    int weight = -1;  // cpu.weight units, 1..10000 (cpu.shares: × 1024 / 100)
};

// What a level asks of a group: each value, or -1 for the group's original.
struct GroupTarget {
    int uclampMin = -1;
    int uclampMax = -1;
    int weight = -1;
};

// The levels of the scheduling manager turned into cgroup values. Level 0 (and
// the unset level -100) leaves a group at its original values; a level between
// two rungs is interpolated, level 0 standing for 0 %, 100 % and weight 100; a
// level beyond the ends is taken as the nearest end.
class SchedLadder {
public:
    SchedLadder();  // the default ladder
    // A described ladder (no rung at 0: that level always means the originals).
    explicit SchedLadder(std::vector<Rung> rungs);

    // `clamped` tells whether the level lay beyond the ladder's ends.
    GroupTarget targetFor(int level, bool* clamped) const;
    int lowest() const { return mRungs.front().level; }
    int highest() const { return mRungs.back().level; }

    static std::vector<Rung> defaultRungs();
    // "12.34": a percentage in hundredths as the kernel reads it, written into
    // `buffer` (KernelText::kIntTextSize bytes at least); returns the length.
    static size_t percentText(int hundredths, char* buffer);

    static constexpr int kDefaultWeight = 100;
    static constexpr int kFullClamp = 10000;  // 100.00 %

private:
    std::vector<Rung> mRungs;  // ascending by level, the implied rung at 0 included
};
