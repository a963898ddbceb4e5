#pragma once

#include <string>

// A configuration file written by a test into a fresh temporary folder, with the
// platform's resolver pointed at it. Removed, and the resolver reset, on exit.
class TempConfig {
public:
    // `commands` is the text inside <policy>...</policy>.
    static TempConfig withCommands(const std::string& commands);
    // The whole file as given (for broken files).
    static TempConfig withContent(const std::string& content);

    // Returned and kept by value only (C++17 elides the copy), never copied.
    ~TempConfig();
    TempConfig(const TempConfig&) = delete;
    TempConfig& operator=(const TempConfig&) = delete;

    const std::string& path() const { return mPath; }
    const std::string& dir() const { return mDir; }

private:
    explicit TempConfig(const std::string& content);
    std::string mDir;
    std::string mPath;
};
