#include "platform/linux/BoostJournal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/linux/KernelText.h"
#include "platform/linux/ThreadOps.h"

namespace {
const char kHeader[] = "brisk-linux-threads 1";
const char kClamp[] = "clamp";
const char kNice[] = "nice";
// A saved value is a util clamp (0..1024) or a nice value (-20..19).
constexpr long long kMaxSaved = ThreadOps::kMaxClamp;

bool parseNumber(std::string_view word, long long low, long long high, long long* value) {
    return KernelText::parseInt(word, value) && *value >= low && *value <= high;
}

bool parseRecord(const std::vector<std::string_view>& words, BoostRecord* record) {
    long long tid = 0;
    long long start = 0;
    long long saved = 0;
    long long ours = 0;
    if (words.size() != 6 || words[0] != "thread" || (words[3] != kClamp && words[3] != kNice) ||
        !parseNumber(words[1], 1, INT32_MAX, &tid) ||
        !parseNumber(words[2], 1, INT64_MAX, &start) ||
        !parseNumber(words[4], -kMaxSaved, kMaxSaved, &saved) ||
        !parseNumber(words[5], -kMaxSaved, kMaxSaved, &ours)) {
        return false;
    }
    *record = BoostRecord{static_cast<int>(tid), static_cast<unsigned long long>(start),
                          words[3] == kClamp, static_cast<int>(saved), static_cast<int>(ours)};
    return true;
}
}  // namespace

BoostJournal::~BoostJournal() {
    if (mFd >= 0) {
        mOps.close(mFd);
    }
}

int BoostJournal::openFile() {
    if (mFd >= 0) {
        return 0;
    }
    int fd = mOps.open(mPath, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return fd;
    }
    mFd = fd;
    std::string header = std::string(kHeader) + " boot=" + mOwner.bootId +
                         " owner=" + std::to_string(mOwner.pid) + ":" +
                         std::to_string(mOwner.start);
    int r = writeSlot(0, header);
    if (r != 0) {
        remove();
    }
    return r;
}

int BoostJournal::writeSlot(size_t slot, std::string_view line) {
    // One slot, blank-padded to its size: one pwrite, nothing allocated.
    char text[kSlot];
    memset(text, ' ', sizeof(text));
    memcpy(text, line.data(), std::min(line.size(), sizeof(text) - 1));
    text[sizeof(text) - 1] = '\n';
    ssize_t n = mOps.pwrite(mFd, text, sizeof(text), static_cast<off_t>(slot * kSlot));
    return n < 0 ? static_cast<int>(n) : static_cast<size_t>(n) == sizeof(text) ? 0 : -EIO;
}

int BoostJournal::put(const BoostRecord& record, int* slot) {
    int r = openFile();
    if (r != 0) {
        return r;
    }
    size_t at = mSlots;
    if (!mFree.empty()) {
        at = static_cast<size_t>(mFree.back());
    } else if (mSlots >= kMaxSlots) {
        return -ENOSPC;
    }
    char line[kSlot];
    size_t length = 0;
    auto word = [&](std::string_view text) {
        memcpy(line + length, text.data(), text.size());
        length += text.size();
        line[length++] = ' ';
    };
    auto number = [&](long long value) {
        length += KernelText::formatInt(value, line + length);
        line[length++] = ' ';
    };
    word("thread");
    number(record.tid);
    number(static_cast<long long>(record.start));
    word(record.clamp ? kClamp : kNice);
    number(record.saved);
    number(record.ours);
    r = writeSlot(at, std::string_view(line, length - 1));

    if (r != 0) {
        return r;
    }
    if (!mFree.empty()) {
        mFree.pop_back();
    } else {
        ++mSlots;
    }
    *slot = static_cast<int>(at);
    return 0;
}

int BoostJournal::clear(int slot) {
    if (mFd < 0 || slot <= 0) {
        return 0;
    }
    int r = writeSlot(static_cast<size_t>(slot), "");
    mFree.push_back(slot);
    return r;
}

void BoostJournal::remove() {
    if (mFd >= 0) {
        mOps.close(mFd);
        mFd = -1;
        mOps.unlink(mPath);
    }
    mSlots = 1;
    mFree.clear();
}

int BoostJournal::load(FileOps& ops, const std::string& path, BoostOwner* owner,
                       std::vector<BoostRecord>* records, std::string* error) {
    int fd = ops.open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0);
    if (fd < 0) {
        if (fd != -ENOENT) {
            *error = "cannot read " + path;
        }
        return fd;
    }
    struct stat info {};
    std::string text;
    int r = ops.fstat(fd, &info);
    if (r == 0 && (!S_ISREG(info.st_mode) || info.st_uid != geteuid() || (info.st_mode & 022) ||
                   static_cast<size_t>(info.st_size) > kSlot * kMaxSlots)) {
        r = -EINVAL;
    }
    if (r == 0) {
        text.resize(static_cast<size_t>(info.st_size));
        ssize_t n = text.empty() ? 0 : ops.pread(fd, &text[0], text.size(), 0);
        r = n < 0 ? static_cast<int>(n) : 0;
        text.resize(n < 0 ? 0 : static_cast<size_t>(n));
    }
    ops.close(fd);
    if (r == 0 && !parse(text, owner, records)) {
        r = -EINVAL;
    }
    if (r != 0) {
        *error = path + " is not a journal of boosted threads of this user; not used";
    }
    return r;
}

bool BoostJournal::parse(std::string_view text, BoostOwner* owner,
                         std::vector<BoostRecord>* records) {
    records->clear();
    bool first = true;
    while (!text.empty()) {
        size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            end = text.size();  // a slot cut short by a crash: read what is there
        }
        std::vector<std::string_view> words = KernelText::words(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (first) {
            first = false;
            long long pid = 0;
            if (words.size() != 4 || words[0] != "brisk-linux-threads" || words[1] != "1" ||
                words[2].compare(0, 5, "boot=") != 0 || words[3].compare(0, 6, "owner=") != 0) {
                return false;
            }
            owner->bootId = std::string(words[2].substr(5));
            std::string_view who = words[3].substr(6);
            size_t colon = who.find(':');
            long long start = 0;
            if (colon == std::string_view::npos ||
                !parseNumber(who.substr(0, colon), 1, INT32_MAX, &pid) ||
                !parseNumber(who.substr(colon + 1), 0, INT64_MAX, &start)) {
                return false;
            }
            owner->pid = pid;
            owner->start = static_cast<unsigned long long>(start);
            continue;
        }
        BoostRecord record;
        if (words.empty()) {
            continue;  // a free slot
        }
        if (!parseRecord(words, &record) || records->size() >= kMaxSlots) {
            return false;
        }
        records->push_back(record);
    }
    return !first;
}
