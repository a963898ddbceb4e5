#include "config/Vocabulary.h"

#include <strings.h>

#include <algorithm>
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

struct ResultMeaning {
    int result;
    const char* meaning;
};

const ResultMeaning kResultMeanings[] = {
    {Vocabulary::kResultOk, "done"},
    {Vocabulary::kResultNotInited, "the service is not initialised"},
    {Vocabulary::kResultParseFailed, "the command could not be parsed"},
    {Vocabulary::kResultExecutorFailed, "the executor failed"},
    {Vocabulary::kResultComponentMissing, "a part of the service is missing"},
    {Vocabulary::kResultInvalidParam, "invalid parameters"},
};

const char kBeginName[] = "begin";
const char kEndName[] = "end";

// Edits between two names: letters inserted, removed, changed, or two
// neighbours swapped ("gmae" is one edit from "game").
size_t editDistance(const std::string& a, const std::string& b) {
    const size_t width = b.size() + 1;
    std::vector<size_t> d((a.size() + 1) * width);
    auto at = [&](size_t i, size_t j) -> size_t& { return d[i * width + j]; };
    for (size_t i = 0; i <= a.size(); ++i) {
        at(i, 0) = i;
    }
    for (size_t j = 0; j <= b.size(); ++j) {
        at(0, j) = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        for (size_t j = 1; j <= b.size(); ++j) {
            at(i, j) = std::min(
                {at(i - 1, j) + 1, at(i, j - 1) + 1, at(i - 1, j - 1) + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
            }
        }
    }
    return at(a.size(), b.size());
}

std::string lower(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}
}  // namespace

bool Vocabulary::payloadForName(const std::string& name, int* value) {
    if (strcasecmp(name.c_str(), kBeginName) == 0) {
        *value = kBegin;
        return true;
    }
    if (strcasecmp(name.c_str(), kEndName) == 0) {
        *value = kEnd;
        return true;
    }
    return false;
}

const char* Vocabulary::resultMeaning(int result) {
    for (const ResultMeaning& entry : kResultMeanings) {
        if (entry.result == result) {
            return entry.meaning;
        }
    }
    return nullptr;
}

std::string Vocabulary::suggestName(const std::string& name,
                                    const std::vector<std::string>& extra) {
    std::vector<std::string> known = extra;
    for (const std::string& tagName : tagNames()) {
        known.push_back(tagName);
    }
    return closestName(name, known);
}

std::string Vocabulary::closestName(const std::string& name,
                                    const std::vector<std::string>& candidates) {
    // Long names are no typos of ours; this also bounds the work per name.
    const size_t kLongestName = 64;
    if (name.size() > kLongestName) {
        return std::string();
    }
    // Short names are close to too many others: allow one edit below eight letters.
    const size_t kShortName = 8;
    std::string best;
    size_t bestDistance = name.size() < kShortName ? 2 : 3;
    const std::string lowered = lower(name);
    for (const std::string& candidate : candidates) {
        // The name itself is no suggestion; long candidates are no names of ours.
        if (candidate == name || candidate.size() > kLongestName) {
            continue;
        }
        size_t d = lowered == lower(candidate) ? 0 : editDistance(name, candidate);
        if (d < bestDistance) {
            best = candidate;
            bestDistance = d;
        }
    }
    return best;
}

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
