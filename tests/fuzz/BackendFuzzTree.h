#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/LinuxBackendSettings.h"
#include "tests/support/FakeKernelTree.h"

// The fake machine of the Linux back-end's fuzz targets, made once per process:
// the tests' big.LITTLE tree (FakeKernelTree) with cgroups of both versions, a
// fork switch and two platform items, and a thread to boost. At the end of each
// input every file that the input or its back-ends changed gets its first text
// back (one they made is removed) and the state folder is emptied, so that inputs
// never see each other's writes and the unchanged rest costs nothing; this
// happens within the input, so that its bookkeeping is freed there too (an input
// that ends with more allocations than frees is run a second time by libFuzzer,
// to look for leaks). The back-end writes through a file layer that stops the
// process (a finding) on a change outside the tree's folder, and boosts threads
// of a stand-in.
class BackendFuzzTree {
public:
    static BackendFuzzTree& instance();

    // Applies an input that names files and gives their whole texts: a line
    // "@KERNEL_PATH" (or "journal", "threads" for the back-end's journals), then
    // the text up to the next line starting with '@'; "@-NAME" removes the file.
    // Unknown names and bytes before the first '@' are ignored. Returns whether
    // the input has a line "@timed": it asks for a timed step among the calls.
    bool apply(std::string_view input);

    // A back-end over the tree with `descriptionFile` (empty: none) starts, takes
    // calls of every kind (the platform items `itemNames` among them; a timed
    // step when `timedStep`), ends as if it had crashed with its journals left
    // behind, and a second back-end puts back what they hold. Then the tree is as
    // it was made. The timed step starts the back-end's timer thread, which the
    // back-end's end joins: a third of an input's time, so that inputs of
    // KernelTreeFuzz ask for it rather than all paying for it.
    void exercise(const std::string& descriptionFile, const std::vector<std::string>& itemNames,
                  bool timedStep = true);

    // The description of the tree's fork switch and platform items.
    static const char* const kDescription;
    std::string writeDescription(std::string_view text);

    static constexpr int kThread = 4321;

private:
    BackendFuzzTree();
    void runBackends(const std::string& descriptionFile, const std::vector<std::string>& itemNames,
                     bool timedStep);
    // Puts back what the input and the back-ends changed.
    void restore();

    FakeKernelTree mTree;
    std::string mDescriptionPath;
    // Full path -> text of every file of the tree as it was made.
    std::map<std::string, std::string> mFiles;
    // Full paths that may differ from mFiles since the last restore: the ones the
    // input named and the ones the back-ends opened for writing, renamed,
    // removed or made.
    std::set<std::string> mChanged;
    // Kernel path (or journal name) -> full path.
    std::map<std::string, std::string, std::less<>> mNames;
};
