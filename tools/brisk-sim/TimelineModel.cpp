#include "tools/brisk-sim/TimelineModel.h"

#include <algorithm>
#include <cstdio>

#include "config/Vocabulary.h"
#include "tools/brisk-sim/DeviceModel.h"

namespace {
using Kind = ScenarioCommand::Kind;

// A sleep's column grows with its real time, one column width per this many
// milliseconds, up to kMaxSleepColumns widths.
constexpr double kMsPerColumn = 100;
constexpr double kMaxSleepColumns = 5;
constexpr double kNsPerMs = 1e6;

const int kThermalTags[] = {BRISK_TAG_IPA_ON_TEMP, BRISK_TAG_IPA_CONTROL_TEMP,
                            BRISK_TAG_IPA_SUSTAINABLE_POWER};

std::string tagName(int tag) {
    const char* name = Vocabulary::nameForTag(tag);
    return name != nullptr ? name : Vocabulary::kTagNamePrefix + std::to_string(tag);
}

// "12300 app_launch" for lane labels; the name is cut to keep labels short.
std::string commandLabel(int cmdId, const std::string& name) {
    const size_t kLongestName = 22;
    std::string shown = name.size() > kLongestName ? name.substr(0, kLongestName - 1) + "~" : name;
    return std::to_string(cmdId) + (shown.empty() ? "" : " " + shown);
}

// A sort key that orders ids numerically within a kind.
std::string laneKey(int rank, long long id) {
    char key[48];
    snprintf(key, sizeof(key), "%d %020lld", rank, id + (1LL << 40));
    return key;
}

// A value written again changes nothing in the picture.
void addPoint(std::vector<TimelineModel::Point>* points, double x, long long value) {
    if (points->empty() || points->back().value != value) {
        points->push_back({x, value});
    }
}

bool firstPayload(const SimCall& call, int* value) {
    if (call.payloadNull || call.payload.empty()) {
        return false;
    }
    *value = call.payload.front();
    return true;
}
}  // namespace

TimelineModel::TimelineModel(const Timeline& timeline) {
    layColumns(timeline);
    readCalls(timeline, callPositions(timeline));
    readOnOffEvents(timeline);
    buildPanels(timeline);
    for (auto& entry : mLaneByKey) {
        for (Bar& bar : entry.second.bars) {
            if (bar.open) {
                bar.end = mWidth;
            }
        }
        mLanes.push_back(std::move(entry.second));
    }
}

void TimelineModel::layColumns(const Timeline& timeline) {
    double x = 0;
    mTruncated = timeline.truncated;
    for (const Timeline::Step& step : timeline.steps) {
        if (x + kColumnWidth * kMaxSleepColumns > kMaxWidth) {
            mTruncated = true;
            break;
        }
        Column column;
        column.x = x;
        column.width = kColumnWidth;
        if (step.kind == Kind::Sleep) {
            const double ms =
                static_cast<double>(std::max<int64_t>(0, step.endNs - step.beginNs)) / kNsPerMs;
            column.width *= 1 + std::min(kMaxSleepColumns - 1, ms / kMsPerColumn);
        }
        column.lineNumber = step.lineNumber;
        column.line = step.line;
        column.hasResult = step.hasResult;
        column.result = step.result;
        // version answers its version number, every other call 0 for success.
        column.failed = step.hasResult && step.result != 0 && step.kind != Kind::Version;
        column.sleep = step.kind == Kind::Sleep;
        mColumns.push_back(column);
        x += column.width;
    }
    mWidth = x;
}

std::vector<double> TimelineModel::callPositions(const Timeline& timeline) const {
    // Calls of one line sit evenly across its column, in order; in a sleep they
    // sit at their real time.
    std::vector<size_t> perStep(mColumns.size(), 0);
    for (const Timeline::Call& call : timeline.calls) {
        if (call.step < perStep.size()) {
            ++perStep[call.step];
        }
    }
    std::vector<size_t> seen(mColumns.size(), 0);
    std::vector<double> xs;
    xs.reserve(timeline.calls.size());
    for (const Timeline::Call& call : timeline.calls) {
        if (call.step >= mColumns.size()) {
            xs.push_back(0);
            continue;
        }
        const Column& column = mColumns[call.step];
        const Timeline::Step& step = timeline.steps[call.step];
        double share =
            static_cast<double>(++seen[call.step]) / static_cast<double>(perStep[call.step] + 1);
        if (step.kind == Kind::Sleep && step.endNs > step.beginNs) {
            share = static_cast<double>(call.call.timeNs - step.beginNs) /
                    static_cast<double>(step.endNs - step.beginNs);
            share = std::min(1.0, std::max(0.0, share));
        }
        xs.push_back(column.x + column.width * share);
    }
    return xs;
}

