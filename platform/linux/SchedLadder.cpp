#include "platform/linux/SchedLadder.h"

#include <algorithm>
#include <cstdlib>

#include "platform/linux/KernelText.h"
#include "sched/SchedTags.h"

namespace {
// One value between rungs `a` and `b` (a.level < level < b.level): linear when
// both give it, else the value of the rung farther from 0, if it gives one.
int between(int level, const Rung& a, int av, const Rung& b, int bv) {
    if (av >= 0 && bv >= 0) {
        long long span = b.level - a.level;
        long long offset = level - a.level;
        return static_cast<int>(av + ((bv - av) * offset * 2 + span) / (span * 2));
    }
    return std::abs(a.level) > std::abs(b.level) ? av : bv;
}
}  // namespace

SchedLadder::SchedLadder() : SchedLadder(defaultRungs()) {}

SchedLadder::SchedLadder(std::vector<Rung> rungs) : mRungs(std::move(rungs)) {
    mRungs.erase(
        std::remove_if(mRungs.begin(), mRungs.end(), [](const Rung& r) { return r.level == 0; }),
        mRungs.end());
    mRungs.push_back(Rung{0, 0, kFullClamp, kDefaultWeight});
    std::sort(mRungs.begin(), mRungs.end(),
              [](const Rung& a, const Rung& b) { return a.level < b.level; });
}

std::vector<Rung> SchedLadder::defaultRungs() {
    return {
        {40, 5000, -1, 200}, {30, 3500, -1, 160}, {20, 2000, -1, 130},
        {10, 1000, -1, 115}, {-10, -1, 6000, 60}, {-20, -1, 3000, 30},
    };
}

GroupTarget SchedLadder::targetFor(int level, bool* clamped) const {
    *clamped = false;
    GroupTarget target;
    if (level == 0 || level == SCHED_LEVEL_UNSET) {
        return target;
    }
    if (level < lowest() || level > highest()) {
        *clamped = true;
        level = level < lowest() ? lowest() : highest();
    }
    auto upper = std::lower_bound(mRungs.begin(), mRungs.end(), level,
                                  [](const Rung& r, int l) { return r.level < l; });
    if (upper->level == level) {
        target = {upper->uclampMin, upper->uclampMax, upper->weight};
    } else {
        const Rung& a = *(upper - 1);
        const Rung& b = *upper;
        target.uclampMin = between(level, a, a.uclampMin, b, b.uclampMin);
        target.uclampMax = between(level, a, a.uclampMax, b, b.uclampMax);
        target.weight = between(level, a, a.weight, b, b.weight);
    }
    return target;
}

size_t SchedLadder::percentText(int hundredths, char* buffer) {
    size_t length = KernelText::formatInt(hundredths / 100, buffer);
    const int fraction = hundredths % 100;
    buffer[length++] = '.';
    buffer[length++] = static_cast<char>('0' + fraction / 10);
    buffer[length++] = static_cast<char>('0' + fraction % 10);
    return length;
}
