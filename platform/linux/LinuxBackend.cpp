#include "platform/linux/LinuxBackend.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/JournalRecovery.h"
#include "platform/linux/KernelText.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/PlatformDiscovery.h"
#include "platform/linux/ProcessIdentity.h"
#include "platform/linux/SystemFileOps.h"

namespace {
// The thread bound by setProbeTarget for its next doAction on the same back-end.
struct ProbeBinding {
    const void* backend = nullptr;
    int tid = 0;
};
thread_local ProbeBinding tProbeBinding;

std::shared_ptr<FileOps> opsOrSystem(const std::shared_ptr<FileOps>& ops) {
    return ops != nullptr ? ops : std::make_shared<SystemFileOps>();
}
}  // namespace

LinuxBackend::LinuxBackend(const LinuxBackendSettings& settings)
    : mOps(opsOrSystem(settings.fileOps)),
      mSettings(settings),
      mReader(*mOps, settings.kernelRoot),
      mJournal(*mOps, settings.stateDir),
      mArbiter(mReader, mJournal, mRecord),
      mTimer(
          mMutex, [this] { return nextWake(); }, [this](Clock::time_point now) { onTimer(now); }) {}

LinuxBackend::~LinuxBackend() {
    mTimer.stop();
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return;
    }
    if (mRecord.rollback) {
        mArbiter.restoreAll();
    } else {
        LINUX_LOGI("keep-on-exit: the values written stay");
    }
    mJournal.remove();
}

int LinuxBackend::initialize() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mReady) {
        return 0;
    }
    std::string error;
    if (!mSettings.descriptionFile.empty() &&
        !DescriptionReader::readFile(*mOps, mSettings.descriptionFile, &mDescription, &error)) {
        LINUX_LOGE("%s", error.c_str());
        return -EINVAL;
    }
    int r = mJournal.lock(&error);
    if (r != 0) {
        LINUX_LOGE("%s", error.c_str());
        return r;
    }
    std::vector<std::string> report;
    if (JournalRecovery(mReader, mJournal).run(&report) == -EBUSY) {
        mJournal.unlock();
        return -EBUSY;
    }
    if (!PlatformDiscovery(mReader, mDescription).discover(&mLayout, &error) ||
        !mTable.build(mLayout, mDescription.fileName, mArbiter, &error)) {
        LINUX_LOGE("%s", error.c_str());
        mJournal.unlock();
        return -EINVAL;
    }
    mRecord.bootId = ProcessIdentity::bootId(mReader);
    mRecord.ownerPid = getpid();
    mRecord.ownerStart = ProcessIdentity::startTime(mReader, getpid());
    mRecord.rollback = !mDescription.keepOnExit;
    LINUX_LOGI("%s", mLayout.summary().c_str());
    mReady = true;
    return 0;
}

// doAction ------------------------------------------------------------------

int LinuxBackend::doAction(const Action* action, unsigned int len, const int* payload) {
    if (action == nullptr) {
        return -EINVAL;
    }
    HolderKey key{action->cmdId, 0};
    if (tProbeBinding.backend == this) {
        key.instance = tProbeBinding.tid;
        tProbeBinding = ProbeBinding();
    }
    // A null payload is no payload, whatever the length: a begin.
    const bool end = len > 0 && payload != nullptr && payload[0] == Vocabulary::kEnd;
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return -ENODEV;
    }
    if (mArbiter.hasPending()) {
        mArbiter.retryPending();
    }
    int r = end ? endRequest(key) : beginRequest(key, *action);
    afterCall();
    return r;
}

int LinuxBackend::beginRequest(HolderKey key, const Action& step) {
    int r = mDescription.strict
                ? mNotes.strictAbsence(step.tagValues.data(), step.tagPairCount(), &step)
                : 0;
    if (r != 0) {
        return r;
    }
    RequestBook::Request& request = mRequests.at(key);
    mSavedNodes = request.nodes;
    for (KernelNode* node : request.nodes) {
        mArbiter.release(node, key);
    }
    request.nodes.clear();
    const uint64_t seq = ++mSeq;
    for (int i = 0; i < step.tagPairCount(); ++i) {
        holdPair(key, step, i, seq, &request.nodes);
    }
    r = mArbiter.commit();
    if (r != 0) {
        request.nodes = mSavedNodes;  // the arbiter put the holders back
    } else if (step.duration > 0) {
        request.timed = true;
        request.deadline = Clock::now() + std::chrono::milliseconds(step.duration);
        mTimer.reschedule(request.deadline);
    } else {
        request.timed = false;
    }
    forgetIfIdle(key, request);
    return r;
}

