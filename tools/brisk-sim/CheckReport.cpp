#include "tools/brisk-sim/CheckReport.h"

#include <algorithm>

void CheckReport::error(long long cmdId, int line, const std::string& reason) {
    add(true, cmdId, line, reason);
}

void CheckReport::warning(long long cmdId, int line, const std::string& reason) {
    add(false, cmdId, line, reason);
}

void CheckReport::add(bool isError, long long cmdId, int line, const std::string& reason) {
    mProblems.push_back({isError, cmdId, line, reason, mProblems.size()});
}

std::string CheckReport::printable(const std::string& text) {
    std::string out = text;
    for (char& c : out) {
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f) {
            c = '?';
        }
    }
    return out;
}

bool CheckReport::hasErrors() const {
    return errorCount() > 0;
}

int CheckReport::errorCount() const {
    return static_cast<int>(std::count_if(mProblems.begin(), mProblems.end(),
                                          [](const Problem& p) { return p.isError; }));
}

int CheckReport::warningCount() const {
    return static_cast<int>(mProblems.size()) - errorCount();
}

void CheckReport::print(FILE* out) const {
    std::vector<Problem> sorted = mProblems;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Problem& a, const Problem& b) { return a.line < b.line; });
    fprintf(out, sorted.empty() ? "problems: none\n" : "problems:\n");
    for (const Problem& p : sorted) {
        std::string where = p.cmdId == kNoId ? std::string("-") : std::to_string(p.cmdId);
        if (p.line > 0) {
            where += " (line " + std::to_string(p.line) + ")";
        }
        fprintf(out, "%s %s: %s\n", p.isError ? "error" : "warning", where.c_str(),
                printable(p.reason).c_str());
    }
    int errors = errorCount();
    int warnings = warningCount();
    fprintf(out, "%d error%s, %d warning%s\n", errors, errors == 1 ? "" : "s", warnings,
            warnings == 1 ? "" : "s");
}
