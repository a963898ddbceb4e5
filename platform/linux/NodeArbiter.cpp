#include "platform/linux/NodeArbiter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/KernelText.h"
#include "platform/linux/LinuxLog.h"

namespace {
bool isBusy(int error) {
    return error == -EBUSY || error == -EAGAIN;
}

// What the file holds as far as the back-end knows: its last text, else the original.
bool currentValue(KernelFile* file, long long* value) {
    const std::string* text = file->hasLast() ? &file->last() : file->knownOriginal();
    return text != nullptr && KernelText::parseInt(*text, value);
}
}  // namespace

NodeArbiter::NodeArbiter(const KernelReader& reader, Journal& journal, JournalRecord& record)
    : mReader(reader), mJournal(journal), mRecord(record) {}

KernelFile* NodeArbiter::addFile(const std::string& path) {
    for (const auto& file : mFiles) {
        if (file->path() == path) {
            return nullptr;
        }
    }
    mFiles.push_back(std::make_unique<KernelFile>(mReader, path));
    return mFiles.back().get();
}

KernelNode* NodeArbiter::addNode(NodeRole role, KernelFile* file, long long scale) {
    mNodes.push_back(std::make_unique<KernelNode>(role, file, scale));
    return mNodes.back().get();
}

void NodeArbiter::touch(KernelNode* node) {
    if (!touchedNow(node, mTouched.size())) {
        mTouched.push_back(node);
    }
}

bool NodeArbiter::touchedNow(const KernelNode* node, size_t upTo) const {
    for (size_t i = 0; i < upTo; ++i) {
        if (mTouched[i] == node) {
            return true;
        }
    }
    return false;
}

HolderUndo* NodeArbiter::nextUndo() {
    if (mUndoCount == mUndo.size()) {
        mUndo.emplace_back();
    }
    return &mUndo[mUndoCount++];
}

void NodeArbiter::hold(KernelNode* node, HolderKey key, long long value, std::string_view text,
                       uint64_t seq) {
    if (node->hold(key, value, text, seq, nextUndo())) {
        touch(node);
    } else {
        --mUndoCount;  // nothing changed: nothing to reverse, nothing to write
    }
}

void NodeArbiter::release(KernelNode* node, HolderKey key) {
    HolderUndo* undo = nextUndo();
    node->release(key, undo);
    if (undo->existed) {
        touch(node);
    } else {
        --mUndoCount;  // it held nothing: nothing changed
    }
}

int NodeArbiter::commit() {
    int error = 0;
    for (size_t i = 0; i < mTouched.size(); ++i) {
        KernelNode* node = mTouched[i];
        if (node->partner() != nullptr && touchedNow(node->partner(), i)) {
            continue;  // written with its partner
        }
        if (writeNode(node, &error) == Outcome::Failed) {
            undo();
            endSet();
            return error;
        }
    }
    endSet();
    return 0;
}

void NodeArbiter::endSet() {
    mTouched.clear();
    mUndoCount = 0;
    mWritten.clear();
    mNewPending.clear();
}

NodeArbiter::Outcome NodeArbiter::writeNode(KernelNode* node, int* error) {
    if (node->partner() != nullptr) {
        return writePair(node, error);
    }
    WantedText want;
    if (!node->wanted(&want)) {
        if (!node->file()->hasLast()) {
            return Outcome::Done;  // never written: it still holds its original
        }
        want.text = node->file()->original();
    }
    return writeText(node, want.text, error);
}

NodeArbiter::Outcome NodeArbiter::writePair(KernelNode* a, int* error) {
    KernelNode* floor = a->role() == NodeRole::Floor ? a : a->partner();
    KernelNode* ceiling = floor->partner();
    WantedText floorWant;
    WantedText ceilingWant;
    // A node without holder goes back to its original, if it was ever written.
    bool floorHeld = floor->wanted(&floorWant);
    bool ceilingHeld = ceiling->wanted(&ceilingWant);
    bool writeFloor = floorHeld || floor->file()->hasLast();
    bool writeCeiling = ceilingHeld || ceiling->file()->hasLast();
    if (!floorHeld && writeFloor) {
        floorWant.text = floor->file()->original();
    }
    if (!ceilingHeld && writeCeiling) {
        ceilingWant.text = ceiling->file()->original();
    }
    // Raise the ceiling before the floor, lower the floor before the ceiling:
    // the ceiling goes first unless the floor now in the file is above the new
    // ceiling. (Only a pair written together has an order to choose.)
    long long floorNow = 0;
    long long newCeiling = 0;
    bool ceilingFirst =
        !(writeFloor && writeCeiling && currentValue(floor->file(), &floorNow) &&
          KernelText::parseInt(ceilingWant.text, &newCeiling) && floorNow > newCeiling);
    KernelNode* order[2] = {ceilingFirst ? ceiling : floor, ceilingFirst ? floor : ceiling};
    Outcome result = Outcome::Done;
    for (KernelNode* node : order) {
        bool write = node == floor ? writeFloor : writeCeiling;
        Outcome outcome =
            write ? writeText(node, node == floor ? floorWant.text : ceilingWant.text, error)
                  : Outcome::Done;
        if (outcome == Outcome::Failed) {
            return outcome;
        }
        if (outcome == Outcome::Busy) {
            result = outcome;
        }
    }
    return result;
}

