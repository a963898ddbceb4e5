#include "bench/BenchLog.h"

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {
int gMessageFd = STDERR_FILENO;
std::atomic<long> gLoggedLines{0};

void countingLogger(const struct __android_logger_data* data, const char* message) {
    gLoggedLines.fetch_add(1, std::memory_order_relaxed);
    __android_log_stderr_logger(data, message);
}
}  // namespace

long loggedLines() {
    return gLoggedLines.load(std::memory_order_relaxed);
}

const char* logModeName(LogMode mode) {
    return mode == LogMode::Filtered ? "filtered" : "default";
}

void applyLogMode(LogMode mode) {
    __android_log_set_logger(countingLogger);
    __android_log_set_minimum_priority(mode == LogMode::Filtered ? ANDROID_LOG_ERROR
                                                                 : ANDROID_LOG_DEFAULT);
}

void silenceStderr() {
    int copy = dup(STDERR_FILENO);
    int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (copy < 0 || null < 0) {
        return;
    }
    fflush(stderr);
    dup2(null, STDERR_FILENO);
    close(null);
    gMessageFd = copy;
}

void benchMessage(const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(line, sizeof(line) - 1, format, args);
    va_end(args);
    if (n < 0) {
        return;
    }
    size_t len =
        static_cast<size_t>(n) < sizeof(line) - 1 ? static_cast<size_t>(n) : sizeof(line) - 2;
    line[len++] = '\n';
    ssize_t written = write(gMessageFd, line, len);
    (void)written;
}
