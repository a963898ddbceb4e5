#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/FileOps.h"

// One boosted thread, as the journal keeps it.
struct BoostRecord {
    int tid = 0;
    unsigned long long start = 0;  // the thread's start time (/proc/<tid>/stat)
    bool clamp = true;             // its util clamp minimum; false: its nice value
    int saved = 0;                 // the value before the boost
    int ours = 0;                  // the value the boost wrote
};

struct BoostOwner {
    std::string bootId;
    long long pid = 0;
    unsigned long long start = 0;
};

// The boosted threads of a running back-end, in "threads" beside the journal:
// fixed slots of kSlot bytes, one per boost, each written with one pwrite (a
// boost must stay cheap) and blanked when the boost ends. The first slot names
// the boot and the owner. The file is made at the first boost.
class BoostJournal {
public:
    BoostJournal(FileOps& ops, std::string path) : mOps(ops), mPath(std::move(path)) {}
    ~BoostJournal();
    BoostJournal(const BoostJournal&) = delete;
    BoostJournal& operator=(const BoostJournal&) = delete;

    void setOwner(const BoostOwner& owner) { mOwner = owner; }
    // Writes `record` into a free slot; 0, or -errno.
    int put(const BoostRecord& record, int* slot);
    int clear(int slot);
    // Closes and deletes the file (every boost has been taken back).
    void remove();
    const std::string& path() const { return mPath; }

    // The file at `path`: -ENOENT when there is none, -EINVAL when it is no
    // journal of boosts (or others may write it), with `error` set.
    static int load(FileOps& ops, const std::string& path, BoostOwner* owner,
                    std::vector<BoostRecord>* records, std::string* error);
    static bool parse(std::string_view text, BoostOwner* owner, std::vector<BoostRecord>* records);

    static constexpr size_t kSlot = 128;
    static constexpr size_t kMaxSlots = 65536;

private:
    int openFile();
    int writeSlot(size_t slot, std::string_view line);

    FileOps& mOps;
    std::string mPath;
    BoostOwner mOwner;
    int mFd = -1;
    size_t mSlots = 1;  // the owner's slot
    std::vector<int> mFree;
};
