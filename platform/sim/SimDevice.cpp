#include "platform/sim/SimDevice.h"

#include <time.h>

#include <algorithm>
#include <set>

#include "config/Vocabulary.h"

namespace {
// The record keeps at most this many payload values of one doAction call.
constexpr unsigned int kMaxRecordedPayload = 64;

std::map<int, int> presets() {
    return {{BRISK_TAG_LITTLE_CPU_HW_MAX, SimDevice::kLittleHwMax},
            {BRISK_TAG_BIG_CPU_HW_MAX, SimDevice::kBigHwMax},
            {BRISK_TAG_GPU_HW_MAX, SimDevice::kGpuHwMax}};
}

int64_t monotonicNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}
}  // namespace

SimDevice& SimDevice::instance() {
    static SimDevice device;
    return device;
}

SimDevice::SimDevice() {
    reset();
}

void SimDevice::reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mValues = presets();
    mHeld.clear();
    mFaults.clear();
    mPlatFaults = 0;
    mLoaderFaults = 0;
    mRecording = true;
    mListener = nullptr;
    mRecord.clear();
    mCounts.clear();
}

void SimDevice::setValue(int tag, int value) {
    std::lock_guard<std::mutex> lock(mMutex);
    mValues[tag] = value;
}

int SimDevice::value(int tag) const {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mValues.find(tag);
    return it == mValues.end() ? -1 : it->second;
}

void SimDevice::failNext(SimCall::Op op, int code, int count) {
    std::lock_guard<std::mutex> lock(mMutex);
    mFaults[op] = {code, count};
}

void SimDevice::failPlatCreation(int count) {
    std::lock_guard<std::mutex> lock(mMutex);
    mPlatFaults = count;
}

void SimDevice::failLoaderCreation(int count) {
    std::lock_guard<std::mutex> lock(mMutex);
    mLoaderFaults = count;
}

bool SimDevice::takePlatCreationFault() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mPlatFaults <= 0) {
        return false;
    }
    --mPlatFaults;
    return true;
}

bool SimDevice::takeLoaderCreationFault() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mLoaderFaults <= 0) {
        return false;
    }
    --mLoaderFaults;
    return true;
}

void SimDevice::setRecording(bool on) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecording = on;
}

void SimDevice::setListener(Listener listener) {
    std::lock_guard<std::mutex> lock(mMutex);
    mListener = std::move(listener);
}

std::vector<SimCall> SimDevice::record() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRecord;
}

void SimDevice::clearRecord() {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecord.clear();
}

long SimDevice::callCount(SimCall::Op op) const {
    std::lock_guard<std::mutex> lock(mMutex);
    auto it = mCounts.find(op);
    return it == mCounts.end() ? 0 : it->second;
}

int SimDevice::takeFaultLocked(SimCall::Op op) {
    ++mCounts[op];
    auto it = mFaults.find(op);
    if (it == mFaults.end() || it->second.second <= 0) {
        return 0;
    }
    int code = it->second.first;
    if (--it->second.second == 0) {
        mFaults.erase(it);
    }
    return code;
}

int SimDevice::finishLocked(SimCall& call) {
    const int result = call.result;
    if (!mRecording && !mListener) {
        return result;
    }
    call.timeNs = monotonicNs();
    if (mListener) {
        mListener(call);
    }
    if (mRecording) {
        mRecord.push_back(std::move(call));
    }
    return result;
}

void SimDevice::copyArraysLocked(int len, const int* tags, const int* values, SimCall& call) {
    // In quiet mode nobody looks at the call: only the count is kept.
    if (len <= 0 || tags == nullptr || (!mRecording && !mListener)) {
        return;
    }
    call.tags.assign(tags, tags + len);
    if (values != nullptr) {
        call.values.assign(values, values + len);
    }
}

int SimDevice::initialize() {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    call.op = SimCall::Op::Initialize;
    call.result = takeFaultLocked(call.op);
    return finishLocked(call);
}

