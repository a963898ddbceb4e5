#pragma once

#include <string>
#include <vector>

#include "platform/linux/Journal.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/ThreadOps.h"

// Puts back what a back-end that is gone (killed, or its process lost power)
// left changed, from its journals: the files' originals and the boosted threads'
// values. In the same boot only, once the owner is dead (no such process, or one
// with another start time), newest first.
class JournalRecovery {
public:
    JournalRecovery(const KernelReader& reader, Journal& journal, ThreadOps& threads,
                    std::string boostPath)
        : mReader(reader), mJournal(journal), mThreads(threads), mBoostPath(std::move(boostPath)) {}

    // With the journal's lock held. 0 when there was nothing to do or everything
    // was put back; -EBUSY when a journal's owner still runs; otherwise the
    // number of entries that could not be put back. Each step is logged and
    // added to `report`.
    int run(std::vector<std::string>* report);

private:
    enum class Verdict { Replay, Drop, Busy };
    Verdict judge(const std::string& path, const std::string& bootId, long long pid,
                  unsigned long long start, bool rollback, std::vector<std::string>* report);
    int recoverFiles(std::vector<std::string>* report);
    int recoverThreads(std::vector<std::string>* report);
    int restoreFile(const std::string& kernelPath, const std::string& original,
                    const std::vector<std::string>& cgroupMounts, std::vector<std::string>* report);
    void setAside(const std::string& path, const std::string& error,
                  std::vector<std::string>* report);

    const KernelReader& mReader;
    Journal& mJournal;
    ThreadOps& mThreads;
    std::string mBoostPath;
};
