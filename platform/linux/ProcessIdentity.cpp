#include "platform/linux/ProcessIdentity.h"

#include "platform/linux/KernelText.h"

namespace {
constexpr int kStartTimeField = 22;
}

std::string ProcessIdentity::bootId(const KernelReader& reader) {
    std::string text;
    if (reader.readText(reader.path("/proc/sys/kernel/random/boot_id"), &text) != 0) {
        return "";
    }
    return std::string(KernelText::trim(text));
}

unsigned long long ProcessIdentity::startTime(const KernelReader& reader, long long id) {
    std::string stat;
    unsigned long long start = 0;
    if (id <= 0 ||
        reader.readText(reader.path("/proc/" + std::to_string(id) + "/stat"), &stat) != 0 ||
        !KernelText::statField(stat, kStartTimeField, &start)) {
        return 0;
    }
    return start;
}
