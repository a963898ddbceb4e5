#include "platform/linux/CapabilityNotes.h"

#include <cerrno>

#include "config/Vocabulary.h"
#include "platform/linux/LinuxLog.h"

namespace {
std::string tagName(int tag) {
    const char* name = Vocabulary::nameForTag(tag);
    return std::to_string(tag) + (name != nullptr ? std::string(" (") + name + ")" : "");
}
}  // namespace

bool CapabilityNotes::absent(int tag, const std::string* item) {
    if (item != nullptr) {
        bool known = false;
        if (mTable.item(*item, &known) != nullptr) {
            return false;
        }
        auto why = mLayout.itemMissing.find(*item);
        std::string reason = !known                             ? "not in the back-end description"
                             : why != mLayout.itemMissing.end() ? why->second
                                                                : "absent";
        if (mWarned.insert("item " + *item).second) {
            LINUX_LOGW("platform item %s ignored: %s", item->c_str(), reason.c_str());
        }
        return true;
    }
    const std::vector<KernelNode*>* nodes = mTable.nodesFor(tag);
    if (nodes == nullptr || !nodes->empty()) {
        return false;
    }
    auto why = mLayout.tagMissing.find(tag);
    warnOnce(tag, "nothing to write on this machine: " +
                      (why != mLayout.tagMissing.end() ? why->second : std::string("absent")));
    return true;
}

int CapabilityNotes::strictAbsence(const int* tags, int count) {
    bool missing = false;
    for (int i = 0; mDescription.strict && i < count; ++i) {
        missing |= absent(tags[i], nullptr);
    }
    return missing ? -ENODEV : 0;
}

int CapabilityNotes::strictAbsence(const Action& step) {
    bool missing = false;
    for (int i = 0; mDescription.strict && i < step.tagPairCount(); ++i) {
        const int tag = step.pairTag(i);
        bool isItem = NodeTable::kindOf(tag) == TagKind::Item && i < step.keyPairCount();
        missing |= absent(tag, isItem ? &step.pairKey(i) : nullptr);
    }
    return missing ? -ENODEV : 0;
}

void CapabilityNotes::warnOnce(int tag, const std::string& why) {
    if (mWarned.insert("tag " + std::to_string(tag)).second) {
        if (tag < 0) {
            LINUX_LOGW("%s", why.c_str());
        } else {
            LINUX_LOGW("tag %s: %s", tagName(tag).c_str(), why.c_str());
        }
    }
}

void CapabilityNotes::warnOnce(const std::string& key, const std::string& message) {
    if (mWarned.insert(key).second) {
        LINUX_LOGW("%s", message.c_str());
    }
}
