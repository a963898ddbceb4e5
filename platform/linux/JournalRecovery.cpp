#include "platform/linux/JournalRecovery.h"

#include <cerrno>
#include <cstring>

#include "platform/linux/KernelFile.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/ProcessIdentity.h"

namespace {
void note(std::vector<std::string>* report, int priority, const std::string& line) {
    __android_log_print(priority, BRISK_LINUX_LOG_TAG, "%s", line.c_str());
    report->push_back(line);
}
}  // namespace

int JournalRecovery::run(std::vector<std::string>* report) {
    JournalRecord record;
    std::string error;
    int r = mJournal.load(&record, &error);
    if (r == -ENOENT) {
        return 0;
    }
    if (r != 0) {
        // Kept for an operator to read, out of the way of the next journal.
        FileOps& ops = mReader.ops();
        ops.rename(mJournal.path(), mJournal.path() + ".unusable");
        note(report, ANDROID_LOG_ERROR, error + " (moved to " + mJournal.path() + ".unusable)");
        return 1;
    }
    if (record.bootId != ProcessIdentity::bootId(mReader)) {
        note(report, ANDROID_LOG_WARN,
             mJournal.path() + " is from another boot: nothing to put back, journal removed");
        mJournal.remove();
        return 0;
    }
    unsigned long long start = ProcessIdentity::startTime(mReader, record.ownerPid);
    if (start != 0 && start == record.ownerStart) {
        note(report, ANDROID_LOG_ERROR,
             mJournal.path() + " belongs to process " + std::to_string(record.ownerPid) +
                 ", which still runs: left alone");
        return -EBUSY;
    }
    if (!record.rollback) {
        note(report, ANDROID_LOG_INFO,
             "the back-end of process " + std::to_string(record.ownerPid) +
                 " kept its values on exit (keep-on-exit): nothing put back");
        mJournal.remove();
        return 0;
    }
    note(report, ANDROID_LOG_WARN,
         "the back-end of process " + std::to_string(record.ownerPid) +
             " ended without restoring: putting back " + std::to_string(record.files.size()) +
             " file(s)");
    int failed = 0;
    for (auto it = record.files.rbegin(); it != record.files.rend(); ++it) {
        failed += restoreFile(it->first, it->second, report) != 0 ? 1 : 0;
    }
    mJournal.remove();
    return failed;
}

int JournalRecovery::restoreFile(const std::string& kernelPath, const std::string& original,
                                 std::vector<std::string>* report) {
    if (!KernelReader::isTunablePath(kernelPath)) {
        note(report, ANDROID_LOG_ERROR,
             "journal entry " + kernelPath + " is no kernel tunable: skipped");
        return -EINVAL;
    }
    KernelFile file(mReader, mReader.path(kernelPath));
    bool wrote = false;
    int r = file.write(original, &wrote);
    if (r != 0) {
        note(report, ANDROID_LOG_ERROR,
             "cannot put \"" + original + "\" back into " + file.path() + ": " + strerror(-r));
        return r;
    }
    note(report, ANDROID_LOG_INFO, file.path() + ": put back \"" + original + "\"");
    return 0;
}
