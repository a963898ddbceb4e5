#include "tools/brisk-sim/CheckReport.h"

#include <algorithm>

#include "tools/brisk-sim/Utf8.h"

namespace {
const char kRed[] = "\033[1;31m";
const char kYellow[] = "\033[1;33m";
const char kBold[] = "\033[1m";
const char kPlain[] = "\033[0m";

const char* severityName(CheckReport::Severity severity) {
    return severity == CheckReport::Severity::Error ? "error" : "warning";
}

std::string plural(int count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

}  // namespace

void CheckReport::setCommand(long long cmdId, int line) {
    mCmdId = cmdId;
    mGroup = line;
}

void CheckReport::error(const char* code, int line, const std::string& message) {
    add(Severity::Error, code, line, message);
}

void CheckReport::warning(const char* code, int line, const std::string& message) {
    add(Severity::Warning, code, line, message);
}

void CheckReport::add(Severity severity, const char* code, int line, const std::string& message) {
    mFindings.push_back({severity, code, mCmdId, line, message, mGroup, mFindings.size()});
    mErrors += severity == Severity::Error ? 1 : 0;
}

std::vector<CheckReport::Finding> CheckReport::ordered() const {
    std::vector<Finding> sorted = mFindings;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Finding& a, const Finding& b) { return a.group < b.group; });
    return sorted;
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

std::string CheckReport::jsonString(const std::string& text) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7f) {
            char escaped[8];
            snprintf(escaped, sizeof(escaped), "\\u%04x", c);
            out += escaped;
        } else if (c >= 0x80) {
            const size_t length = Utf8::sequenceLength(text, i);
            out += length == 0 ? std::string("\\ufffd") : text.substr(i, length);
            i += length == 0 ? 1 : length;
            continue;
        } else {
            out += static_cast<char>(c);
        }
        ++i;
    }
    return out + "\"";
}

void CheckReport::printText(FILE* out, bool colour) const {
    const std::vector<Finding> sorted = ordered();
    fprintf(out, sorted.empty() ? "problems: none\n" : "problems:\n");
    for (const Finding& f : sorted) {
        std::string where = f.cmdId == kNoId ? std::string("-") : std::to_string(f.cmdId);
        if (f.line > 0) {
            where += " (line " + std::to_string(f.line) + ")";
        }
        const bool isError = f.severity == Severity::Error;
        fprintf(out, "%s%s%s %s: %s\n", colour ? (isError ? kRed : kYellow) : "",
                severityName(f.severity), colour ? kPlain : "", where.c_str(),
                printable(f.message).c_str());
    }
    fprintf(out, "%s%s, %s%s\n", colour ? kBold : "", plural(errorCount(), "error").c_str(),
            plural(warningCount(), "warning").c_str(), colour ? kPlain : "");
}

void CheckReport::printJson(FILE* out, const std::string& file) const {
    const std::string name = jsonString(file);
    fprintf(out, "{\"file\": %s, \"errors\": %d, \"warnings\": %d, \"findings\": [", name.c_str(),
            errorCount(), warningCount());
    const char* separator = "\n  ";
    for (const Finding& f : ordered()) {
        const std::string id = f.cmdId == kNoId ? std::string("null") : std::to_string(f.cmdId);
        fprintf(out,
                "%s{\"file\": %s, \"line\": %d, \"command\": %s, \"severity\": \"%s\", "
                "\"code\": \"%s\", \"message\": %s}",
                separator, name.c_str(), f.line, id.c_str(), severityName(f.severity), f.code,
                jsonString(f.message).c_str());
        separator = ",\n  ";
    }
    fprintf(out, "%s]}\n", mFindings.empty() ? "" : "\n");
}
