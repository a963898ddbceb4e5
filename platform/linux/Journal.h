#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/FileOps.h"

// What a running back-end has changed, enough to put it back after a crash.
struct JournalRecord {
    std::string bootId;
    long long ownerPid = 0;
    unsigned long long ownerStart = 0;  // the owner's start time, 0 when unknown
    bool rollback = true;               // false: the values stay, even after a crash
    // (kernel path, original text), in order of first write.
    std::vector<std::pair<std::string, std::string>> files;
};

// The back-end's journal in its state folder: "journal", replaced atomically
// (temporary file, fsync, rename, fsync of the folder), and "lock", whose flock
// is held as long as a back-end drives the machine, so that two never do.
class Journal {
public:
    Journal(FileOps& ops, std::string stateDir);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Creates the folder (0700) when needed and takes the lock. 0, or -errno with
    // `error` set (-EWOULDBLOCK: another back-end holds it).
    int lock(std::string* error);
    void unlock();

    // The journal on disk. -ENOENT when there is none; -EINVAL when it cannot be
    // used (malformed, or writable by others than its owner), with `error` set.
    int load(JournalRecord* record, std::string* error);
    int save(const JournalRecord& record);
    int remove();

    const std::string& path() const { return mPath; }

    // The text form, one entry a line; texts percent-encoded.
    static std::string format(const JournalRecord& record);
    static bool parse(std::string_view text, JournalRecord* record);

    static constexpr size_t kMaxSize = size_t{1024} * 1024;

private:
    FileOps& mOps;
    std::string mDir;
    std::string mPath;
    int mLockFd = -1;
};
