#include "tests/fuzz/BackendFuzzTree.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "config/Action.h"
#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/LinuxBackend.h"
#include "platform/linux/SystemFileOps.h"
#include "sched/SchedTags.h"
#include "tests/fuzz/FuzzHost.h"
#include "tests/support/FakeThreadOps.h"

using V = Vocabulary;

namespace {
const char kJournal[] = "journal";
const char kThreads[] = "threads";
// This process's /proc/<pid>/stat in the tree, which names the journals' owner.
const char kSelfStat[] = "self-stat";
const std::vector<std::string> kGroups = {"top-app", "foreground", "system-background",
                                          "background"};

// `path` with "." and ".." parts resolved, as the kernel would walk it (the
// tree has no symbolic links).
std::string lexicallyNormal(const std::string& path) {
    return std::filesystem::path(path).lexically_normal().string();
}

// The real system calls, except that a change outside `allowed` (the tree and its
// state folder) stops the process: the back-end must never leave its kernel root.
class FencedFileOps : public SystemFileOps {
public:
    explicit FencedFileOps(std::string allowed) : mAllowed(std::move(allowed) + "/") {}

    int open(const std::string& path, int flags, mode_t mode) override {
        if ((flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0) {
            fence(path);
        }
        return SystemFileOps::open(path, flags, mode);
    }
    int rename(const std::string& from, const std::string& to) override {
        fence(from);
        fence(to);
        return SystemFileOps::rename(from, to);
    }
    int unlink(const std::string& path) override {
        fence(path);
        return SystemFileOps::unlink(path);
    }
    int mkdir(const std::string& path, mode_t mode) override {
        fence(path);
        return SystemFileOps::mkdir(path, mode);
    }

private:
    void fence(const std::string& path) const {
        if (lexicallyNormal(path).compare(0, mAllowed.size(), mAllowed) != 0) {
            fprintf(stderr, "the back-end changes %s, outside its kernel root %s\n", path.c_str(),
                    mAllowed.c_str());
            abort();
        }
    }

    std::string mAllowed;
};

void writeWhole(const std::string& path, std::string_view text) {
    FuzzHost::writeFile(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

// The file's bytes, or "" when there is none.
std::string readWhole(const std::string& path) {
    std::string text;
    FILE* file = fopen(path.c_str(), "rb");
    if (file != nullptr) {
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof(buffer), file)) > 0;) {
            text.append(buffer, n);
        }
        fclose(file);
    }
    return text;
}

Action step(int cmdId, int duration, const std::vector<std::pair<int, int>>& pairs,
            const std::vector<std::pair<std::string, std::string>>& items) {
    Action action;
    action.cmdId = cmdId;
    action.name = "fuzz";
    action.duration = duration;
    for (const auto& pair : pairs) {
        action.tagValues.insert(action.tagValues.end(), {pair.first, pair.second});
        action.keyValues.insert(action.keyValues.end(), {"tag", std::to_string(pair.second)});
    }
    for (const auto& item : items) {
        action.tagValues.insert(action.tagValues.end(), {V::kPlatformItemTag, 1});
        action.keyValues.insert(action.keyValues.end(), {item.first, item.second});
    }
    action.tagCount = static_cast<int>(action.tagValues.size() / 2);
    return action;
}

// Every kind of call, with values that move every file of the tree.
void drive(LinuxBackend& backend, const std::vector<std::string>& itemNames) {
    const int tags[] = {BRISK_TAG_LITTLE_CPU_MAX,
                        BRISK_TAG_LITTLE_CPU_MIN,
                        BRISK_TAG_BIG_CPU_MAX,
                        BRISK_TAG_BIG_CPU_MIN,
                        BRISK_TAG_GPU_MAX,
                        BRISK_TAG_GPU_MIN,
                        BRISK_TAG_IPA_ON_TEMP,
                        BRISK_TAG_IPA_CONTROL_TEMP,
                        BRISK_TAG_IPA_SUSTAINABLE_POWER,
                        BRISK_TAG_FORK_ON_BIG_CLUSTER,
                        BRISK_TAG_LITTLE_CPU_HW_MAX,
                        BRISK_TAG_BIG_CPU_HW_MAX,
                        BRISK_TAG_GPU_HW_MAX,
                        999};
    const int values[] = {1200000, 600000, 2000000, 1000000, 400000, 200000, 60000,
                          75000,   3000,   1,       5,       6,      7,      8};
    const int lifted[] = {0, -1, 0, 0, -1, 0, -1, 0, 0, 0, 0, 0, 0, 0};
    constexpr int kCount = static_cast<int>(sizeof(tags) / sizeof(tags[0]));
    int read[kCount] = {};
    const int begin = V::kBegin;
    const int end = V::kEnd;

    backend.setConfig(kCount, tags, values);
    backend.getConfig(kCount, tags, read);
    std::vector<std::pair<std::string, std::string>> items = {{"no_such_item", "1"}};
    for (const std::string& name : itemNames) {
        items.emplace_back(name, "1");
    }
    const Action onOff = step(V::kOnOffFirstCmdId, 0,
                              {{BRISK_TAG_BIG_CPU_MIN, 1500000},
                               {BRISK_TAG_GPU_MIN, 300000},
                               {BRISK_TAG_LITTLE_CPU_MAX, 1000000}},
                              items);
    backend.doAction(&onOff, 1, &begin);
    // Timed, but never long enough to run out within an input.
    const Action timed = step(
        100, 60000, {{BRISK_TAG_LITTLE_CPU_MIN, 900000}, {BRISK_TAG_IPA_CONTROL_TEMP, 70000}}, {});
    backend.doAction(&timed, 1, &begin);

    int groups[BRISK_TAG_EAS_GROUP_LAST - BRISK_TAG_EAS_GROUP_FIRST + 1];
    const int levels[] = {40, 30, 20, 10, 0, -10, -20, 15};
    for (int tag = BRISK_TAG_EAS_GROUP_FIRST; tag <= BRISK_TAG_EAS_GROUP_LAST; ++tag) {
        groups[tag - BRISK_TAG_EAS_GROUP_FIRST] = tag;
    }
    backend.doSchedLevelAction(8, groups, levels);
    const int hmp = BRISK_TAG_GROUP_HMP;
    const int hmpLevel = 20;
    backend.doSchedLevelAction(1, &hmp, &hmpLevel);

    // A boosted thread, held while the back-end "crashes".
    const Action probe = step(V::kProbeCmdId, 0, {{BRISK_TAG_BIG_CPU_MIN, 1800000}},
                              {{LinuxBackend::kBoostMinimumItem, "600"}});
    backend.setProbeTarget(BackendFuzzTree::kThread, V::kBegin);
    backend.doAction(&probe, 1, &begin);

    backend.setConfig(kCount, tags, lifted);
    backend.doAction(&onOff, 1, &end);
    backend.getConfig(kCount, tags, read);
}
}  // namespace

