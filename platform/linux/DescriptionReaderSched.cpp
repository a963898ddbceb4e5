// The scheduling part of the back-end description: the cgroup mount, the group
// folders, the hmp groups, the ladder's rungs and the thread boost.
#include <tinyxml2.h>

#include <algorithm>
#include <cstring>

#include "config/Vocabulary.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/KernelText.h"
#include "platform/linux/ThreadOps.h"
#include "sched/SchedTags.h"

namespace {
const char kNone[] = "none";
const char* const kCgroupAttributes[] = {"mount", nullptr};
const char* const kGroupAttributes[] = {"tag", "folder", nullptr};
const char* const kHmpAttributes[] = {"groups", nullptr};
const char* const kRungAttributes[] = {"level", "uclamp-min", "uclamp-max", "weight", nullptr};
const char* const kBoostAttributes[] = {"uclamp-min", "fallback", "nice-step", nullptr};
constexpr long long kMaxRungLevel = 1000;
constexpr long long kMaxWeight = 10000;
constexpr long long kMaxNiceStep = 39;
}  // namespace

bool DescriptionReader::readCgroup(const tinyxml2::XMLElement* element) {
    if (mOut->cgroupLine != 0) {
        return fail(element, "the cgroup mount is described twice");
    }
    if (!onlyAttributes(element, kCgroupAttributes) ||
        !requireText(element, "mount", &mOut->cgroupMount)) {
        return false;
    }
    if (!KernelReader::isPlainPath(mOut->cgroupMount, true)) {
        return fail(element, "mount " + mOut->cgroupMount +
                                 " must be an absolute path without \".\" or \"..\" parts");
    }
    mOut->cgroupLine = element->GetLineNum();
    return true;
}

bool DescriptionReader::readGroupTag(const tinyxml2::XMLElement* element, const std::string& name,
                                     int* tag) {
    // "top-app" as the kernel names the folder, "top_app" as the configuration
    // names the tag, or the tag's number.
    std::string word = name;
    std::replace(word.begin(), word.end(), '-', '_');
    if ((Vocabulary::tagForName(word, tag) ||
         Vocabulary::parseInt(word, tag, Vocabulary::NumberForm::Digits)) &&
        *tag >= BRISK_TAG_EAS_GROUP_FIRST && *tag <= BRISK_TAG_EAS_GROUP_LAST) {
        return true;
    }
    return fail(element, "\"" + name +
                             "\" is not a scheduling group (boost, vip, top-app, root, foreground, "
                             "system-background, key-background, background, or 51..58)");
}

bool DescriptionReader::readGroup(const tinyxml2::XMLElement* element) {
    GroupChoice group;
    std::string tag;
    if (!onlyAttributes(element, kGroupAttributes) || !requireText(element, "tag", &tag) ||
        !readGroupTag(element, tag, &group.tag) || !requireText(element, "folder", &group.folder)) {
        return false;
    }
    if (group.folder == kNone) {
        group.folder.clear();
    } else if (!KernelReader::isPlainPath(group.folder, false)) {
        return fail(element, "folder " + group.folder +
                                 " must be a path under the cgroup mount, without \".\" or "
                                 "\"..\" parts (the root group cannot be tuned)");
    }
    for (const GroupChoice& other : mOut->groups) {
        if (other.tag == group.tag) {
            return fail(element, "group " + tag + " is described twice");
        }
    }
    group.line = element->GetLineNum();
    mOut->groups.push_back(group);
    return true;
}

bool DescriptionReader::readHmp(const tinyxml2::XMLElement* element) {
    const char* groups = element->Attribute("groups");
    if (mOut->hmpGiven) {
        return fail(element, "the hmp groups are described twice");
    }
    if (!onlyAttributes(element, kHmpAttributes)) {
        return false;
    }
    if (groups == nullptr) {
        return fail(element, "<hmp> needs a \"groups\" attribute");
    }
    mOut->hmpGiven = true;
    for (std::string_view word : KernelText::words(groups)) {
        int tag = 0;
        if (!readGroupTag(element, std::string(word), &tag)) {
            return false;
        }
        mOut->hmpTags.push_back(tag);
    }
    return true;
}