int LinuxBackend::endRequest(HolderKey key) {
    RequestBook::Request* request = mRequests.find(key);
    if (request == nullptr) {
        return 0;
    }
    for (KernelNode* node : request->nodes) {
        mArbiter.release(node, key);
    }
    int r = mArbiter.commit();
    if (r == 0) {
        request->nodes.clear();
        request->timed = false;
        forgetIfIdle(key, *request);
    }
    return r;
}

void LinuxBackend::forgetIfIdle(HolderKey key, const RequestBook::Request& request) {
    // A command's entry is kept for its next begin (no allocation then); a probed
    // thread's goes, as thread ids come and go.
    if (request.nodes.empty() && key.instance != 0) {
        mRequests.erase(key);
    }
}

void LinuxBackend::holdPair(HolderKey key, const Action& step, int pair, uint64_t seq,
                            std::vector<KernelNode*>* held) {
    const size_t at = static_cast<size_t>(pair) * 2;  // the pair's place in both vectors
    const int tag = step.tagValues[at];
    const int value = step.tagValues[at + 1];
    char number[KernelText::kIntTextSize];
    std::string_view text;
    switch (NodeTable::kindOf(tag)) {
        case TagKind::Bound:
            if (value <= 0) {
                return;  // no limit asked
            }
            break;
        case TagKind::Number:
            if (value <= 0) {
                return;
            }
            text = std::string_view(number, KernelText::formatInt(value, number));
            break;
        case TagKind::Fork:
            if (value < 0) {
                return;
            }
            if (mTable.forkNode() != nullptr) {
                text = mTable.forkText(value > 0);
            }
            break;
        case TagKind::Item: {
            if (pair >= step.keyPairCount()) {
                return;
            }
            const std::string& name = step.keyValues[at];
            bool known = false;
            KernelNode* node = mTable.item(name, &known);
            if (node == nullptr) {
                mNotes.absent(tag, &name);
                return;
            }
            mArbiter.hold(node, key, 0, step.keyValues[at + 1], seq);
            held->push_back(node);
            return;
        }
        case TagKind::Skipped:
            return;
        default:
            mNotes.warnOnce(tag, "not a tag this back-end writes; ignored");
            return;
    }
    const std::vector<KernelNode*>& nodes = *mTable.nodesFor(tag);
    if (nodes.empty()) {
        mNotes.absent(tag, nullptr);
    }
    for (KernelNode* node : nodes) {
        mArbiter.hold(node, key, static_cast<long long>(value) * node->scale(), text, seq);
        held->push_back(node);
    }
}

// setConfig and getConfig -----------------------------------------------------

int LinuxBackend::setConfig(int len, const int* tags, const int* values) {
    if (len < 0 || (len > 0 && (tags == nullptr || values == nullptr))) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return -ENODEV;
    }
    if (mArbiter.hasPending()) {
        mArbiter.retryPending();
    }
    int r = mDescription.strict ? mNotes.strictAbsence(tags, len, nullptr) : 0;
    if (r == 0) {
        for (int i = 0; i < len; ++i) {
            setManagerValue(tags[i], values[i]);
        }
        r = mArbiter.commit();
    }
    afterCall();
    return r;
}

void LinuxBackend::setManagerValue(int tag, int value) {
    TagKind kind = NodeTable::kindOf(tag);
    if (kind != TagKind::Bound && kind != TagKind::Number && kind != TagKind::Fork) {
        mNotes.warnOnce(tag, kind == TagKind::ReadOnly ? "read-only; ignored"
                                                       : "not a tag this back-end writes; ignored");
        return;
    }
    const std::vector<KernelNode*>& nodes = *mTable.nodesFor(tag);
    if (nodes.empty()) {
        mNotes.absent(tag, nullptr);
        return;
    }
    // 0 and -1 lift the limit; for the fork switch 0 means off and only -1 lifts it.
    const bool lift = kind == TagKind::Fork ? value < 0 : value <= 0;
    // Only a Latest node writes a holder's own text; a bound's text is its value.
    char number[KernelText::kIntTextSize];
    std::string_view text;
    if (kind == TagKind::Fork) {
        text = mTable.forkText(value > 0);
    } else if (kind == TagKind::Number) {
        text = std::string_view(number, KernelText::formatInt(value, number));
    }
    for (KernelNode* node : nodes) {
        if (lift) {
            mArbiter.release(node, kManagerHolder);
        } else {
            // The same value again changes nothing, not even when it began.
            mArbiter.hold(node, kManagerHolder, static_cast<long long>(value) * node->scale(), text,
                          ++mSeq);
        }
    }
}

