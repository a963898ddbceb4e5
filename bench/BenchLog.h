#pragma once

// How the service's log lines are treated while a benchmark runs.
enum class LogMode {
    // Minimum priority error: the service's information and debug lines are
    // dropped inside liblog before they are formatted.
    Filtered,
    // liblog's default: information and above formatted and written by the stderr
    // logger (standard error is /dev/null while the benchmarks run).
    Default,
};

const char* logModeName(LogMode mode);
void applyLogMode(LogMode mode);

// Lines that reached liblog's logger so far (the logger counts, then hands each
// line to liblog's standard-error logger). Lines dropped below the minimum
// priority never reach it.
long loggedLines();

// Points standard error at /dev/null, keeping the original for benchMessage.
void silenceStderr();
// A line for whoever runs the benchmarks (the original standard error).
void benchMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
