#include "platform/linux/CgroupDiscovery.h"

#include <algorithm>
#include <map>

#include "config/Vocabulary.h"
#include "platform/linux/KernelText.h"

namespace {
const char kCpuctl[] = "/dev/cpuctl";

// The folders of the groups that Android and most Linux set-ups share.
const std::map<int, std::string>& defaultFolders() {
    static const std::map<int, std::string> folders = {
        {BRISK_TAG_GROUP_TOP_APP, "top-app"},
        {BRISK_TAG_GROUP_FOREGROUND, "foreground"},
        {BRISK_TAG_GROUP_SYSTEM_BACKGROUND, "system-background"},
        {BRISK_TAG_GROUP_BACKGROUND, "background"},
    };
    return folders;
}

// mountinfo escapes blanks, tabs, line ends and backslashes as \ooo.
std::string unescape(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() &&
            std::all_of(text.begin() + static_cast<long>(i) + 1,
                        text.begin() + static_cast<long>(i) + 4,
                        [](char c) { return c >= '0' && c <= '7'; })) {
            out += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                     (text[i + 3] - '0'));
            i += 3;
        } else {
            out += text[i];
        }
    }
    return out;
}

bool hasWord(std::string_view list, std::string_view word, char separator) {
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(separator, start);
        if (end == std::string_view::npos) {
            end = list.size();
        }
        if (list.substr(start, end - start) == word) {
            return true;
        }
        start = end + 1;
    }
    return false;
}
}  // namespace

std::vector<CgroupMount> CgroupDiscovery::parseMountInfo(std::string_view text) {
    std::vector<CgroupMount> mounts;
    while (!text.empty()) {
        size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        std::vector<std::string_view> words = KernelText::words(line);
        // id parent major:minor root mount-point options [optional...] - type source super-options
        auto dash = std::find(words.begin(), words.end(), "-");
        if (words.size() < 6 || dash == words.end() || words.end() - dash < 4) {
            continue;
        }
        std::string_view type = *(dash + 1);
        CgroupMount mount;
        mount.mountPoint = unescape(words[4]);
        // The kernel prints plain paths; a ".." part would lead a reader with a
        // kernel root (a fake tree) out of it.
        if (!KernelReader::isPlainPath(mount.mountPoint, true)) {
            continue;
        }
        if (type == "cgroup2") {
            mount.version = 2;
        } else if (type == "cgroup") {
            mount.cpu = hasWord(*(dash + 3), "cpu", ',');
        } else {
            continue;
        }
        mounts.push_back(mount);
    }
    return mounts;
}

std::vector<std::string> CgroupDiscovery::mountPoints(const KernelReader& reader) {
    std::string text;
    std::vector<std::string> points = {kCpuctl};
    reader.readText(reader.path("/proc/self/mountinfo"), &text, kMaxMountInfo);
    for (const CgroupMount& mount : parseMountInfo(text)) {
        points.push_back(mount.mountPoint);
    }
    return points;
}

bool CgroupDiscovery::findMount(CgroupLayout* out, std::string* error) {
    if (!mDescription.cgroupMount.empty()) {
        std::string path = mReader.path(mDescription.cgroupMount);
        if (!mReader.exists(path)) {
            *error = mDescription.fileName + ":" + std::to_string(mDescription.cgroupLine) +
                     ": cgroup mount " + mDescription.cgroupMount + " not found";
            return false;
        }
        out->mount = mDescription.cgroupMount;
        out->version = mReader.exists(path + "/cgroup.controllers") ? 2 : 1;
        return true;
    }
    std::string text;
    mReader.readText(mReader.path("/proc/self/mountinfo"), &text, kMaxMountInfo);
    std::vector<CgroupMount> mounts = parseMountInfo(text);
    auto usable = [&](const CgroupMount& m) {
        std::string controllers;
        return m.version == 1 ? m.cpu
                              : mReader.readText(mReader.path(m.mountPoint) + "/cgroup.controllers",
                                                 &controllers) == 0 &&
                                    hasWord(KernelText::trim(controllers), "cpu", ' ');
    };
    // /dev/cpuctl first, then a v1 cpu mount, then cgroup v2.
    const CgroupMount* chosen = nullptr;
    for (int pass = 0; pass < 3 && chosen == nullptr; ++pass) {
        for (const CgroupMount& m : mounts) {
            bool fits = pass == 0   ? m.mountPoint == kCpuctl
                        : pass == 1 ? m.version == 1
                                    : m.version == 2;
            if (fits && usable(m)) {
                chosen = &m;
                break;
            }
        }
    }
    if (chosen != nullptr) {
        out->mount = chosen->mountPoint;
        out->version = chosen->version;
    }
    return true;
}

void CgroupDiscovery::addGroup(int tag, const std::string& folder, CgroupLayout* out) {
    GroupInfo group;
    group.tag = tag;
    group.folder = folder;
    group.dir = mReader.path(out->mount) + "/" + folder;
    if (!mReader.exists(group.dir)) {
        out->missing[tag] = "folder " + out->mount + "/" + folder + " absent";
        return;
    }
    group.uclamp = mReader.exists(group.dir + "/cpu.uclamp.min") &&
                   mReader.exists(group.dir + "/cpu.uclamp.max");
    const char* weight = out->version == 2 ? "cpu.weight" : "cpu.shares";
    if (mReader.exists(group.dir + "/" + weight)) {
        group.weightFile = weight;
    }
    if (!group.uclamp && group.weightFile.empty()) {
        out->missing[tag] =
            out->mount + "/" + folder + " has no cpu.uclamp nor " + weight + " file";
        return;
    }
    out->groups.push_back(group);
}

bool CgroupDiscovery::discover(CgroupLayout* out, std::string* error) {
    *out = CgroupLayout();
    if (!findMount(out, error)) {
        return false;
    }
    std::map<int, std::string> folders = defaultFolders();
    for (const GroupChoice& choice : mDescription.groups) {
        folders[choice.tag] = choice.folder;  // "" unmaps a default group
    }
    for (int tag = BRISK_TAG_EAS_GROUP_FIRST; tag <= BRISK_TAG_EAS_GROUP_LAST; ++tag) {
        auto folder = folders.find(tag);
        if (out->mount.empty()) {
            out->missing[tag] = "no cpu controller mounted (/proc/self/mountinfo)";
        } else if (folder == folders.end() || folder->second.empty()) {
            out->missing[tag] = tag == BRISK_TAG_GROUP_ROOT
                                    ? "the root group has no uclamp files and cannot be tuned"
                                    : "no folder in the description";
        } else {
            addGroup(tag, folder->second, out);
        }
    }
    for (const GroupInfo& group : out->groups) {
        bool listed = !mDescription.hmpGiven ||
                      std::find(mDescription.hmpTags.begin(), mDescription.hmpTags.end(),
                                group.tag) != mDescription.hmpTags.end();
        if (listed) {
            out->hmpTags.push_back(group.tag);
        }
    }
    return true;
}
