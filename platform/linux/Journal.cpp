#include "platform/linux/Journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "platform/linux/KernelText.h"

namespace {
const char kHeader[] = "brisk-linux-journal 1";
// A journal with more files than this was not written by a back-end.
constexpr size_t kMaxEntries = 65536;

const char kHex[] = "0123456789ABCDEF";

// "=" followed by the text, every byte that is not plainly printable as %XX, so
// that each field is one word and an empty text is still a word.
void appendField(std::string* out, std::string_view text) {
    *out += " =";
    for (unsigned char c : text) {
        if (c <= ' ' || c == '%' || c >= 0x7f) {
            *out += '%';
            *out += kHex[c >> 4];
            *out += kHex[c & 15];
        } else {
            *out += static_cast<char>(c);
        }
    }
}

int hexValue(char c) {
    const char* p = strchr(kHex, c);
    return c != '\0' && p != nullptr ? static_cast<int>(p - kHex) : -1;
}

bool decodeField(std::string_view field, std::string* out) {
    if (field.empty() || field[0] != '=') {
        return false;
    }
    out->clear();
    for (size_t i = 1; i < field.size(); ++i) {
        if (field[i] != '%') {
            out->push_back(field[i]);
            continue;
        }
        int high = i + 1 < field.size() ? hexValue(field[i + 1]) : -1;
        int low = i + 2 < field.size() ? hexValue(field[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return false;
        }
        out->push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    return true;
}

bool parseLine(const std::vector<std::string_view>& words, JournalRecord* record) {
    std::string_view kind = words[0];
    long long pid = 0;
    unsigned long long start = 0;
    if (kind == "boot" && words.size() == 2) {
        return decodeField(words[1], &record->bootId);
    }
    if (kind == "owner" && words.size() == 3) {
        std::string_view startText = words[2];
        auto [end, failed] =
            std::from_chars(startText.data(), startText.data() + startText.size(), start);
        if (!KernelText::parseInt(words[1], &pid) || pid <= 0 || failed != std::errc() ||
            end != startText.data() + startText.size()) {
            return false;
        }
        record->ownerPid = pid;
        record->ownerStart = start;
        return true;
    }
    if (kind == "rollback" && words.size() == 2 && (words[1] == "yes" || words[1] == "no")) {
        record->rollback = words[1] == "yes";
        return true;
    }
    if (kind == "file" && words.size() == 3 && record->files.size() < kMaxEntries) {
        std::pair<std::string, std::string> entry;
        if (!decodeField(words[1], &entry.first) || !decodeField(words[2], &entry.second)) {
            return false;
        }
        record->files.push_back(std::move(entry));
        return true;
    }
    return false;
}
}  // namespace

Journal::Journal(FileOps& ops, std::string stateDir)
    : mOps(ops), mDir(std::move(stateDir)), mPath(mDir + "/journal") {}

Journal::~Journal() {
    unlock();
}

int Journal::lock(std::string* error) {
    if (mLockFd >= 0) {
        return 0;
    }
    int r = mOps.mkdir(mDir, 0700);
    if (r != 0 && r != -EEXIST) {
        *error = "cannot create the state folder " + mDir + ": " + strerror(-r);
        return r;
    }
    std::string lockPath = mDir + "/lock";
    int fd = mOps.open(lockPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        *error = "cannot open " + lockPath + ": " + strerror(-fd);
        return fd;
    }
    r = mOps.flock(fd, LOCK_EX | LOCK_NB);
    if (r != 0) {
        mOps.close(fd);
        *error = r == -EWOULDBLOCK
                     ? "another Brisk back-end drives this machine (" + lockPath + " is locked)"
                     : "cannot lock " + lockPath + ": " + strerror(-r);
        return r;
    }
    mLockFd = fd;
    return 0;
}

void Journal::unlock() {
    if (mLockFd >= 0) {
        mOps.close(mLockFd);  // closing the descriptor releases the flock
        mLockFd = -1;
    }
}

int Journal::load(JournalRecord* record, std::string* error) {
    int fd = mOps.open(mPath, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0);
    if (fd < 0) {
        if (fd != -ENOENT) {
            *error = "cannot read " + mPath + ": " + strerror(-fd);
        }
        return fd;
    }
    struct stat info {};
    int r = mOps.fstat(fd, &info);
    std::string text;
    if (r == 0 && (!S_ISREG(info.st_mode) || info.st_uid != geteuid() || (info.st_mode & 022))) {
        *error = mPath + " is not a plain file of this user writable by it alone; not used";
        r = -EINVAL;
    } else if (r == 0 && static_cast<size_t>(info.st_size) > kMaxSize) {
        *error = mPath + " is larger than a journal can be; not used";
        r = -EINVAL;
    }
    if (r == 0) {
        text.resize(static_cast<size_t>(info.st_size));
        ssize_t n = text.empty() ? 0 : mOps.pread(fd, &text[0], text.size(), 0);
        if (n < 0) {
            *error = "cannot read " + mPath + ": " + strerror(static_cast<int>(-n));
            r = static_cast<int>(n);
        } else {
            text.resize(static_cast<size_t>(n));
        }
    }
    mOps.close(fd);
    if (r == 0 && !parse(text, record)) {
        *error = mPath + " is not a journal of this back-end; not used";
        r = -EINVAL;
    }
    return r;
}

int Journal::save(const JournalRecord& record) {
    const std::string text = format(record);
    const std::string temporary = mPath + ".new";
    int fd = mOps.open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return fd;
    }
    size_t done = 0;
    int r = 0;
    while (r == 0 && done < text.size()) {
        ssize_t n =
            mOps.pwrite(fd, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (n <= 0) {
            r = n < 0 ? static_cast<int>(n) : -EIO;
        } else {
            done += static_cast<size_t>(n);
        }
    }
    if (r == 0) {
        r = mOps.fsync(fd);
    }
    mOps.close(fd);
    if (r == 0) {
        r = mOps.rename(temporary, mPath);
    }
    if (r != 0) {
        mOps.unlink(temporary);
        return r;
    }
    // The rename itself reaches the disk with the folder.
    int dir = mOps.open(mDir, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (dir >= 0) {
        mOps.fsync(dir);
        mOps.close(dir);
    }
    return 0;
}

int Journal::remove() {
    int r = mOps.unlink(mPath);
    return r == -ENOENT ? 0 : r;
}

std::string Journal::format(const JournalRecord& record) {
    std::string out = std::string(kHeader) + "\nboot";
    appendField(&out, record.bootId);
    out += "\nowner " + std::to_string(record.ownerPid) + " " + std::to_string(record.ownerStart);
    out += record.rollback ? "\nrollback yes\n" : "\nrollback no\n";
    for (const auto& entry : record.files) {
        out += "file";
        appendField(&out, entry.first);
        appendField(&out, entry.second);
        out += '\n';
    }
    return out;
}

bool Journal::parse(std::string_view text, JournalRecord* record) {
    JournalRecord parsed;
    bool first = true;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            return false;  // a journal always ends with a line end: this one was cut
        }
        std::string_view line = text.substr(start, end - start);
        start = end + 1;
        if (first) {
            if (line != kHeader) {
                return false;
            }
            first = false;
            continue;
        }
        std::vector<std::string_view> words = KernelText::words(line);
        if (words.empty() || !parseLine(words, &parsed)) {
            return false;
        }
    }
    if (first || parsed.ownerPid <= 0) {
        return false;
    }
    *record = std::move(parsed);
    return true;
}