void TimelineModel::readCalls(const Timeline& timeline, const std::vector<double>& xs) {
    std::map<int, std::vector<Point>> levels;  // group tag -> levels in force
    for (size_t i = 0; i < timeline.calls.size(); ++i) {
        // Calls of lines past the drawn columns are not drawn.
        if (timeline.calls[i].step >= mColumns.size()) {
            continue;
        }
        const SimCall& call = timeline.calls[i].call;
        const double x = xs[i];
        if (call.result != 0) {
            if (call.op == SimCall::Op::DoAction) {
                mMarks.push_back({x, commandLabel(call.cmdId, call.name) + " failed", true});
            }
            continue;
        }
        const size_t n = std::min(call.tags.size(), call.values.size());
        switch (call.op) {
            case SimCall::Op::SetConfig:
                for (size_t k = 0; k < n; ++k) {
                    addPoint(&mValues[call.tags[k]], x, call.values[k]);
                }
                break;
            case SimCall::Op::DoSchedLevelAction:
                for (size_t k = 0; k < n; ++k) {
                    addPoint(&levels[call.tags[k]], x, call.values[k]);
                }
                break;
            case SimCall::Op::SetProbeTarget:
                switchBar(laneKey(3, call.tid), "boost tid " + std::to_string(call.tid),
                          call.mode != Vocabulary::kEnd, x);
                break;
            case SimCall::Op::DoAction:
                readAction(call, x);
                break;
            case SimCall::Op::Initialize:
            case SimCall::Op::GetConfig:
                break;
        }
    }
    for (auto& entry : levels) {
        mLevels.push_back({tagName(entry.first), false, std::move(entry.second)});
    }
}

void TimelineModel::readAction(const SimCall& call, double x) {
    int payload = 0;
    const bool switches = firstPayload(call, &payload) &&
                          (payload == Vocabulary::kBegin || payload == Vocabulary::kEnd);
    const bool on = payload != Vocabulary::kEnd;
    if (switches && Vocabulary::isSceneCmdId(call.cmdId)) {
        switchBar(laneKey(1, call.cmdId), "scene " + commandLabel(call.cmdId, call.name), on, x);
    } else if (!Vocabulary::isOnOffCmdId(call.cmdId) && call.cmdId != Vocabulary::kProbeCmdId) {
        // On/off actions and boosts have bars of their own.
        std::string label = commandLabel(call.cmdId, call.name);
        if (call.duration > 0) {
            label += " " + std::to_string(call.duration) + " ms";
        }
        mMarks.push_back({x, label, false});
    }
}

void TimelineModel::readOnOffEvents(const Timeline& timeline) {
    for (size_t i = 0; i < timeline.steps.size() && i < mColumns.size(); ++i) {
        const Timeline::Step& step = timeline.steps[i];
        const bool switches = step.hasPayload && (step.payload == Vocabulary::kBegin ||
                                                  step.payload == Vocabulary::kEnd);
        if (step.kind != Kind::Event || !Vocabulary::isOnOffCmdId(step.cmdId) || !switches ||
            !step.hasResult || step.result != 0) {
            continue;
        }
        const Column& column = mColumns[i];
        switchBar(laneKey(2, step.cmdId), "on/off " + commandLabel(step.cmdId, step.commandName),
                  step.payload == Vocabulary::kBegin, column.x + column.width / 2);
    }
}

void TimelineModel::switchBar(const std::string& key, const std::string& label, bool on, double x) {
    Lane& lane = mLaneByKey[key];
    if (lane.label.empty()) {
        lane.label = label;
    }
    const bool isOn = !lane.bars.empty() && lane.bars.back().open;
    if (on && !isOn) {
        lane.bars.push_back({x, x, true});
    } else if (!on && isOn) {
        lane.bars.back().end = x;
        lane.bars.back().open = false;
    }
}

void TimelineModel::buildPanels(const Timeline& timeline) {
    for (int d = 0; d < Vocabulary::kFreqDomainCount; ++d) {
        const Vocabulary::FloorAndCeiling& pair = Vocabulary::kFreqLimitPairs[d];
        Panel panel;
        panel.title = std::string(DeviceModel::domainName(d)) + ", kHz";
        panel.reference = timeline.hardwareMax[d];
        for (int tag : {pair.ceiling, pair.floor}) {
            auto found = mValues.find(tag);
            if (found != mValues.end()) {
                panel.series.push_back({tagName(tag), tag == pair.floor, found->second});
            }
        }
        if (!panel.series.empty()) {
            mPanels.push_back(std::move(panel));
        }
    }
    for (int tag : kThermalTags) {
        auto found = mValues.find(tag);
        if (found != mValues.end()) {
            mPanels.push_back({tagName(tag), 0, {{tagName(tag), false, found->second}}});
        }
    }
}

size_t TimelineModel::seriesCount() const {
    size_t count = mLevels.size();
    for (const Panel& panel : mPanels) {
        count += panel.series.size();
    }
    return count;
}
