#include "platform/linux/KernelText.h"

#include <charconv>
#include <climits>

#include "config/Vocabulary.h"

namespace {
bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool parseCpu(std::string_view text, int* cpu) {
    long long value = 0;
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos ||
        !KernelText::parseInt(text, &value) || value >= KernelText::kMaxCpus) {
        return false;
    }
    *cpu = static_cast<int>(value);
    return true;
}

// One item of a CPU list: "5" or "0-3".
bool addCpuItem(std::string_view item, std::vector<int>* cpus) {
    size_t dash = item.find('-');
    int first = 0;
    int last = 0;
    if (dash == std::string_view::npos) {
        if (!parseCpu(item, &first)) {
            return false;
        }
        last = first;
    } else if (!parseCpu(item.substr(0, dash), &first) || !parseCpu(item.substr(dash + 1), &last) ||
               last < first) {
        return false;
    }
    for (int cpu = first; cpu <= last; ++cpu) {
        if (cpus->size() >= static_cast<size_t>(KernelText::kMaxCpus)) {
            return false;
        }
        cpus->push_back(cpu);
    }
    return true;
}
}  // namespace

std::string_view KernelText::trim(std::string_view text) {
    size_t begin = 0;
    while (begin < text.size() && isBlank(text[begin])) {
        ++begin;
    }
    size_t end = text.size();
    while (end > begin && isBlank(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

bool KernelText::parseInt(std::string_view text, long long* value) {
    return Vocabulary::parseDecimal(std::string(trim(text)), Vocabulary::NumberForm::Signed,
                                    LLONG_MIN, LLONG_MAX, value);
}

bool KernelText::parseCpuList(std::string_view text, std::vector<int>* cpus) {
    cpus->clear();
    text = trim(text);
    if (text.empty()) {
        return false;
    }
    // Both "0-3,6" and "0 1 2 3" occur: commas and blanks separate items alike.
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find_first_of(", \t\n", start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        std::string_view item = text.substr(start, end - start);
        if (!item.empty() && !addCpuItem(item, cpus)) {
            cpus->clear();
            return false;
        }
        start = end + 1;
    }
    return !cpus->empty();
}

std::string KernelText::formatCpuList(const std::vector<int>& cpus) {
    std::string out;
    for (size_t i = 0; i < cpus.size();) {
        size_t j = i;
        while (j + 1 < cpus.size() && cpus[j + 1] == cpus[j] + 1) {
            ++j;
        }
        if (!out.empty()) {
            out += ',';
        }
        out += std::to_string(cpus[i]);
        if (j > i) {
            out += '-' + std::to_string(cpus[j]);
        }
        i = j + 1;
    }
    return out;
}

std::vector<std::string_view> KernelText::words(std::string_view text) {
    std::vector<std::string_view> out;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && isBlank(text[i])) {
            ++i;
        }
        size_t start = i;
        while (i < text.size() && !isBlank(text[i])) {
            ++i;
        }
        if (i > start) {
            out.push_back(text.substr(start, i - start));
        }
    }
    return out;
}

bool KernelText::statField(std::string_view stat, int field, unsigned long long* value) {
    size_t paren = stat.rfind(')');
    if (paren == std::string_view::npos || field < 3) {
        return false;
    }
    // Field 3 (the state) is the first word after the name's last ')'.
    size_t at = paren + 1;
    for (int current = 3;; ++current) {
        while (at < stat.size() && isBlank(stat[at])) {
            ++at;
        }
        size_t end = at;
        while (end < stat.size() && !isBlank(stat[end])) {
            ++end;
        }
        if (end == at) {
            return false;
        }
        if (current == field) {
            auto [stop, error] = std::from_chars(stat.data() + at, stat.data() + end, *value);
            return error == std::errc() && stop == stat.data() + end;
        }
        at = end;
    }
}

size_t KernelText::formatInt(long long value, char* buffer) {
    auto [end, error] = std::to_chars(buffer, buffer + kIntTextSize, value);
    (void)error;  // kIntTextSize holds every long long
    return static_cast<size_t>(end - buffer);
}
