#include "config/Vocabulary.h"

#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {
struct NamedTag {
    const char* name;
    int tag;
};

const NamedTag kNamedTags[] = {
    {"little_cpu_min", BRISK_TAG_LITTLE_CPU_MIN},
    {"little_cpu_max", BRISK_TAG_LITTLE_CPU_MAX},
    {"big_cpu_min", BRISK_TAG_BIG_CPU_MIN},
    {"big_cpu_max", BRISK_TAG_BIG_CPU_MAX},
    {"gpu_min", BRISK_TAG_GPU_MIN},
    {"gpu_max", BRISK_TAG_GPU_MAX},
    {"ipa_on_temp", BRISK_TAG_IPA_ON_TEMP},
    {"ipa_control_temp", BRISK_TAG_IPA_CONTROL_TEMP},
    {"ipa_sustainable_power", BRISK_TAG_IPA_SUSTAINABLE_POWER},
    {"fork_on_big_cluster", BRISK_TAG_FORK_ON_BIG_CLUSTER},
    {Vocabulary::kPriorityKey, Vocabulary::kPriorityTag},
    {"hmp", BRISK_TAG_GROUP_HMP},
    {"boost", BRISK_TAG_GROUP_BOOST},
    {"vip", BRISK_TAG_GROUP_VIP},
    {"top_app", BRISK_TAG_GROUP_TOP_APP},
    {"root", BRISK_TAG_GROUP_ROOT},
    {"foreground", BRISK_TAG_GROUP_FOREGROUND},
    {"system_background", BRISK_TAG_GROUP_SYSTEM_BACKGROUND},
    {"key_background", BRISK_TAG_GROUP_KEY_BACKGROUND},
    {"background", BRISK_TAG_GROUP_BACKGROUND},
};

const char* const kClientNames[] = {"DUSK", "FERN", "MOSS"};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
}  // namespace

const char* Vocabulary::clientName(int clientId) {
    if (!inRange(clientId, kFirstClient, kLastClient)) {
        return nullptr;
    }
    return kClientNames[clientId - kFirstClient];
}

bool Vocabulary::clientForName(const std::string& name, int* clientId) {
    for (int id = kFirstClient; id <= kLastClient; ++id) {
        if (strcasecmp(name.c_str(), clientName(id)) == 0) {
            *clientId = id;
            return true;
        }
    }
    return false;
}

bool Vocabulary::tagForName(const std::string& name, int* tag) {
    for (const NamedTag& entry : kNamedTags) {
        if (name == entry.name) {
            *tag = entry.tag;
            return true;
        }
    }
    const size_t prefixLen = sizeof(kTagNamePrefix) - 1;
    if (name.size() > prefixLen && name.compare(0, prefixLen, kTagNamePrefix) == 0) {
        // Plain digits with an optional sign: "tag_ 5" is not a tag name.
        return parseInt(name.substr(prefixLen), tag, NumberForm::Signed);
    }
    return false;
}

const char* Vocabulary::nameForTag(int tag) {
    for (const NamedTag& entry : kNamedTags) {
        if (entry.tag == tag) {
            return entry.name;
        }
    }
    return nullptr;
}

std::vector<std::string> Vocabulary::tagNames() {
    std::vector<std::string> names;
    for (const NamedTag& entry : kNamedTags) {
        names.emplace_back(entry.name);
    }
    return names;
}

bool Vocabulary::parseDecimal(const std::string& text, NumberForm form, long long low,
                              long long high, long long* value) {
    if (text.find('\0') != std::string::npos) {
        return false;
    }
    const char* begin = text.c_str();
    while (form == NumberForm::Padded && isBlank(*begin)) {
        ++begin;
    }
    const char* digits = begin;
    if (form != NumberForm::Digits && (*digits == '+' || *digits == '-')) {
        ++digits;
    }
    if (*digits < '0' || *digits > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long long parsed = strtoll(begin, &end, 10);
    while (form == NumberForm::Padded && isBlank(*end)) {
        ++end;
    }
    if (errno != 0 || *end != '\0' || parsed < low || parsed > high) {
        return false;
    }
    *value = parsed;
    return true;
}

bool Vocabulary::parseInt(const std::string& text, int* value, NumberForm form) {
    long long parsed = 0;
    if (!parseDecimal(text, form, INT_MIN, INT_MAX, &parsed)) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}