bool DescriptionReader::readPercent(const tinyxml2::XMLElement* element, const char* name,
                                    int* hundredths) {
    const char* value = element->Attribute(name);
    if (value == nullptr) {
        return true;
    }
    // "50", "12.5" or "12.34": hundredths of a percent, as the kernel takes them.
    std::string text = value;
    size_t dot = text.find('.');
    std::string whole = text.substr(0, dot);
    std::string fraction = dot == std::string::npos ? "" : text.substr(dot + 1);
    long long percent = 0;
    long long part = 0;
    if (whole.empty() || fraction.size() > 2 || (dot != std::string::npos && fraction.empty()) ||
        !Vocabulary::parseDecimal(whole, Vocabulary::NumberForm::Digits, 0, 100, &percent) ||
        (!fraction.empty() &&
         !Vocabulary::parseDecimal(fraction, Vocabulary::NumberForm::Digits, 0, 99, &part)) ||
        percent * 100 + part * (fraction.size() == 1 ? 10 : 1) > SchedLadder::kFullClamp) {
        return fail(element, std::string(name) +
                                 " must be a percentage from 0 to 100 with at "
                                 "most two decimals, not \"" +
                                 value + "\"");
    }
    *hundredths = static_cast<int>(percent * 100 + part * (fraction.size() == 1 ? 10 : 1));
    return true;
}

bool DescriptionReader::readRung(const tinyxml2::XMLElement* element) {
    long long level = 0;
    long long weight = -1;
    Rung rung;
    if (!onlyAttributes(element, kRungAttributes) ||
        !readNumber(element, "level", -kMaxRungLevel, kMaxRungLevel, &level) ||
        !readPercent(element, "uclamp-min", &rung.uclampMin) ||
        !readPercent(element, "uclamp-max", &rung.uclampMax) ||
        !readNumber(element, "weight", 1, kMaxWeight, &weight)) {
        return false;
    }
    if (element->Attribute("level") == nullptr || level == 0 || level == SCHED_LEVEL_UNSET) {
        return fail(element,
                    "<rung> needs a level other than 0 and -100, which always mean the "
                    "group's original values");
    }
    rung.level = static_cast<int>(level);
    rung.weight = static_cast<int>(weight);
    if (rung.uclampMin < 0 && rung.uclampMax < 0 && rung.weight < 0) {
        return fail(element, "<rung> needs uclamp-min, uclamp-max or weight");
    }
    for (const Rung& other : mOut->rungs) {
        if (other.level == rung.level) {
            return fail(element, "level " + std::to_string(level) + " has two rungs");
        }
    }
    mOut->rungs.push_back(rung);
    return true;
}

bool DescriptionReader::readBoost(const tinyxml2::XMLElement* element) {
    BoostChoice& boost = mOut->boost;
    long long minimum = boost.uclampMin;
    long long step = boost.niceStep;
    if (boost.line != 0) {
        return fail(element, "the thread boost is described twice");
    }
    if (!onlyAttributes(element, kBoostAttributes) ||
        !readNumber(element, "uclamp-min", 0, ThreadOps::kMaxClamp, &minimum) ||
        !readNumber(element, "nice-step", 1, kMaxNiceStep, &step)) {
        return false;
    }
    if (const char* fallback = element->Attribute("fallback")) {
        if (strcmp(fallback, "nice") != 0 && strcmp(fallback, "none") != 0) {
            return fail(element,
                        std::string("fallback must be nice or none, not \"") + fallback + "\"");
        }
        boost.niceFallback = strcmp(fallback, "nice") == 0;
    }
    boost.uclampMin = static_cast<unsigned>(minimum);
    boost.niceStep = static_cast<int>(step);
    boost.line = element->GetLineNum();
    return true;
}
