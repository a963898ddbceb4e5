#include "tests/fuzz/BackendFuzzTree.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "freq/FreqTags.h"
#include "platform/linux/LinuxBackend.h"
#include "platform/linux/SystemFileOps.h"
#include "sched/SchedTags.h"
#include "tests/fuzz/FuzzHost.h"
#include "tests/support/BackendStep.h"
#include "tests/support/FakeThreadOps.h"

using V = Vocabulary;

namespace {
const char kJournal[] = "journal";
const char kThreads[] = "threads";
// This process's /proc/<pid>/stat in the tree, which names the journals' owner.
const char kSelfStat[] = "self-stat";
// Not a file: asks for a timed step among the calls.
const char kTimed[] = "timed";

// `path` with "." and ".." resolved, as the kernel walks it (the tree has no links).
std::string lexicallyNormal(const std::string& path) {
    return std::filesystem::path(path).lexically_normal().string();
}

// The real system calls, except that a change outside `allowed` stops the
// process: the back-end must never leave its kernel root. Every path it may have
// changed goes into `changed`, so that the restore rewrites only those.
class FencedFileOps : public SystemFileOps {
public:
    FencedFileOps(std::string allowed, std::set<std::string>* changed)
        : mAllowed(std::move(allowed) + "/"), mChanged(changed) {}

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
        std::string normal = lexicallyNormal(path);
        if (normal.compare(0, mAllowed.size(), mAllowed) != 0) {
            fprintf(stderr, "the back-end changes %s, outside its kernel root %s\n", path.c_str(),
                    mAllowed.c_str());
            abort();
        }
        mChanged->insert(std::move(normal));
    }

    std::string mAllowed;
    std::set<std::string>* mChanged;
};

void writeWhole(const std::string& path, std::string_view text) {
    FuzzHost::writeFile(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

std::string readWhole(const std::string& path) {
    std::stringstream all;
    all << std::ifstream(path, std::ios::binary).rdbuf();
    return all.str();
}

// Every kind of call, with values that move every file of the tree.
void drive(LinuxBackend& backend, const std::vector<std::string>& itemNames, bool timedStep) {
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
    begin(backend, onOff);
    // Timed, but never long enough to run out within an input.
    const Action timed = step(
        100, 60000, {{BRISK_TAG_LITTLE_CPU_MIN, 900000}, {BRISK_TAG_IPA_CONTROL_TEMP, 70000}}, {});
    if (timedStep) {
        begin(backend, timed);
    }

    int groups[BRISK_TAG_EAS_GROUP_LAST - BRISK_TAG_EAS_GROUP_FIRST + 1];
    const int levels[] = {40, 30, 20, 10, 0, -10, -20, 15};
    for (int tag = BRISK_TAG_EAS_GROUP_FIRST; tag <= BRISK_TAG_EAS_GROUP_LAST; ++tag) {
        groups[tag - BRISK_TAG_EAS_GROUP_FIRST] = tag;
    }
    backend.doSchedLevelAction(8, groups, levels);
    const int hmp = BRISK_TAG_GROUP_HMP;
    backend.doSchedLevelAction(1, &hmp, &levels[2]);

    // A boosted thread, held while the back-end "crashes".
    const Action probe = step(V::kProbeCmdId, 0, {{BRISK_TAG_BIG_CPU_MIN, 1800000}},
                              {{LinuxBackend::kBoostMinimumItem, "600"}});
    backend.setProbeTarget(BackendFuzzTree::kThread, V::kBegin);
    begin(backend, probe);

    backend.setConfig(kCount, tags, lifted);
    end(backend, onOff);
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
    const std::vector<std::string> groups = {"top-app", "foreground", "system-background",
                                             "background"};
    mTree.buildBigLittle();
    mTree.write(std::string(FakeKernelTree::kPolicyDir) + "4/scaling_governor", "schedutil");
    mTree.write("/proc/sys/kernel/sched_child_runs_first", "0");
    mTree.write("/sys/module/touch_booster/parameters/enable", "0");
    mTree.addThread(kThread, 5000);
    mTree.addThread(getpid(), 300);
    // Both cgroup versions: discovery takes /dev/cpuctl first, cgroup v2 when a
    // mount table lacks it.
    mTree.addCgroups("/sys/fs/cgroup", 2, groups, true);
    mTree.addCgroups("/dev/cpuctl", 1, groups, true);
    mTree.write("/proc/self/mountinfo",
                "22 1 0:20 / /sys rw,nosuid - sysfs sysfs rw\n"
                "30 22 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n"
                "35 1 0:30 / /dev/cpuctl rw,nosuid shared:9 - cgroup cgroup rw,cpu,cpuacct");
    mDescriptionPath = mTree.writeDescription(kDescription);

    const std::string& root = mTree.root();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) {
            const std::string path = entry.path().string();
            mFiles.emplace(path, readWhole(path));
            mNames[path.substr(root.size())] = path;
        }
    }
    mNames[kJournal] = mTree.stateDir() + "/" + kJournal;
    mNames[kThreads] = LinuxBackend::boostJournalPath(mTree.settings());
    mNames[kSelfStat] = mTree.path("/proc/" + std::to_string(getpid()) + "/stat");
}

