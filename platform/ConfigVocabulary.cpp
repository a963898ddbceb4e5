#include "platform/ConfigVocabulary.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {
struct NamedTag {
    const char* name;
    int tag;
};

const NamedTag kNamedTags[] = {
    {"little_cpu_min", 1},
    {"little_cpu_max", 2},
    {"big_cpu_min", 4},
    {"big_cpu_max", 5},
    {"gpu_min", 7},
    {"gpu_max", 8},
    {"ipa_on_temp", 17},
    {"ipa_control_temp", 18},
    {"ipa_sustainable_power", 19},
    {"fork_on_big_cluster", 20},
    {"priority", 101},
    {"hmp", 50},
    {"boost", 51},
    {"vip", 52},
    {"top_app", 53},
    {"root", 54},
    {"foreground", 55},
    {"system_background", 56},
    {"key_background", 57},
    {"background", 58},
};

const char kTagPrefix[] = "tag_";
}  // namespace

bool ConfigVocabulary::tagForName(const std::string& name, int* tag) {
    for (const NamedTag& entry : kNamedTags) {
        if (name == entry.name) {
            *tag = entry.tag;
            return true;
        }
    }
    const size_t prefixLen = sizeof(kTagPrefix) - 1;
    if (name.size() > prefixLen && name.compare(0, prefixLen, kTagPrefix) == 0) {
        std::string digits = name.substr(prefixLen);
        // Only plain digits with an optional sign: "tag_ 5" is not a tag name.
        if (digits.find_first_of(" \t\r\n") == std::string::npos) {
            return parseInt(digits, tag);
        }
    }
    return false;
}

const char* ConfigVocabulary::nameForTag(int tag) {
    for (const NamedTag& entry : kNamedTags) {
        if (entry.tag == tag) {
            return entry.name;
        }
    }
    return nullptr;
}

std::vector<std::string> ConfigVocabulary::tagNames() {
    std::vector<std::string> names;
    for (const NamedTag& entry : kNamedTags) {
        names.push_back(entry.name);
    }
    return names;
}

bool ConfigVocabulary::parseInt(const std::string& text, int* value) {
    if (text.find('\0') != std::string::npos) {
        return false;
    }
    const char* begin = text.c_str();
    while (*begin == ' ' || *begin == '\t' || *begin == '\r' || *begin == '\n') {
        ++begin;
    }
    const char* digits = (*begin == '+' || *begin == '-') ? begin + 1 : begin;
    if (*digits < '0' || *digits > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    long long parsed = strtoll(begin, &end, 10);
    while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n') {
        ++end;
    }
    if (errno != 0 || *end != '\0' || parsed < INT_MIN || parsed > INT_MAX) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}