const char* const BackendFuzzTree::kDescription =
    "<backend>\n"
    "  <fork file=\"/proc/sys/kernel/sched_child_runs_first\" on=\"1\" off=\"0\"/>\n"
    "  <item name=\"touch_boost\" file=\"/sys/module/touch_booster/parameters/enable\""
    " end-text=\"0\"/>\n"
    "  <item name=\"governor\" "
    "file=\"/sys/devices/system/cpu/cpufreq/policy4/scaling_governor\"/>\n"
    "  <hmp groups=\"top-app foreground\"/>\n"
    "</backend>\n";

BackendFuzzTree& BackendFuzzTree::instance() {
    static BackendFuzzTree tree;
    return tree;
}

BackendFuzzTree::BackendFuzzTree() {
    FuzzHost::quietOutputs();
    build();
}

void BackendFuzzTree::build() {
    mTree.buildBigLittle();
    mTree.write(std::string(FakeKernelTree::kPolicyDir) + "4/scaling_governor", "schedutil");
    mTree.write("/proc/sys/kernel/sched_child_runs_first", "0");
    mTree.write("/sys/module/touch_booster/parameters/enable", "0");
    mTree.addThread(kThread, 5000);
    mTree.write("/proc/" + std::to_string(getpid()) + "/stat",
                std::to_string(getpid()) + " (fuzz) S 1 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 300");
    // Both cgroup versions: discovery takes /dev/cpuctl first, cgroup v2 when a
    // mount table lacks it.
    mTree.addCgroups("/sys/fs/cgroup", 2, kGroups, true);
    mTree.addCgroups("/dev/cpuctl", 1, kGroups, true);
    mTree.write("/proc/self/mountinfo",
                "22 1 0:20 / /sys rw,nosuid - sysfs sysfs rw\n"
                "30 22 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n"
                "35 1 0:30 / /dev/cpuctl rw,nosuid shared:9 - cgroup cgroup rw,cpu,cpuacct");
    mDescriptionPath = mTree.writeDescription(kDescription);

    const std::string& root = mTree.root();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) {
            const std::string path = entry.path().string();
            mFiles.emplace_back(path, readWhole(path));
            mNames[path.substr(root.size())] = path;
        }
    }
    mNames[kJournal] = mTree.stateDir() + "/" + kJournal;
    mNames[kThreads] = LinuxBackend::boostJournalPath(mTree.settings());
    mNames[kSelfStat] = mTree.path("/proc/" + std::to_string(getpid()) + "/stat");
}