void BackendFuzzTree::restore() {
    // The first texts first, so that a made folder that holds them stays.
    for (const std::string& path : mChanged) {
        auto original = mFiles.find(path);
        if (original != mFiles.end()) {
            writeWhole(path, original->second);
        }
    }
    std::error_code ignored;
    for (const std::string& path : mChanged) {
        if (mFiles.count(path) == 0) {
            std::filesystem::remove(path, ignored);
        }
    }
    mChanged.clear();
    std::filesystem::remove_all(mTree.stateDir(), ignored);
}

bool BackendFuzzTree::apply(std::string_view input) {
    bool timedStep = false;
    for (size_t at = input.find('@'); at != std::string_view::npos;) {
        const size_t nameEnd = std::min(input.find('\n', at), input.size());
        std::string_view name = input.substr(at + 1, nameEnd - at - 1);
        const size_t next = std::min(input.find("\n@", nameEnd), input.size());
        const size_t textStart = std::min(nameEnd + 1, next);
        const bool remove = !name.empty() && name[0] == '-';
        timedStep = timedStep || name == kTimed;
        auto found = mNames.find(remove ? name.substr(1) : name);
        if (found != mNames.end()) {
            mChanged.insert(found->second);
        }
        if (found != mNames.end() && remove) {
            unlink(found->second.c_str());
        } else if (found != mNames.end()) {
            // The journals live in the state folder, which the back-end makes.
            ::mkdir(mTree.stateDir().c_str(), 0700);
            writeWhole(found->second, input.substr(textStart, next - textStart));
        }
        at = next == input.size() ? std::string_view::npos : next + 1;
    }
    return timedStep;
}

std::string BackendFuzzTree::writeDescription(std::string_view text) {
    writeWhole(mDescriptionPath, text);
    return mDescriptionPath;
}

void BackendFuzzTree::exercise(const std::string& descriptionFile,
                               const std::vector<std::string>& itemNames, bool timedStep) {
    runBackends(descriptionFile, itemNames, timedStep);
    restore();
}

void BackendFuzzTree::runBackends(const std::string& descriptionFile,
                                  const std::vector<std::string>& itemNames, bool timedStep) {
    auto threads = std::make_shared<FakeThreadOps>();
    threads->addThread(kThread);
    LinuxBackendSettings settings = mTree.settings();
    settings.descriptionFile = descriptionFile;
    settings.threadOps = threads;
    // The tree's folder: its root and its state folder.
    settings.fileOps = std::make_shared<FencedFileOps>(
        lexicallyNormal(mTree.root().substr(0, mTree.root().rfind('/'))), &mChanged);
    std::string journal;
    std::string boosts;
    {
        LinuxBackend backend(settings);
        if (backend.initialize() != 0) {
            return;
        }
        drive(backend, itemNames, timedStep);
        // What a crash at this point would leave behind.
        journal = readWhole(mNames[kJournal]);
        boosts = readWhole(mNames[kThreads]);
    }
    if (journal.empty() && boosts.empty()) {
        return;
    }
    if (!journal.empty()) {
        writeWhole(mNames[kJournal], journal);
    }
    if (!boosts.empty()) {
        writeWhole(mNames[kThreads], boosts);
    }
    // The owner no longer runs: the next back-end replays both journals.
    mChanged.insert(mNames[kSelfStat]);
    unlink(mNames[kSelfStat].c_str());
    LinuxBackend next(settings);
    next.initialize();
}
