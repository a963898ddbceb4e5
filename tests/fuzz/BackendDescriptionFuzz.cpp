// The Linux back-end's description file: the input is the file. It is read
// (every error names the file and the line); a description that reads is then
// used by a back-end on a fake machine (BackendFuzzTree): discovery with its
// choices, calls of every kind with its platform items, a crash and the next
// back-end's recovery. No file may crash it, make it read or write out of
// bounds, leak, or write outside its kernel root.
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/linux/DescriptionReader.h"
#include "tests/fuzz/BackendFuzzTree.h"

namespace {
const char kName[] = "fuzz.xml";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    BackendFuzzTree& tree = BackendFuzzTree::instance();
    BackendDescription description;
    std::string error;
    const char* text = reinterpret_cast<const char*>(data);
    if (!DescriptionReader::parse(text, size, kName, &description, &error)) {
        if (error.compare(0, sizeof(kName), std::string(kName) + ":") != 0) {
            abort();  // an error that does not say where
        }
        return 0;
    }
    std::vector<std::string> items;
    for (const ItemChoice& item : description.items) {
        items.push_back(item.name);
    }
    tree.exercise(tree.writeDescription(std::string_view(text, size)), items);
    return 0;
}
