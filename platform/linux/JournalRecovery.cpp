#include "platform/linux/JournalRecovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/BoostJournal.h"
#include "platform/linux/CgroupDiscovery.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/ProcessIdentity.h"
#include "platform/linux/ThreadBooster.h"

namespace {
void note(std::vector<std::string>* report, int priority, const std::string& line) {
    __android_log_print(priority, BRISK_LINUX_LOG_TAG, "%s", line.c_str());
    report->push_back(line);
}
}  // namespace

int JournalRecovery::run(std::vector<std::string>* report) {
    int files = recoverFiles(report);
    if (files == -EBUSY) {
        return files;
    }
    int threads = recoverThreads(report);
    return threads == -EBUSY ? threads : files + threads;
}

void JournalRecovery::setAside(const std::string& path, const std::string& error,
                               std::vector<std::string>* report) {
    // Kept for an operator to read, out of the way of the next journal.
    mReader.ops().rename(path, path + ".unusable");
    note(report, ANDROID_LOG_ERROR, error + " (moved to " + path + ".unusable)");
}

JournalRecovery::Verdict JournalRecovery::judge(const std::string& path, const std::string& bootId,
                                                long long pid, unsigned long long start,
                                                bool rollback, std::vector<std::string>* report) {
    if (bootId != ProcessIdentity::bootId(mReader)) {
        note(report, ANDROID_LOG_WARN,
             path + " is from another boot: nothing to put back, journal removed");
        return Verdict::Drop;
    }
    unsigned long long now = ProcessIdentity::startTime(mReader, pid);
    if (now != 0 && now == start) {
        note(
            report, ANDROID_LOG_ERROR,
            path + " belongs to process " + std::to_string(pid) + ", which still runs: left alone");
        return Verdict::Busy;
    }
    if (!rollback) {
        note(report, ANDROID_LOG_INFO,
             "the back-end of process " + std::to_string(pid) +
                 " kept its values on exit (keep-on-exit): nothing put back");
        return Verdict::Drop;
    }
    return Verdict::Replay;
}

int JournalRecovery::recoverFiles(std::vector<std::string>* report) {
    JournalRecord record;
    std::string error;
    int r = mJournal.load(&record, &error);
    if (r == -ENOENT) {
        return 0;
    }
    if (r != 0) {
        setAside(mJournal.path(), error, report);
        return 1;
    }
    Verdict verdict = judge(mJournal.path(), record.bootId, record.ownerPid, record.ownerStart,
                            record.rollback, report);
    if (verdict == Verdict::Busy) {
        return -EBUSY;
    }
    int failed = 0;
    if (verdict == Verdict::Replay) {
        note(report, ANDROID_LOG_WARN,
             "the back-end of process " + std::to_string(record.ownerPid) +
                 " ended without restoring: putting back " + std::to_string(record.files.size()) +
                 " file(s)");
        const std::vector<std::string> mounts = CgroupDiscovery::mountPoints(mReader);
        for (auto it = record.files.rbegin(); it != record.files.rend(); ++it) {
            failed += restoreFile(it->first, it->second, mounts, report) != 0 ? 1 : 0;
        }
    }
    mJournal.remove();
    return failed;
}

int JournalRecovery::restoreFile(const std::string& kernelPath, const std::string& original,
                                 const std::vector<std::string>& cgroupMounts,
                                 std::vector<std::string>* report) {
    // Only what the back-end may have written: kernel tunables and cgroup files.
    bool inCgroup =
        KernelReader::isPlainPath(kernelPath, true) &&
        std::any_of(cgroupMounts.begin(), cgroupMounts.end(),
                    [&](const std::string& m) { return KernelReader::isBelow(kernelPath, m); });
    if (!KernelReader::isTunablePath(kernelPath) && !inCgroup) {
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

int JournalRecovery::recoverThreads(std::vector<std::string>* report) {
    BoostOwner owner;
    std::vector<BoostRecord> records;
    std::string error;
    int r = BoostJournal::load(mReader.ops(), mBoostPath, &owner, &records, &error);
    if (r == -ENOENT) {
        return 0;
    }
    if (r != 0) {
        setAside(mBoostPath, error, report);
        return 1;
    }
    Verdict verdict = judge(mBoostPath, owner.bootId, owner.pid, owner.start, true, report);
    if (verdict == Verdict::Busy) {
        return -EBUSY;
    }
    int failed = 0;
    for (auto it = records.rbegin(); verdict == Verdict::Replay && it != records.rend(); ++it) {
        const char* what = it->clamp ? "util clamp minimum" : "nice value";
        r = ThreadBooster::restore(mReader, mThreads, *it);
        if (r == 0) {
            note(report, ANDROID_LOG_INFO,
                 "thread " + std::to_string(it->tid) + ": " + what + " " +
                     std::to_string(it->saved) + " put back (unless another set it since)");
        } else if (r == -ESRCH) {
            note(report, ANDROID_LOG_INFO,
                 "thread " + std::to_string(it->tid) + " has ended: nothing to put back");
        } else {
            ++failed;
            note(report, ANDROID_LOG_ERROR,
                 "thread " + std::to_string(it->tid) + ": cannot put its " + what +
                     " back: " + strerror(-r));
        }
    }
    mReader.ops().unlink(mBoostPath);
    return failed;
}
