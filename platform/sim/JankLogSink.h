#pragma once

#include <functional>
#include <string>

// Linux stand-in for the jank event log (__zqlog_jank_print): each record is
// formatted and handed, whole, to the sink the host chose.
class JankLogSink {
public:
    using Callback = std::function<void(int level, int eventId, const std::string& text)>;

    // Appends records to `path`, one line each; false when it cannot be opened.
    static bool setFile(const std::string& path);
    // Hands records to `callback` (called one record at a time).
    static void setCallback(Callback callback);
    // Back to the default: the Android log under the tag "zqlog jank".
    static void reset();

    static void write(int level, int eventId, const std::string& text);
};
