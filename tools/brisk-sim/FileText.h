#pragma once

#include <cstddef>
#include <string>

// Reads a whole file into memory, saying why when it cannot: the system's own
// words for the failure ("No such file or directory"), a folder, or a file
// larger than a reader takes.
class FileText {
public:
    static constexpr size_t kNoLimit = static_cast<size_t>(-1);

    // False with `why` (no file name in it) when the file cannot be read whole.
    static bool read(const std::string& path, size_t maxSize, std::string* text, std::string* why);
};
