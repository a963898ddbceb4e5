#pragma once

#include <android/log.h>

#include <string>
#include <vector>

struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

// Captures every Android log line, debug ones included, while it lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    // Lines of the service's tag with exactly this priority and text.
    int count(int priority, const std::string& text) const;
    bool has(int priority, const std::string& text) const { return count(priority, text) > 0; }
    // Lines of the service's tag, as "P text" with P one of V D I W E F.
    std::vector<std::string> texts() const;
    void clear();
};
