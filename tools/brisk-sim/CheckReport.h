#pragma once

#include <climits>
#include <cstdio>
#include <string>
#include <vector>

// The findings of the checker, each an error (the service refuses or drops
// something, or does not start) or a warning (it runs, but not quite as the file
// reads), with a stable code, the line of the element it is about and a one-line
// message.
//
// Findings are grouped by the command they concern, commands in file order, and
// within a command kept in the order they were found: the checker finds causes
// (a dropped step) before their consequences (a command left without steps).
class CheckReport {
public:
    enum class Severity { Error, Warning };

    // No command id known (a command the loader skips, a problem of the file).
    static constexpr long long kNoId = LLONG_MIN;

    struct Finding {
        Severity severity;
        const char* code;
        long long cmdId;
        int line;  // 0: the file as a whole
        std::string message;
        int group;  // the line of the command it belongs to, for the order
        size_t order;
    };

    // Findings added after this belong to the command `cmdId` whose element is at
    // `line` (kNoId and 0 for findings of the file as a whole).
    void setCommand(long long cmdId, int line);

    void error(const char* code, int line, const std::string& message);
    void warning(const char* code, int line, const std::string& message);

    bool hasErrors() const { return mErrors > 0; }
    int errorCount() const { return mErrors; }
    int warningCount() const { return static_cast<int>(mFindings.size()) - mErrors; }
    const std::vector<Finding>& findings() const { return mFindings; }

    // The findings in report order.
    std::vector<Finding> ordered() const;

    // "problems:", then "error 12300 (line 40): message" per finding, then the
    // totals; with `colour`, severities and totals in ANSI colours.
    void printText(FILE* out, bool colour) const;
    // One JSON object: {"file": ..., "errors": N, "warnings": N, "findings": [...]}
    // (docs/brisk-sim.md).
    void printJson(FILE* out, const std::string& file) const;

    // `text` with control characters (newlines from the file, say) shown as '?',
    // so that every report line stays one line.
    static std::string printable(const std::string& text);
    // `text` as a JSON string, quotes included; bytes that are no UTF-8 become
    // U+FFFD.
    static std::string jsonString(const std::string& text);

private:
    void add(Severity severity, const char* code, int line, const std::string& message);

    std::vector<Finding> mFindings;
    int mErrors = 0;
    long long mCmdId = kNoId;
    int mGroup = 0;
};