int LinuxBackend::getConfig(int len, const int* tags, int* values) {
    if (len < 0 || (len > 0 && (tags == nullptr || values == nullptr))) {
        return -EINVAL;
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mReady) {
        return -ENODEV;
    }
    for (int i = 0; i < len; ++i) {
        values[i] = configValue(tags[i]);
    }
    return 0;
}

int LinuxBackend::configValue(int tag) {
    switch (tag) {
        case BRISK_TAG_LITTLE_CPU_HW_MAX:
            return static_cast<int>(std::min<long long>(mLayout.little.hwMax(), INT_MAX));
        case BRISK_TAG_BIG_CPU_HW_MAX:
            return static_cast<int>(std::min<long long>(mLayout.big.hwMax(), INT_MAX));
        case BRISK_TAG_GPU_HW_MAX:
            return static_cast<int>(std::min<long long>(
                mLayout.gpu.present ? mLayout.gpu.maxHz / mLayout.gpu.scale : 0, INT_MAX));
        default:
            break;
    }
    const std::vector<KernelNode*>* nodes = mTable.nodesFor(tag);
    if (nodes == nullptr) {
        return -1;
    }
    if (nodes->empty()) {
        return 0;
    }
    KernelNode* node = nodes->front();
    if (NodeTable::kindOf(tag) == TagKind::Fork) {
        WantedText want;
        if (!node->wanted(&want)) {
            const std::string* original = node->file()->knownOriginal();
            want.text = original != nullptr ? std::string_view(*original) : std::string_view();
        }
        std::string_view text = want.text;
        return text == mTable.forkText(true) ? 1 : text == mTable.forkText(false) ? 0 : -1;
    }
    long long value = 0;
    if (!node->valueInForce(&value)) {
        return -1;
    }
    value /= node->scale();
    return value > INT_MAX || value < INT_MIN ? -1 : static_cast<int>(value);
}

// Scheduling groups and thread boosts -----------------------------------------

int LinuxBackend::doSchedLevelAction(int len, const int* tags, const int* levels) {
    (void)len;
    (void)tags;
    (void)levels;
    std::lock_guard<std::mutex> lock(mMutex);
    mNotes.warnOnce(-1, "scheduling-group levels are not written by this back-end yet");
    return 0;
}

int LinuxBackend::setProbeTarget(int tid, int mode) {
    (void)mode;
    tProbeBinding.backend = this;
    tProbeBinding.tid = tid;
    return 0;
}

// The timer -------------------------------------------------------------------

void LinuxBackend::afterCall() {
    if (!mArbiter.hasPending()) {
        mRetryArmed = false;
        mRetryDelay = kFirstRetry;
        return;
    }
    if (!mRetryArmed) {
        mRetryArmed = true;
        mRetryAt = Clock::now() + mRetryDelay;
        mTimer.reschedule(mRetryAt);
    }
}

LinuxBackend::Clock::time_point LinuxBackend::nextWake() {
    Clock::time_point next = Clock::time_point::max();
    mRequests.nextDeadline(&next);
    if (mRetryArmed && mRetryAt < next) {
        next = mRetryAt;
    }
    return next;
}

void LinuxBackend::onTimer(Clock::time_point now) {
    for (HolderKey key : mRequests.expired(now)) {
        if (endRequest(key) != 0) {
            // Tried again with the busy files; the failure was logged per file.
            mRequests.at(key).deadline = now + kFirstRetry;
        }
    }
    if (mRetryArmed && now >= mRetryAt) {
        mArbiter.retryPending();
        mRetryArmed = false;
        mRetryDelay = std::min<Clock::duration>(mRetryDelay * 2, kLastRetry);
        if (mArbiter.hasPending()) {
            mRetryArmed = true;
            mRetryAt = now + mRetryDelay;
        } else {
            mRetryDelay = kFirstRetry;
        }
    }
}