void BackendFuzzTree::reset() {
    for (const auto& file : mFiles) {
        writeWhole(file.first, file.second);
    }
    std::error_code ignored;
    std::filesystem::remove_all(mTree.stateDir(), ignored);
}

std::string BackendFuzzTree::pathOf(std::string_view name) const {
    auto found = mNames.find(name);
    return found != mNames.end() ? found->second : std::string();
}

void BackendFuzzTree::apply(std::string_view input) {
    size_t at = input.find('@');
    while (at != std::string_view::npos) {
        const size_t nameEnd = std::min(input.find('\n', at), input.size());
        std::string_view name = input.substr(at + 1, nameEnd - at - 1);
        const size_t next = input.find("\n@", nameEnd);
        const size_t textStart = std::min(nameEnd + 1, input.size());
        std::string_view text =
            input.substr(textStart, (next == std::string_view::npos ? input.size() : next) -
                                        std::min(textStart, next));
        const bool remove = !name.empty() && name[0] == '-';
        const std::string path = pathOf(remove ? name.substr(1) : name);
        if (!path.empty() && remove) {
            unlink(path.c_str());
        } else if (!path.empty()) {
            // The journals live in the state folder, which the back-end makes.
            ::mkdir(mTree.stateDir().c_str(), 0700);
            writeWhole(path, text);
        }
        at = next == std::string_view::npos ? next : next + 1;
    }
}

std::string BackendFuzzTree::writeDescription(std::string_view text) {
    writeWhole(mDescriptionPath, text);
    return mDescriptionPath;
}

LinuxBackendSettings BackendFuzzTree::settings(const std::string& descriptionFile) const {
    LinuxBackendSettings settings = mTree.settings();
    settings.descriptionFile = descriptionFile;
    // The tree's folder: its root and its state folder.
    static const std::shared_ptr<FileOps> ops = std::make_shared<FencedFileOps>(
        lexicallyNormal(mTree.root().substr(0, mTree.root().rfind('/'))));
    settings.fileOps = ops;
    return settings;
}

void BackendFuzzTree::exercise(const std::string& descriptionFile,
                               const std::vector<std::string>& itemNames) {
    auto threads = std::make_shared<FakeThreadOps>();
    threads->addThread(kThread);
    LinuxBackendSettings settings = this->settings(descriptionFile);
    settings.threadOps = threads;
    std::string journal;
    std::string boosts;
    {
        LinuxBackend backend(settings);
        if (backend.initialize() != 0) {
            return;
        }
        drive(backend, itemNames);
        // What a crash at this point would leave behind.
        journal = readWhole(pathOf(kJournal));
        boosts = readWhole(pathOf(kThreads));
    }
    if (journal.empty() && boosts.empty()) {
        return;
    }
    if (!journal.empty()) {
        writeWhole(pathOf(kJournal), journal);
    }
    if (!boosts.empty()) {
        writeWhole(pathOf(kThreads), boosts);
    }
    // The owner no longer runs: the next back-end replays both journals.
    unlink(pathOf(kSelfStat).c_str());
    LinuxBackend next(settings);
    next.initialize();
}
