#pragma once

#include <functional>
#include <string>
#include <vector>

// Hands a dump the write end of a fresh pipe and reads back what it wrote. A
// reader thread drains the pipe while the dump runs, so a dump of any size
// cannot block on a full pipe.
class DumpCapture {
public:
    // Runs `dump(fd)` and stores what it wrote in `text`; false (with `error`)
    // when no pipe or reader could be set up, in which case `dump` is not run.
    static bool capture(const std::function<void(int fd)>& dump, std::string* text,
                        std::string* error);

    // The text split at each newline; a final empty piece after the last newline
    // is left out.
    static std::vector<std::string> pieces(const std::string& text);
};
