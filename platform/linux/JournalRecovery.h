#pragma once

#include <string>
#include <vector>

#include "platform/linux/Journal.h"
#include "platform/linux/KernelReader.h"

// Puts back what a back-end that is gone (killed, or its process lost power)
// left changed, from its journal: in the same boot only, once its owner is
// dead (no such process, or one with another start time), newest first.
class JournalRecovery {
public:
    JournalRecovery(const KernelReader& reader, Journal& journal)
        : mReader(reader), mJournal(journal) {}

    // With the journal's lock held. 0 when there was nothing to do or everything
    // was put back; -EBUSY when the journal's owner still runs; otherwise the
    // number of entries that could not be put back. Each step is logged and
    // added to `report`.
    int run(std::vector<std::string>* report);

private:
    int restoreFile(const std::string& kernelPath, const std::string& original,
                    std::vector<std::string>* report);

    const KernelReader& mReader;
    Journal& mJournal;
};