int SimDevice::doAction(const Action* action, unsigned int len, const int* payload) {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    call.op = SimCall::Op::DoAction;
    call.result = takeFaultLocked(call.op);
    if (action == nullptr && call.result == 0) {
        call.result = -1;
    }
    // What the device holds: a begin payload holds the command's action, an end
    // payload lets it go.
    if (call.result == 0 && payload != nullptr && len >= 1) {
        if (payload[0] == Vocabulary::kBegin) {
            mHeld.insert(action->cmdId);
        } else if (payload[0] == Vocabulary::kEnd) {
            mHeld.erase(action->cmdId);
        }
    }
    if (mRecording || mListener) {
        if (action != nullptr) {
            call.cmdId = action->cmdId;
            call.name = action->name;
            call.duration = action->duration;
            call.pairs.assign(action->tagValues.begin(),
                              action->tagValues.begin() + 2L * action->tagPairCount());
        }
        // A null payload is no payload, whatever the length says.
        call.len = len;
        call.payloadNull = payload == nullptr;
        if (payload != nullptr) {
            call.payload.assign(payload, payload + std::min(len, kMaxRecordedPayload));
        }
    }
    return finishLocked(call);
}

void SimDevice::readStatus(BackendStatus* out) const {
    std::lock_guard<std::mutex> lock(mMutex);
    out->name = "sim";
    out->facts.push_back("the simulated device: a table of values by tag, no kernel files");
    const std::map<int, int> originals = presets();
    for (const auto& entry : mValues) {
        BackendStatus::Node node;
        node.tag = entry.first;
        node.value = std::to_string(entry.second);
        auto original = originals.find(entry.first);
        if (original != originals.end()) {
            node.original = std::to_string(original->second);
        }
        out->nodes.push_back(node);
    }
    out->heldCommands.assign(mHeld.begin(), mHeld.end());
}

bool SimDevice::beginArrayCallLocked(SimCall& call, SimCall::Op op, int len, const int* tags,
                                     const int* values) {
    call.op = op;
    call.result = takeFaultLocked(op);
    bool usable = len == 0 || (len > 0 && tags != nullptr && values != nullptr);
    if (!usable && call.result == 0) {
        call.result = -1;
    }
    return usable;
}

bool SimDevice::fitsLocked(int len, const int* tags) const {
    std::set<int> added;
    for (int i = 0; i < len; ++i) {
        if (mValues.count(tags[i]) == 0) {
            added.insert(tags[i]);
        }
    }
    return mValues.size() + added.size() <= kMaxTags;
}

int SimDevice::setConfig(int len, const int* tags, const int* values) {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    if (beginArrayCallLocked(call, SimCall::Op::SetConfig, len, tags, values)) {
        if (call.result == 0 && !fitsLocked(len, tags)) {
            call.result = -1;
        }
        for (int i = 0; call.result == 0 && i < len; ++i) {
            mValues[tags[i]] = values[i];
        }
        copyArraysLocked(len, tags, values, call);
    }
    return finishLocked(call);
}

int SimDevice::getConfig(int len, const int* tags, int* values) {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    if (beginArrayCallLocked(call, SimCall::Op::GetConfig, len, tags, values)) {
        for (int i = 0; call.result == 0 && i < len; ++i) {
            auto it = mValues.find(tags[i]);
            values[i] = it == mValues.end() ? -1 : it->second;
        }
        copyArraysLocked(len, tags, call.result == 0 ? values : nullptr, call);
    }
    return finishLocked(call);
}

int SimDevice::doSchedLevelAction(int len, const int* tags, const int* levels) {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    if (beginArrayCallLocked(call, SimCall::Op::DoSchedLevelAction, len, tags, levels)) {
        copyArraysLocked(len, tags, levels, call);
    }
    return finishLocked(call);
}

int SimDevice::setProbeTarget(int tid, int mode) {
    std::lock_guard<std::mutex> lock(mMutex);
    SimCall call;
    call.op = SimCall::Op::SetProbeTarget;
    call.result = takeFaultLocked(call.op);
    call.tid = tid;
    call.mode = mode;
    return finishLocked(call);
}
