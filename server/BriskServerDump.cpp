// BriskServer, the diagnostic dump command.
#include <fcntl.h>
#include <utils/String8.h>

#include <cstdio>

#include "freq/FreqClientManager.h"
#include "sched/SchedLevelManager.h"
#include "server/BriskLog.h"
#include "server/BriskServer.h"

namespace {
constexpr size_t kMaxDumpArgLen = 512;
}  // namespace

void BriskServer::dumpBriskServerInfo(int fd, const std::vector<std::string>& args) {
    if (fd < 0) {
        BRISK_LOGW("invalid dump FD, %d\n", fd);
        return;
    }
    if (args.empty()) {
        BRISK_LOGW("dump parameter is NULL!\n");
        return;
    }
    if (args.size() >= 2) {
        BRISK_LOGW("there is too many dump parameter!\n");
        return;
    }
    const std::string& option = args[0];
    if (option.size() > kMaxDumpArgLen) {
        BRISK_LOGW("debug parameter is too long!\n");
        return;
    }
    android::String8 text;
    if (option == "--help") {
        text.appendFormat("--help: print debug usage\n");
        text.appendFormat("--logon: open debug log\n");
        text.appendFormat("--logoff: close debug log\n");
        text.appendFormat("--freqlist: print set freq list\n");
        text.appendFormat("--easgrouplist: print set eas group list\n");
    } else if (option == "--logon") {
        mLogOn.store(true, std::memory_order_relaxed);
        text.appendFormat("brisk log is %s\n", "ON");
    } else if (option == "--logoff") {
        mLogOn.store(false, std::memory_order_relaxed);
        text.appendFormat("brisk log is %s\n", "OFF");
    } else if (option == "--freqlist") {
        if (mFreqClientPtr != nullptr) {
            mFreqClientPtr->dumpFreqList(text);
        }
    } else if (option == "--easgrouplist") {
        if (mSchedLevelPtr != nullptr) {
            mSchedLevelPtr->dumpEasGroupList(text);
        }
    } else {
        text.appendFormat("invalid parameter!\n");
    }
    // A descriptor that is not open gets nothing (glibc's dprintf would leak its
    // buffer on the failed write).
    if (fcntl(fd, F_GETFD) == -1) {
        BRISK_LOGW("invalid dump FD, %d\n", fd);
        return;
    }
    dprintf(fd, "%s\n", text.c_str());
}
