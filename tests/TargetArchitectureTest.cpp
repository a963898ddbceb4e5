// The build makes binaries for the machine it targets: in a cross-build for a
// device, the libraries, the host programs and the tests themselves are binaries
// of the device's architecture (run here only through the emulator), never of
// the build machine's.
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>

namespace {

const std::string kBinaryDir = BRISK_BINARY_DIR;

// The ELF header's machine field, or EM_NONE when `path` is not a 64-bit ELF file.
int elfMachine(const std::string& path) {
    Elf64_Ehdr header{};
    std::ifstream in(path, std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(&header), sizeof(header)) ||
        memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64) {
        return EM_NONE;
    }
    return header.e_machine;
}

TEST(TargetArchitecture, EveryBinaryIsBuiltForTheTargetProcessor) {
    const std::map<std::string, int> machines = {{"aarch64", EM_AARCH64}, {"x86_64", EM_X86_64}};
    const auto target = machines.find(BRISK_TARGET_PROCESSOR);
    if (target == machines.end()) {
        GTEST_SKIP() << "no ELF machine known for " << BRISK_TARGET_PROCESSOR;
    }
    EXPECT_EQ(elfMachine("/proc/self/exe"), target->second) << "this test";
    for (const char* library : {"/libbrisk_server.so", "/libbrisk_plat.so"}) {
        EXPECT_EQ(elfMachine(kBinaryDir + library), target->second) << library;
    }
    for (const char* program :
         {"/tools/briskd/briskd", "/tools/briskctl/briskctl", "/tools/brisk-sim/brisk-sim"}) {
        std::ifstream built(kBinaryDir + program);
        if (built) {
            EXPECT_EQ(elfMachine(kBinaryDir + program), target->second) << program;
        }
    }
}

}  // namespace
