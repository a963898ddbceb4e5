#pragma once

#include <climits>
#include <cstdio>
#include <string>
#include <vector>

// The problems the checker found, each an error (the service refuses or drops
// something, or does not start) or a warning (it runs, but not quite as the file
// reads), with the command it concerns and a one-line reason.
class CheckReport {
public:
    // No command id known (a command the loader skips): kNoId.
    static constexpr long long kNoId = LLONG_MIN;

    void error(long long cmdId, int line, const std::string& reason);
    void warning(long long cmdId, int line, const std::string& reason);

    bool hasErrors() const;
    int errorCount() const;
    int warningCount() const;

    // `text` with control characters (newlines from the file, say) shown as '?',
    // so that every report line stays one line.
    static std::string printable(const std::string& text);

    // "error 12300 (line 40): reason", ordered by line (problems without a line
    // first), then the totals.
    void print(FILE* out) const;

private:
    struct Problem {
        bool isError;
        long long cmdId;
        int line;
        std::string reason;
        size_t order;
    };
    void add(bool isError, long long cmdId, int line, const std::string& reason);
    std::vector<Problem> mProblems;
};