NodeArbiter::Outcome NodeArbiter::writeText(KernelNode* node, std::string_view text, int* error) {
    KernelFile* file = node->file();
    if (!file->captured()) {
        int r = file->captureOriginal();
        if (r != 0) {
            logOnce(file, r, Failure::Original, text);
            *error = r;
            return Outcome::Failed;
        }
        r = journalOriginal(file);
        if (r != 0) {
            logOnce(file, r, Failure::Journal, text);
            *error = r;
            return Outcome::Failed;
        }
    }
    bool wrote = false;
    int r = file->write(text, &wrote);
    if (r == 0) {
        if (wrote) {
            mWritten.push_back(file);
        }
        notePending(node, false);
        return Outcome::Done;
    }
    if (isBusy(r)) {
        notePending(node, true);
        logOnce(file, r, Failure::Busy, text);
        return Outcome::Busy;
    }
    logOnce(file, r, Failure::Write, text);
    *error = r;
    return Outcome::Failed;
}

int NodeArbiter::journalOriginal(KernelFile* file) {
    mRecord.files.emplace_back(file->kernelPath(), file->original());
    int r = mJournal.save(mRecord);
    if (r != 0) {
        mRecord.files.pop_back();
        return r;
    }
    mFirstWrites.push_back(file);
    return 0;
}

void NodeArbiter::notePending(KernelNode* node, bool busy) {
    if (!busy && mPending.empty()) {
        return;
    }
    auto found = std::find(mPending.begin(), mPending.end(), node);
    if (busy && found == mPending.end()) {
        mPending.push_back(node);
        mNewPending.push_back(node);
    } else if (!busy && found != mPending.end()) {
        mPending.erase(found);
    }
}

void NodeArbiter::undo() {
    for (size_t i = mUndoCount; i-- > 0;) {
        mUndo[i].node->revert(&mUndo[i]);
    }
    for (auto it = mWritten.rbegin(); it != mWritten.rend(); ++it) {
        int r = (*it)->revert();
        if (r != 0) {
            LINUX_LOGE("%s: cannot put its previous text back (%s)", (*it)->path().c_str(),
                       strerror(-r));
        }
    }
    // A busy write of this set never landed: what was there before stands.
    for (KernelNode* node : mNewPending) {
        mPending.erase(std::remove(mPending.begin(), mPending.end(), node), mPending.end());
    }
}

void NodeArbiter::retryPending() {
    if (mPending.empty()) {
        return;
    }
    std::vector<KernelNode*> pending = mPending;
    for (KernelNode* node : pending) {
        int error = 0;
        if (writeNode(node, &error) == Outcome::Failed) {
            mPending.erase(std::remove(mPending.begin(), mPending.end(), node), mPending.end());
        }
    }
    endSet();
}

void NodeArbiter::restoreAll() {
    for (auto it = mFirstWrites.rbegin(); it != mFirstWrites.rend(); ++it) {
        KernelFile* file = *it;
        if (!file->hasLast() || changedByAnother(file)) {
            continue;  // no write of the back-end ever landed there, or it was overwritten
        }
        bool wrote = false;
        int r = file->write(file->original(), &wrote);
        if (r != 0) {
            LINUX_LOGE("cannot restore \"%s\" to %s: %s", file->original().c_str(),
                       file->path().c_str(), strerror(-r));
        }
    }
}

bool NodeArbiter::changedByAnother(const KernelFile* file) {
    // A file that reads back the limit in force rather than the text written
    // cannot tell another writer from another QoS request: it is put back.
    if (!file->echoesWrites()) {
        return false;
    }
    std::string now;
    int r = file->read(&now);
    if (r != 0) {
        LINUX_LOGW("%s: cannot read it back (%s); left as it is", file->path().c_str(),
                   strerror(-r));
        return true;
    }
    if (now != file->last()) {
        LINUX_LOGW(
            "%s: changed by another writer (holds \"%s\", the back-end wrote \"%s\"); "
            "left as it is",
            file->path().c_str(), now.c_str(), file->last().c_str());
        return true;
    }
    return false;
}

void NodeArbiter::logOnce(const KernelFile* file, int error, Failure failure,
                          std::string_view wanted) {
    if (!mLogged.insert({file, error}).second) {
        return;
    }
    const std::string text(wanted);
    const char* path = file->path().c_str();
    const char* why = strerror(-error);
    switch (failure) {
        case Failure::Busy:
            LINUX_LOGW("%s: busy (%s); \"%s\" waits and is retried", path, why, text.c_str());
            break;
        case Failure::Write:
            LINUX_LOGE("%s: cannot write \"%s\" (%s)", path, text.c_str(), why);
            break;
        case Failure::Original:
            LINUX_LOGE("%s: cannot read its original (%s); \"%s\" not written", path, why,
                       text.c_str());
            break;
        case Failure::Journal:
            LINUX_LOGE("%s: cannot journal its original in %s (%s); \"%s\" not written", path,
                       mJournal.path().c_str(), why, text.c_str());
            break;
    }
}
