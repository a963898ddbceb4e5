#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/Journal.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/KernelNode.h"

// Owns the files and nodes of the back-end and turns holder changes into writes.
// Changes are made in sets: hold and release nodes, then commit, which writes
// every node whose value in force changed (pairs of bounds in an order the
// kernel accepts), journals each file's original before its first write, and on
// a hard failure undoes the whole set, holders and files alike. A busy file
// (EBUSY, EAGAIN) keeps its wanted value and is retried. Not thread-safe: the
// back-end calls it under its lock.
class NodeArbiter {
public:
    NodeArbiter(const KernelReader& reader, Journal& journal, JournalRecord& record);

    // A file to write, or null when another node already writes that path.
    KernelFile* addFile(const std::string& path);
    KernelNode* addNode(NodeRole role, KernelFile* file, long long scale = 1);
    const std::vector<std::unique_ptr<KernelFile>>& files() const { return mFiles; }

    // Holding what `key` already holds changes nothing (the same request again
    // costs no write and keeps when it began).
    void hold(KernelNode* node, HolderKey key, long long value, std::string_view text,
              uint64_t seq);
    void release(KernelNode* node, HolderKey key);
    // 0 when every write needed was made (or is waiting for a busy file); else
    // the -errno of the first hard failure, after undoing the set.
    int commit();

    bool hasPending() const { return !mPending.empty(); }
    // Writes what busy files still wait for; failures are logged.
    void retryPending();

    // Puts every file back as it was before the first write, newest first, but
    // only where it still holds what was last written there (as far as its
    // read-back can tell: see KernelFile::echoesWrites). Logs what it leaves.
    void restoreAll();

private:
    enum class Outcome { Done, Busy, Failed };
    enum class Failure { Busy, Write, Original, Journal };

    void touch(KernelNode* node);
    bool touchedNow(const KernelNode* node, size_t upTo) const;
    HolderUndo* nextUndo();
    // Writes what `node` wants; `error` gets -errno of a hard failure.
    Outcome writeNode(KernelNode* node, int* error);
    Outcome writePair(KernelNode* a, int* error);
    Outcome writeText(KernelNode* node, std::string_view text, int* error);
    int journalOriginal(KernelFile* file);
    void undo();
    void endSet();
    void notePending(KernelNode* node, bool busy);
    // True, with a warning, when `file` holds something else than the back-end
    // last wrote (or cannot be read back).
    static bool changedByAnother(const KernelFile* file);
    // Each file and errno is logged once.
    void logOnce(const KernelFile* file, int error, Failure failure, std::string_view wanted);

    const KernelReader& mReader;
    Journal& mJournal;
    JournalRecord& mRecord;
    std::vector<std::unique_ptr<KernelFile>> mFiles;
    std::vector<std::unique_ptr<KernelNode>> mNodes;
    std::vector<KernelFile*> mFirstWrites;  // in order of first write
    // The current set: the nodes it touched, in order, and how to reverse each
    // holder change (entries beyond the count are kept for their capacity).
    std::vector<KernelNode*> mTouched;
    std::vector<HolderUndo> mUndo;
    size_t mUndoCount = 0;
    std::vector<KernelFile*> mWritten;  // each file is written once per set at most
    std::vector<KernelNode*> mNewPending;
    std::vector<KernelNode*> mPending;
    std::set<std::pair<const KernelFile*, int>> mLogged;
};
