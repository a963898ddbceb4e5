# Cross-build for AArch64 Linux on Debian: the cross compiler from
# g++-aarch64-linux-gnu, the arm64 builds of the dependencies through multiarch
# (dpkg --add-architecture arm64, then the -dev packages as :arm64), and
# qemu-aarch64 from qemu-user to run the tests, so that ctest works unchanged.
#
#   cmake -S . -B build/aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
#
# BRISK_TARGET_LIB_DIRS names folders of target libraries that the package
# manager cannot install for arm64 next to the native ones (Debian's arm64
# libbacktrace needs 7z.so of p7zip-full, whose arm64 package would replace the
# native one); the link and the emulator look there first.
# scripts/test-aarch64.sh sets everything up and runs the whole suite.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# No sysroot: with the library architecture set, find_library and find_package
# look in the multiarch folders /usr/lib/aarch64-linux-gnu, never in the native
# ones, and the cross compiler searches the same folders.

set(BRISK_TARGET_LIB_DIRS "" CACHE STRING
    "Folders of target libraries that are not installed by the package manager")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES BRISK_TARGET_LIB_DIRS)
foreach(dir IN LISTS BRISK_TARGET_LIB_DIRS)
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${dir}")
    string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath-link,${dir}")
endforeach()

find_program(BRISK_QEMU_AARCH64 qemu-aarch64)
if(BRISK_QEMU_AARCH64)
    # The emulated programs find the arm64 loader and libraries in the multiarch
    # folders of this machine; the extra folders come first.
    set(CMAKE_CROSSCOMPILING_EMULATOR ${BRISK_QEMU_AARCH64})
    if(BRISK_TARGET_LIB_DIRS)
        list(JOIN BRISK_TARGET_LIB_DIRS ":" _brisk_target_lib_path)
        list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${_brisk_target_lib_path})
    endif()
endif()
