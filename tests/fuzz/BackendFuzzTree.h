#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/LinuxBackendSettings.h"
#include "tests/support/FakeKernelTree.h"

// The fake machine of the Linux back-end's fuzz targets, made once per process
// in a temporary folder (removed at exit): two cpufreq clusters, a Mali GPU, a
// power-allocator zone, a cgroup v1 cpu controller at /dev/cpuctl beside a cgroup
// v2 hierarchy, a fork switch and two platform items, a boot id and a thread to
// boost, and a state folder for the journals. Before each input it is put back
// as it was made: every file rewritten with its first text, the state folder
// emptied, so that inputs never see each other's writes.
//
// The back-end writes through a file layer that stops the process (a finding)
// when anything would be written outside the temporary folder, and boosts
// threads of a stand-in that touches no real thread.
class BackendFuzzTree {
public:
    static BackendFuzzTree& instance();

    // Back to the state the tree was made in.
    void reset();
    // Applies a fuzz input that names files and gives their texts:
    //   @KERNEL_PATH      the lines up to the next line starting with '@' are
    //   TEXT               the file's whole text (the line end before the next
    //   @-KERNEL_PATH     '@' is the separator's); "@-PATH" removes the file.
    // KERNEL_PATH is one of the tree's files ("/sys/class/devfreq/13000000.mali/
    // max_freq"), or "journal" and "threads" for the back-end's journals. Bytes
    // before the first '@' and sections of other names are ignored.
    void apply(std::string_view input);

    // A back-end over the tree with `descriptionFile` (empty: none) goes through
    // start-up, calls of every kind (frequencies, thermal, the fork switch, the
    // platform items in `itemNames`, scheduling levels, a thread boost, reads),
    // then ends as if it had crashed with its journals left behind, and a second
    // back-end puts back what they hold.
    void exercise(const std::string& descriptionFile, const std::vector<std::string>& itemNames);

    // The description of the tree's fork switch and platform items.
    static const char* const kDescription;
    // A description file in the temporary folder, with `text`.
    std::string writeDescription(std::string_view text);

    // The thread the back-end boosts (its /proc/<tid>/stat is in the tree).
    static constexpr int kThread = 4321;

private:
    BackendFuzzTree();
    void build();
    LinuxBackendSettings settings(const std::string& descriptionFile) const;
    // The file a section's name stands for; empty for none.
    std::string pathOf(std::string_view name) const;

    FakeKernelTree mTree;
    std::string mDescriptionPath;
    // (full path, text) of every file of the tree as it was made.
    std::vector<std::pair<std::string, std::string>> mFiles;
    // Kernel path (or journal name) -> full path.
    std::map<std::string, std::string, std::less<>> mNames;
};
