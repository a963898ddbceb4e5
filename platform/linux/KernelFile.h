#pragma once

#include <string>
#include <string_view>

#include "platform/linux/KernelReader.h"

// One file the back-end writes. It is opened once and the descriptor kept; each
// value is one pwrite of its text, skipped when the text equals the last text
// written successfully (never compared with a read-back, which for many kernel
// files shows the effective value rather than the one written). A failed write
// forgets that text. The original is read just before the first write.
class KernelFile {
public:
    KernelFile(const KernelReader& reader, std::string path);
    ~KernelFile();
    KernelFile(const KernelFile&) = delete;
    KernelFile& operator=(const KernelFile&) = delete;

    const std::string& path() const { return mPath; }

    // Writes `text` unless it is already there; `wrote` tells which. 0, or -errno.
    int write(std::string_view text, bool* wrote);
    // Writes back what the last successful write replaced (the original when it
    // was the first), and forgets that write. 0, or -errno.
    int revert();
    // The file's text now, trimmed (a descriptor of its own, closed again).
    int read(std::string* text) const;
    // Opens the file for writing without writing (what a write would meet).
    int probeWritable();

    // Reads and keeps the original text now; once captured it is never read again.
    int captureOriginal();
    bool captured() const { return mCaptured; }
    const std::string& original() const { return mOriginal; }
    // The text before the back-end's first write: the original once captured,
    // else what the file held when first asked. Null when it cannot be read.
    const std::string* knownOriginal();
    // That text as a number (read once); false when it is none.
    bool originalNumber(long long* value);

    // The last text written successfully: what the file holds as far as the
    // back-end knows (a later failed write does not change that).
    bool hasLast() const { return mHasLast; }
    const std::string& last() const { return mTexts[mCurrent]; }
    // The path without the kernel root ("/sys/...").
    std::string kernelPath() const { return mPath.substr(mReader.root().size()); }

    // Whether reading the file gives back the text last written to it. cpufreq
    // and devfreq bounds do not: they read back the limit in force after every
    // QoS request is combined (and resolved to a frequency the device has).
    bool echoesWrites() const { return mEchoesWrites; }
    void setEchoesWrites(bool echoes) { mEchoesWrites = echoes; }

private:
    int openForWrite();
    int writeNow(std::string_view text);

    const KernelReader& mReader;
    std::string mPath;
    int mFd = -1;
    bool mEchoesWrites = true;
    // Plain files (a test tree) keep old bytes beyond a shorter write: they are
    // cut to size. Kernel attribute files take each write whole.
    bool mPlainFile = false;
    off_t mPlainSize = 0;
    bool mCaptured = false;
    bool mSeen = false;
    bool mSeenReadable = false;
    std::string mOriginal;
    bool mNumberKnown = false;  // mNumber and mIsNumber hold the original's reading
    bool mIsNumber = false;
    long long mNumber = 0;
    bool mHasLast = false;
    bool mHadLast = false;   // before the last write
    bool mSkipSame = false;  // false after a failed write: the next one is made
    // The last text and the one it replaced, swapped by each write (no copy).
    std::string mTexts[2];
    int mCurrent = 0;
};
