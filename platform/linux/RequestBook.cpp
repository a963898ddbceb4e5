#include "platform/linux/RequestBook.h"

#include <cstring>

#include "config/Vocabulary.h"
#include "platform/linux/KernelText.h"

int RequestBook::begin(HolderKey key, const Action& step, uint64_t seq, const char* reserved,
                       Clock::time_point* deadline, bool* timed) {
    *timed = false;
    Request& request = mRequests[key];
    mSaved = request.nodes;
    for (KernelNode* node : request.nodes) {
        mArbiter.release(node, key);
    }
    request.nodes.clear();
    // An untimed on/off step reaches the back-end twice: its other pairs through
    // the frequency manager (setConfig, combined there with the other events and
    // the clients), the whole step through doAction for its platform items. Only
    // those are its own request; holding the rest too would bypass the manager.
    const bool itemsOnly = Vocabulary::isOnOffCmdId(key.cmdId) && step.duration <= 0;
    for (int i = 0; i < step.tagPairCount(); ++i) {
        if (!itemsOnly || NodeTable::kindOf(step.pairTag(i)) == TagKind::Item) {
            holdPair(key, step, i, seq, reserved, &request.nodes);
        }
    }
    int r = mArbiter.commit();
    if (r != 0) {
        request.nodes = mSaved;  // the arbiter put the holders back
    } else if (step.duration > 0 && !request.nodes.empty()) {
        request.timed = true;
        request.deadline = Clock::now() + std::chrono::milliseconds(step.duration);
        *deadline = request.deadline;
        *timed = true;
    } else {
        request.timed = false;
    }
    forgetIfIdle(key, request);
    return r;
}

int RequestBook::end(HolderKey key) {
    auto found = mRequests.find(key);
    if (found == mRequests.end()) {
        return 0;
    }
    Request& request = found->second;
    for (KernelNode* node : request.nodes) {
        mArbiter.release(node, key);
    }
    int r = mArbiter.commit();
    if (r == 0) {
        request.nodes.clear();
        request.timed = false;
        forgetIfIdle(key, request);
    }
    return r;
}

void RequestBook::forgetIfIdle(HolderKey key, const Request& request) {
    // A command's entry is kept for its next begin (no allocation then); a probed
    // thread's goes, as thread ids come and go.
    if (request.nodes.empty() && key.instance != 0) {
        mRequests.erase(key);
    }
}

void RequestBook::holdPair(HolderKey key, const Action& step, int pair, uint64_t seq,
                           const char* reserved, std::vector<KernelNode*>* held) {
    const int tag = step.pairTag(pair);
    const int value = step.pairValue(pair);
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
            const std::string& name = step.pairKey(pair);
            if (reserved != nullptr && name == reserved) {
                return;
            }
            bool known = false;
            KernelNode* node = mTable.item(name, &known);
            if (node == nullptr) {
                mNotes.absent(tag, &name);
                return;
            }
            mArbiter.hold(node, key, 0, step.pairText(pair), seq);
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

bool RequestBook::nextDeadline(Clock::time_point* when) const {
    bool any = false;
    for (const auto& entry : mRequests) {
        if (entry.second.timed && (!any || entry.second.deadline < *when)) {
            *when = entry.second.deadline;
            any = true;
        }
    }
    return any;
}

void RequestBook::expire(Clock::time_point now, Clock::duration retry) {
    std::vector<HolderKey> due;
    for (const auto& entry : mRequests) {
        if (entry.second.timed && entry.second.deadline <= now) {
            due.push_back(entry.first);
        }
    }
    for (HolderKey key : due) {
        if (end(key) != 0) {
            // Tried again later; the failure was logged per file.
            mRequests[key].deadline = now + retry;
        }
    }
}

std::vector<int> RequestBook::commands() const {
    std::vector<int> ids;
    for (const auto& entry : mRequests) {
        // Ordered by command id first: one command's instances are neighbours.
        if (ids.empty() || ids.back() != entry.first.cmdId) {
            ids.push_back(entry.first.cmdId);
        }
    }
    return ids;
}
