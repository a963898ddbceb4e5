// The Linux back-end's reading of kernel files: the input gives the texts of
// chosen files of a fake machine ("@/sys/class/devfreq/13000000.mali/max_freq",
// a line end, the text; see BackendFuzzTree::apply): cpufreq policies, CPU
// capacities, the devfreq GPU, thermal trips, the mount table and cgroup files,
// a thread's stat, and the back-end's own journals. A back-end then starts on
// that machine (crash recovery, discovery), takes calls of every kind (each
// file's original read before its first write; a timed step when the input has
// a line "@timed"), is left as by a crash, and the next back-end puts back what
// its journals hold. No content may crash it, make it read or write out of
// bounds, leak, or write outside its kernel root.
#include <string>

#include "tests/fuzz/BackendFuzzTree.h"
#include "tests/fuzz/FuzzHost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    BackendFuzzTree& tree = BackendFuzzTree::instance();
    static const std::string description = tree.writeDescription(BackendFuzzTree::kDescription);
    const bool timedStep = tree.apply(FuzzHost::text(data, size));
    tree.exercise(description, {"touch_boost", "governor"}, timedStep);
    return 0;
}
