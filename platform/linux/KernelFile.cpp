#include "platform/linux/KernelFile.h"

#include <fcntl.h>
#include <linux/magic.h>

#include <cerrno>

#include "platform/linux/KernelText.h"

namespace {
bool isKernelAttributeFs(long type) {
    return type == SYSFS_MAGIC || type == PROC_SUPER_MAGIC || type == CGROUP_SUPER_MAGIC ||
           type == CGROUP2_SUPER_MAGIC || type == DEBUGFS_MAGIC;
}
}  // namespace

KernelFile::KernelFile(const KernelReader& reader, std::string path)
    : mReader(reader), mPath(std::move(path)) {}

KernelFile::~KernelFile() {
    if (mFd >= 0) {
        mReader.ops().close(mFd);
    }
}

int KernelFile::openForWrite() {
    if (mFd >= 0) {
        return 0;
    }
    FileOps& ops = mReader.ops();
    int fd = ops.open(mPath, O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0);
    if (fd < 0) {
        return fd;
    }
    struct statfs fs {};
    struct stat info {};
    if (ops.fstatfs(fd, &fs) == 0 && !isKernelAttributeFs(static_cast<long>(fs.f_type)) &&
        ops.fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        mPlainFile = true;
        mPlainSize = info.st_size;
    }
    mFd = fd;
    return 0;
}

int KernelFile::writeNow(std::string_view text) {
    int r = openForWrite();
    if (r == 0) {
        ssize_t n = mReader.ops().pwrite(mFd, text.data(), text.size(), 0);
        r = n < 0 ? static_cast<int>(n) : static_cast<size_t>(n) == text.size() ? 0 : -EIO;
    }
    if (r == 0 && mPlainFile && mPlainSize > static_cast<off_t>(text.size())) {
        r = mReader.ops().ftruncate(mFd, static_cast<off_t>(text.size()));
    }
    if (r != 0) {
        mSkipSame = false;
        return r;
    }
    mPlainSize = static_cast<off_t>(text.size());
    return 0;
}

int KernelFile::write(std::string_view text, bool* wrote) {
    *wrote = false;
    if (mSkipSame && mTexts[mCurrent] == text) {
        return 0;
    }
    int r = writeNow(text);
    if (r != 0) {
        return r;
    }
    mCurrent = 1 - mCurrent;
    std::string& last = mTexts[mCurrent];
    last.resize(text.size());  // the same length as before, mostly: no work
    text.copy(&last[0], text.size());
    mHadLast = mHasLast;
    mHasLast = true;
    mSkipSame = true;
    *wrote = true;
    return 0;
}

int KernelFile::revert() {
    const std::string& previous = mHadLast ? mTexts[1 - mCurrent] : mOriginal;
    int r = writeNow(previous);
    if (r != 0) {
        return r;
    }
    mCurrent = 1 - mCurrent;
    mHasLast = mHadLast;
    mSkipSame = mHadLast;
    return 0;
}

int KernelFile::read(std::string* text) const {
    int r = mReader.readText(mPath, text);
    if (r == 0) {
        *text = std::string(KernelText::trim(*text));
    }
    return r;
}

int KernelFile::probeWritable() {
    return openForWrite();
}

int KernelFile::captureOriginal() {
    if (mCaptured) {
        return 0;
    }
    std::string text;
    int r = read(&text);
    if (r != 0) {
        return r;
    }
    mOriginal = std::move(text);
    mNumberKnown = false;
    mCaptured = true;
    mSeen = true;
    mSeenReadable = true;
    return 0;
}

bool KernelFile::originalNumber(long long* value) {
    if (!mNumberKnown) {
        const std::string* original = knownOriginal();
        mIsNumber = original != nullptr && KernelText::parseInt(*original, &mNumber);
        mNumberKnown = true;
    }
    *value = mNumber;
    return mIsNumber;
}

const std::string* KernelFile::knownOriginal() {
    if (!mSeen) {
        mSeen = true;
        mSeenReadable = read(&mOriginal) == 0;
    }
    return mSeenReadable ? &mOriginal : nullptr;
}
