#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Reading the texts of kernel files and of the back-end's own files. Pure
// functions on a buffer: whatever a file holds (empty, garbage, huge, without a
// newline) they answer, never read past it and never throw.
class KernelText {
public:
    // Without leading and trailing blanks, tabs and line ends.
    static std::string_view trim(std::string_view text);
    // A whole decimal number with an optional sign, blanks and line ends around it
    // allowed (Vocabulary's reading of decimal numbers).
    static bool parseInt(std::string_view text, long long* value);
    // A CPU list as the kernel prints it: "0-3,6" or "0 1 2 3". At most
    // kMaxCpus numbers below kMaxCpus; false for anything else.
    static bool parseCpuList(std::string_view text, std::vector<int>* cpus);
    // The CPU list again in the kernel's short form ("0-3,6").
    static std::string formatCpuList(const std::vector<int>& cpus);
    // The words of `text`, split at blanks, tabs and line ends.
    static std::vector<std::string_view> words(std::string_view text);
    // Field `field` (1-based) of a /proc/<pid>/stat line; the command name (field
    // 2) may hold blanks and parentheses, so counting starts after its last ')'.
    static bool statField(std::string_view stat, int field, unsigned long long* value);
    // Writes `value` in decimal into `buffer` (at least kIntTextSize bytes);
    // returns the length.
    static size_t formatInt(long long value, char* buffer);

    static constexpr int kMaxCpus = 4096;
    static constexpr size_t kIntTextSize = 24;
};
